#include "app/Passwd.h"

#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include "app/Failure.h"
#include "app/Output.h"
#include "app/box/DiskFiles.h"
#include "app/box/StateFolder.h"
#include "app/web/Passwords.h"
#include "app/web/Users.h"

namespace app {
namespace {

// Neither echo nor the terminal's signals, after which it would stay without echo. Interrupt is a character then.
class SilentTerminal
{
public:
    SilentTerminal()
    {
        if (tcgetattr(STDIN_FILENO, &before_) == 0)
        {
            termios silent = before_;
            silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
            isTerminal_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
        }
    }
    ~SilentTerminal()
    {
        if (isTerminal_)
        {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
            writeAll(STDERR_FILENO, "\n");
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    bool isTerminal() const { return isTerminal_; }

private:
    termios before_ = {};
    bool isTerminal_ = false;
};

// Byte by byte, so that nothing of it stays in a buffer.
std::string readLine()
{
    constexpr std::size_t kLongest = 4096;
    std::string line;
    line.reserve(kLongest);  // it must not leave copies where it grew
    char letter = 0;
    while (line.size() < kLongest && read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n')
    {
        line += letter;
    }
    return line;
}

// From the terminal without showing it, twice; otherwise a line of standard input.
std::string readPassword(const std::string& name)
{
    const SilentTerminal terminal;
    if (!terminal.isTerminal())
    {
        return readLine();
    }
    writeAll(STDERR_FILENO, "Password of " + name + ": ");
    std::string password = readLine();
    writeAll(STDERR_FILENO, "\nOnce more: ");
    std::string again = readLine();
    const bool isSame = password == again;
    web::clearSecret(again);
    if (!isSame)
    {
        web::clearSecret(password);
        throw Failure("the two passwords differ");
    }
    return password;
}

std::string hashOfNewPassword(const std::string& name)
{
    std::string password = readPassword(name);
    const std::string problem = web::passwordProblem(password);
    const std::string hash = problem.empty() ? web::hashPassword(password) : "";
    web::clearSecret(password);
    if (!problem.empty())
    {
        throw Failure(problem);
    }
    return hash;
}

// What another one changes meanwhile must not be lost. Anybody may hold a lock on a folder that they can open.
void lock(int folder, const std::string& path)
{
    constexpr int kTries = 20;
    for (int i = 0; flock(folder, LOCK_EX | LOCK_NB) != 0; ++i)
    {
        if (errno != EWOULDBLOCK)
        {
            throw Failure(systemError(path));
        }
        if (i == kTries)
        {
            throw Failure("another program holds the folder of " + path + " locked; try again");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

}  // namespace

void changePassword(const PasswordOptions& options)
{
    const std::string path = absolutePath(options.file);
    const web::UsersFile file = web::UsersFile::at(path);
    const std::string hash = options.isDelete ? "" : hashOfNewPassword(options.name);
    lock(file.folder(), path);
    std::vector<web::User> users = file.facts() ? file.read() : std::vector<web::User>();
    const auto found = std::find_if(users.begin(), users.end(),
                                    [&options](const web::User& user) { return user.name == options.name; });
    if (options.isDelete && found == users.end())
    {
        throw Failure(path + " has no user " + options.name);
    }
    if (options.isDelete)
    {
        users.erase(found);
    }
    else
    {
        web::User& user = found == users.end() ? users.emplace_back() : *found;
        user.name = options.name;
        user.role = web::roleNamed(options.role).value_or(user.role);
        user.hash = hash;
    }
    const std::string text = web::usersText(users);
    web::parseUsers(text);  // what cannot be read again must not be written
    replaceFile(path, text, 0600);
}

}  // namespace app
