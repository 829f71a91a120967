#include "app/cli/Completion.h"

#include <algorithm>

#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"

namespace app {
namespace {

bool beginsWith(const std::string& candidate, const std::string& typed)
{
    const std::string lower = toLower(candidate);
    const std::string wanted = toLower(typed);
    const bool bareKey = lower.rfind("key_", 0) == 0 && lower.rfind(wanted, 4) == 4;
    return lower.rfind(wanted, 0) == 0 || bareKey;
}

Words wordsAfter(Session& session, const Words& before)
{
    if (before.empty())
    {
        Words names;
        for (const Command& command : commands())
        {
            names.push_back(command.name);
        }
        return names;
    }
    const Command* command = findCommand(toLower(before.front()));
    if (command == nullptr || command->complete == nullptr)
    {
        return {};
    }
    return command->complete(session, Words(before.begin() + 1, before.end()));
}

Words valuesOf(Session& session, const std::string& keyText)
{
    std::string error;
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    const std::optional<Target> target = parseTarget(controls, keyText, error);
    if (!target)
    {
        return {};
    }
    return target->control != nullptr ? valueWords(*target->control)
                                      : valueWords(session.camera().service(), target->key);
}

}  // namespace

Completion complete(const std::string& line, std::size_t cursor, const Vocabulary& vocabulary)
{
    const TypedLine typed = splitTyped(line.substr(0, cursor));
    const Words words = vocabulary.words(typed.before);
    const bool takesValues =
        std::any_of(words.begin(), words.end(), [](const std::string& word) { return word.back() == '='; });
    const std::size_t equals = typed.word.find('=');
    Completion completion = {typed.begin, {}};
    if (takesValues && equals != std::string::npos)
    {
        for (const std::string& value : vocabulary.values(typed.word.substr(0, equals)))
        {
            if (beginsWith(value, typed.word.substr(equals + 1)))
            {
                completion.candidates.push_back(typed.word.substr(0, equals + 1) + quotedWord(value));
            }
        }
        return completion;
    }
    std::copy_if(words.begin(), words.end(), std::back_inserter(completion.candidates),
                 [&](const std::string& word) { return beginsWith(word, typed.word); });
    return completion;
}

Vocabulary Session::vocabulary()
{
    return {[this](const Words& before) { return wordsAfter(*this, before); },
            [this](const std::string& key) { return valuesOf(*this, key); }};
}

}  // namespace app
