#include "app/cli/Session.h"

#include <exception>

#include "app/Failure.h"
#include "app/Options.h"
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

Session::Session(camera::Camera& camera, Console& console, bool json) : camera_(camera), console_(console), json_(json)
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
        if (failed || console_.ended())
        {
            if (json_)
            {
                const Answer skipped = Answer::failure({ErrorCode::notRun, "not run: " + line});
                console_.print(jsonDocument(commandOf(line), skipped));
            }
            else
            {
                console_.notice("not run: " + line);
            }
            continue;
        }
        failed = !run(line) || console_.broken();
        if (quit_ || console_.readerGone())
        {
            break;
        }
    }
    return failed ? kExitCommandFailed : kExitOk;
}

void Session::printPart(const std::string& command, const Answer& part)
{
    console_.showLibrary();
    console_.print(json_ ? jsonDocument(command, part) : part.text);
}

void Session::printAnswer(const std::string& command, const Answer& answer)
{
    console_.showLibrary();
    if (json_)
    {
        console_.print(jsonDocument(command, answer));
        return;
    }
    console_.print(answer.text);
    if (!answer.ok())
    {
        console_.notice(answer.error->message);
    }
}

}  // namespace app
