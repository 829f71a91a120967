#include "app/cli/Session.h"

#include <poll.h>
#include <signal.h>

#include <exception>

#include "app/Failure.h"
#include "app/cli/Commands.h"

namespace app {
namespace {

// As its answer would name it; empty where none can be read.
std::string commandOf(const std::string& line)
{
    std::string ignored;
    const Words words = splitWords(line, ignored).value_or(Words());
    const std::string name = words.empty() ? "" : toLower(words.front());
    const Command* const command = findCommand(name);
    return command == nullptr ? name : command->name;
}

}  // namespace

Session::Session(camera::Camera& camera, LibraryOutput& output, EndSignals& signals, bool json, bool interactive)
    : camera_(camera),
      output_(output),
      signals_(signals),
      json_(json),
      interactive_(interactive)
{
}

bool Session::run(const std::string& line)
{
    std::string error;
    const std::optional<Words> words = splitWords(line, error);
    if (!words)
    {
        refuse(error);
        return false;
    }
    if (words->empty() || words->front()[0] == '#')
    {
        return true;
    }
    const std::string name = toLower(words->front());
    const Command* command = findCommand(name);
    if (command == nullptr || command->run != runQuit)
    {
        toldLoss_.clear();
    }
    if (command == nullptr)
    {
        printAnswer(name, Answer::failure({ErrorCode::unknownCommand,
                                           "there is no command " + name + "; 'help' lists the commands"}));
        return false;
    }
    const Answer answer = answerOf(*command, Words(words->begin() + 1, words->end()));
    printAnswer(command->name, answer);
    return answer.ok();
}

void Session::refuse(const std::string& error)
{
    printAnswer("", Answer::failure({ErrorCode::wrongUsage, error}));
}

// The camera is up: what goes wrong from here on is the command's failure.
Answer Session::answerOf(const Command& command, const Words& arguments)
{
    try
    {
        return command.run(*this, arguments);
    }
    catch (const camera::Failure& failure)
    {
        return Answer::failure({codeOf(failure.problem()), failureText(failure)});
    }
    catch (const std::exception& error)
    {
        return Answer::failure({ErrorCode::internal, error.what()});
    }
}

int Session::runAll(const std::vector<std::string>& lines)
{
    bool failed = false;
    for (const std::string& line : lines)
    {
        if (failed || signals_.received() != 0)
        {
            if (json_)
            {
                const Answer skipped = Answer::failure({ErrorCode::notRun, "not run: " + line});
                answers().print(jsonDocument(commandOf(line), skipped));
            }
            else
            {
                notice("not run: " + line);
            }
            continue;
        }
        failed = !run(line) || answers().broken();
        if (quit_ || answers().readerGone())
        {
            break;
        }
    }
    return failed ? kExitCommandFailed : kExitOk;
}

bool Session::ended()
{
    const int signal = signals_.received();
    return quit_ || answers().broken() || (signal != 0 && !(signal == SIGINT && interactive_));
}

bool Session::pause(std::chrono::microseconds span)
{
    const auto end = std::chrono::steady_clock::now() + span;
    while (true)
    {
        if (ended() || signals_.received() != 0)
        {
            return false;
        }
        const auto left = end - std::chrono::steady_clock::now();
        if (left <= std::chrono::nanoseconds(0))
        {
            return true;
        }
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        const timespec limit = {static_cast<time_t>(nanoseconds / 1000000000),
                                static_cast<long>(nanoseconds % 1000000000)};
        pollfd waits[] = {{signals_.descriptor(), POLLIN, 0}, {output_.descriptor(), POLLIN, 0}};
        ppoll(waits, 2, &limit, nullptr);
        answers().write(output_.takeArrived());
    }
}

void Session::printPart(const std::string& command, const Answer& part)
{
    showLibrary();
    answers().print(json_ ? jsonDocument(command, part) : part.text);
}

void Session::printAnswer(const std::string& command, const Answer& answer)
{
    showLibrary();
    if (json_)
    {
        answers().print(jsonDocument(command, answer));
        return;
    }
    answers().print(answer.text);
    if (!answer.ok())
    {
        notice(answer.error->message);
    }
}

void Session::showLibrary()
{
    answers().write(output_.take());
}

}  // namespace app
