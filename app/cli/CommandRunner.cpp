#include "app/cli/CommandRunner.h"

#include "app/Options.h"
#include "app/cli/Commands.h"

namespace app {

std::string commandOf(const std::string& line)
{
    std::string ignored;
    const Words words = splitWords(line, ignored).value_or(Words());
    const std::string name = words.empty() ? "" : toLower(words.front());
    const Command* const command = findCommand(name);
    return command == nullptr ? name : command->name;
}

bool isChange(const std::string& line)
{
    std::string ignored;
    const Words words = splitWords(line, ignored).value_or(Words());
    const Command* const command = words.empty() ? nullptr : findCommand(toLower(words.front()));
    return command != nullptr && command->changes != nullptr && command->changes(Words(words.begin() + 1, words.end()));
}

void CommandRunner::refuse(const std::string& error)
{
    printAnswer("", Answer::failure({ErrorCode::wrongUsage, error}));
}

int CommandRunner::runAll(const std::vector<std::string>& lines)
{
    bool failed = false;
    for (const std::string& line : lines)
    {
        if (failed || console_.ended())
        {
            cutShort_ = cutShort_ || !failed;
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

void CommandRunner::printAnswer(const std::string& command, const Answer& answer)
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
