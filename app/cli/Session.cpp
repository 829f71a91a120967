#include "app/cli/Session.h"

#include <exception>

#include "app/Failure.h"
#include "app/cli/Commands.h"

namespace app {
Session::Session(camera::Camera& camera, Console& console, bool json) : CommandRunner(console, json), camera_(camera) {}

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

void Session::tellLoss()
{
    const camera::Failure loss(camera::Problem::boardFilesGone);
    printAnswer("", Answer::failure({codeOf(loss.problem()), failureText(loss)}));
}

void Session::printPart(const std::string& command, const Answer& part)
{
    console_.showLibrary();
    console_.print(json_ ? jsonDocument(command, part) : part.text);
}

}  // namespace app
