#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// The built sensorcam as a program of its own, seen from outside: what it is given, what it prints, how it ends.
// In the private tree of the tests it works in place.
namespace support {

constexpr auto kRunBound = std::chrono::seconds(120);  // also for sanitized builds on a busy machine

constexpr char kSensorcam[] = SENSORDLL_BINARY_DIR "/bin/sensorcam";

class SensorcamRun
{
public:
    enum class Terminal
    {
        none,    // pipes for all three
        pseudo,  // one pseudo-terminal for all three
    };

    // arguments follow "--in-place --speed 20", so that the second of the start takes a twentieth of one.
    explicit SensorcamRun(const std::vector<std::string>& arguments, Terminal terminal = Terminal::none,
                          const std::string& program = "sensorcam")
        : SensorcamRun(inPlace(program, arguments), terminal)
    {
    }

    struct Command
    {
        std::vector<std::string> words;  // the first one a path
    };

    explicit SensorcamRun(Command command, Terminal terminal = Terminal::none)
    {
        std::vector<char*> pointers;
        for (std::string& argument : command.words)
        {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        terminal == Terminal::none ? startWithPipes(pointers) : startOnTerminal(pointers);
    }

    ~SensorcamRun()
    {
        closeInput();
        if (process_ > 0)
        {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        close(output_);
        if (errors_ >= 0)
        {
            close(errors_);
        }
    }

    SensorcamRun(const SensorcamRun&) = delete;
    SensorcamRun& operator=(const SensorcamRun&) = delete;

    void type(const std::string& text)
    {
        ASSERT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void closeInput()
    {
        if (input_ >= 0 && input_ != output_)
        {
            close(input_);
        }
        input_ = -1;
    }

    void sendSignal(int signal) { kill(process_, signal); }

    // Reads until standard output holds text behind what an earlier waitFor found.
    void waitFor(const std::string& text)
    {
        const auto limit = std::chrono::steady_clock::now() + kRunBound;
        std::size_t found = std::string::npos;
        while ((found = out.find(text, seen_)) == std::string::npos)
        {
            ASSERT_TRUE(readMore() && std::chrono::steady_clock::now() < limit) << "no '" << text << "' after:\n"
                                                                                << out << "\nerrors:\n"
                                                                                << err;
        }
        seen_ = found + text.size();
    }

    // Ends its input and waits for the end, as below.
    int end()
    {
        closeInput();
        return waitForEnd();
    }

    // Exit status, 128 + n after signal n. Everything printed is in out and err.
    int waitForEnd()
    {
        while (readMore())
        {
        }
        int status = 0;
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR)
        {
        }
        process_ = -1;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    std::string out;
    std::string err;

private:
    static Command inPlace(const std::string& program, const std::vector<std::string>& arguments)
    {
        Command command = {{SENSORDLL_BINARY_DIR "/bin/" + program, "--in-place", "--speed", "20"}};
        command.words.insert(command.words.end(), arguments.begin(), arguments.end());
        return command;
    }

    void startWithPipes(std::vector<char*>& command)
    {
        int in[2], outEnds[2], errEnds[2];
        ASSERT_EQ(pipe2(in, O_CLOEXEC) | pipe2(outEnds, O_CLOEXEC) | pipe2(errEnds, O_CLOEXEC), 0);
        process_ = fork();
        if (process_ == 0)
        {
            dup2(in[0], 0);
            dup2(outEnds[1], 1);
            dup2(errEnds[1], 2);
            execv(command[0], command.data());
            _exit(127);
        }
        close(in[0]);
        close(outEnds[1]);
        close(errEnds[1]);
        input_ = in[1];
        output_ = outEnds[0];
        errors_ = errEnds[0];
    }

    void startOnTerminal(std::vector<char*>& command)
    {
        winsize size = {24, 100, 0, 0};
        process_ = forkpty(&output_, nullptr, nullptr, &size);
        if (process_ == 0)
        {
            setenv("TERM", "xterm", 1);
            execv(command[0], command.data());
            _exit(127);
        }
        input_ = output_;
    }

    bool readFrom(int& descriptor, std::string& text)
    {
        char buffer[4096];
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        if (count > 0)
        {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    // False when everything is closed, or nothing came within the bound.
    bool readMore()
    {
        pollfd waits[] = {{outputOpen_ ? output_ : -1, POLLIN, 0}, {errorsOpen_ ? errors_ : -1, POLLIN, 0}};
        const auto bound = std::chrono::milliseconds(kRunBound).count();
        if ((!outputOpen_ && !(errorsOpen_ && errors_ >= 0)) || poll(waits, 2, static_cast<int>(bound)) <= 0)
        {
            return false;
        }
        outputOpen_ = waits[0].revents == 0 ? outputOpen_ : readFrom(output_, out);
        errorsOpen_ = waits[1].revents == 0 ? errorsOpen_ : readFrom(errors_, err);
        return outputOpen_ || (errorsOpen_ && errors_ >= 0);
    }

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    bool outputOpen_ = true;
    bool errorsOpen_ = true;
    std::size_t seen_ = 0;
};

inline bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// The JSON document in the text's last line; discarded if that is none.
inline nlohmann::json lastDocument(const std::string& text)
{
    const std::size_t begin = text.rfind('\n', text.size() - 2);
    return nlohmann::json::parse(text.substr(begin == std::string::npos ? 0 : begin + 1), nullptr, false);
}

struct Ended
{
    int status;
    std::string out;
    std::string err;
};

inline Ended runToEnd(const std::vector<std::string>& arguments, const std::string& input = "")
{
    SensorcamRun run(arguments);
    run.type(input);
    const int status = run.end();
    return {status, run.out, run.err};
}

// "exec" with these command lines.
inline Ended execute(std::vector<std::string> commands, std::vector<std::string> options = {})
{
    options.push_back("exec");
    options.insert(options.end(), commands.begin(), commands.end());
    return runToEnd(options);
}

}  // namespace support
