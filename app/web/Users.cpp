#include "app/web/Users.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "app/web/Passwords.h"

namespace web {
namespace {

constexpr char kFirstLine[] = "sensorcam users 1";
constexpr std::size_t kLongestName = 32;
constexpr std::size_t kMostUsers = 256;
constexpr std::size_t kLongestFile = 64 << 10;

[[noreturn]] void refuse(const std::string& why)
{
    throw std::runtime_error(why);
}

bool isSame(const std::optional<struct stat>& left, const std::optional<struct stat>& right)
{
    if (!left || !right)
    {
        return !left && !right;
    }
    const auto sameTime = [](const timespec& one, const timespec& other) {
        return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
    };
    return left->st_ino == right->st_ino && left->st_size == right->st_size &&
           sameTime(left->st_mtim, right->st_mtim) && sameTime(left->st_ctim, right->st_ctim);
}

void requireOwn(const std::string& name, const struct stat& facts)
{
    if (!S_ISREG(facts.st_mode))
    {
        refuse(name + " is not a plain file");
    }
    if (facts.st_nlink != 1)
    {
        refuse(name + " has a second name somewhere, under which others might change it");
    }
    if (facts.st_uid != geteuid())
    {
        refuse(name + " belongs to another user (" + std::to_string(facts.st_uid) + ")");
    }
    if ((facts.st_mode & 077) != 0)
    {
        refuse(name + " may be read or written by others; take that right away (chmod 600)");
    }
    if (facts.st_size > static_cast<off_t>(kLongestFile))
    {
        refuse(name + " is longer than " + std::to_string(kLongestFile) + " bytes");
    }
}

User parseLine(const std::string& line)
{
    const std::size_t first = line.find(' ');
    const std::size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
    if (second == std::string::npos)
    {
        refuse("is not NAME ROLE HASH");
    }
    const std::optional<Role> role = roleNamed(line.substr(first + 1, second - first - 1));
    if (!isUserName(line.substr(0, first)) || !role)
    {
        refuse(role ? "has no name that a user can have" : "names no role; there are viewer, operator, administrator");
    }
    if (!isPasswordHash(line.substr(second + 1)))
    {
        refuse("has a hash that sensorcam passwd does not make");
    }
    return {line.substr(0, first), *role, line.substr(second + 1)};
}

}  // namespace

bool isUserName(const std::string& name)
{
    const auto isLetter = [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9');
    };
    // What events say of whoever has no name.
    const bool isPlace = name == "socket" || name.find_first_not_of("0123456789.") == std::string::npos;
    return !name.empty() && name.size() <= kLongestName && isLetter(name.front()) && !isPlace &&
           std::all_of(name.begin(), name.end(), [&](char letter) {
               return isLetter(letter) || letter == '.' || letter == '_' || letter == '-';
           });
}

std::vector<User> parseUsers(const std::string& text)
{
    if (text.empty() || text.back() != '\n')
    {
        refuse("ends in the middle of a line");
    }
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    if (line != kFirstLine)
    {
        refuse(std::string("does not begin with the line \"") + kFirstLine + "\"");
    }
    std::vector<User> users;
    for (int number = 2; std::getline(lines, line); ++number)
    {
        const std::string place = "line " + std::to_string(number) + " ";
        try
        {
            users.push_back(parseLine(line));
        }
        catch (const std::runtime_error& error)
        {
            refuse(place + error.what());
        }
        const auto isSameName = [&users](const User& user) { return user.name == users.back().name; };
        if (std::any_of(users.begin(), users.end() - 1, isSameName))
        {
            refuse(place + "names " + users.back().name + " again");
        }
        if (users.size() > kMostUsers)
        {
            refuse("has more than " + std::to_string(kMostUsers) + " users");
        }
    }
    return users;
}

std::string usersText(const std::vector<User>& users)
{
    std::string text = std::string(kFirstLine) + "\n";
    for (const User& user : users)
    {
        text += user.name + " " + roleName(user.role) + " " + user.hash + "\n";
    }
    return text;
}

UsersFile UsersFile::at(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    camera::Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.number() < 0)
    {
        refuse(folder + ": " + std::strerror(errno));
    }
    return UsersFile(std::move(opened), slash == std::string::npos ? path : path.substr(slash + 1));
}

std::optional<struct stat> UsersFile::facts() const
{
    struct stat facts = {};
    if (fstatat(folder_.number(), name_.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    {
        return std::nullopt;
    }
    return facts;
}

std::vector<User> UsersFile::read() const
{
    const camera::Descriptor file(
        openat(folder_.number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.number() < 0)
    {
        refuse("the users' file " + name_ + ": " +
               (errno == ELOOP ? std::string("is a symbolic link") : std::strerror(errno)));
    }
    const std::string subject = "the users' file " + name_;
    struct stat facts = {};
    if (fstat(file.number(), &facts) != 0)
    {
        refuse(subject + ": " + std::strerror(errno));
    }
    requireOwn(subject, facts);
    std::string text(static_cast<std::size_t>(facts.st_size), '\0');
    if (::read(file.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    {
        refuse(subject + " cannot be read");
    }
    try
    {
        return parseUsers(text);
    }
    catch (const std::runtime_error& error)
    {
        refuse(subject + ": " + error.what());
    }
}

Users::Users(UsersFile file, std::function<void(const std::string&)> report)
    : file_(std::move(file)),
      report_(std::move(report)),
      seen_(file_.facts()),
      users_(file_.read())
{
}

std::optional<User> Users::find(const std::string& name, Time now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!looked_ || now - *looked_ >= kLook)
    {
        looked_ = now;
        refresh();
    }
    const auto found =
        std::find_if(users_.begin(), users_.end(), [&name](const User& user) { return user.name == name; });
    return found == users_.end() ? std::nullopt : std::optional<User>(*found);
}

void Users::refresh()
{
    const std::optional<struct stat> now = file_.facts();
    if (!isUnread_ && isSame(seen_, now))
    {
        return;
    }
    seen_ = now;
    try
    {
        users_ = file_.read();
        isUnread_ = false;
        told_.clear();
    }
    catch (const std::runtime_error& error)
    {
        users_.clear();
        isUnread_ = true;  // it may be well again without having changed
        if (std::exchange(told_, error.what()) != error.what())
        {
            report_(error.what() + std::string("; nobody is let in until it is well again"));
        }
    }
}

}  // namespace web
