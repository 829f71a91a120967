#include <algorithm>

#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

using Keys = std::vector<camera::KeyResult>;

std::string listText(Keys::const_iterator begin, Keys::const_iterator end)
{
    Words words;
    for (; begin != end; ++begin)
    {
        words.push_back(keyTitle(begin->key) + "=" + std::to_string(begin->asked));
    }
    return words.empty() ? "nothing" : joinWords(words);
}

// The library stops at the first record that a handler refuses and names its key.
Answer refused(Session& session, const camera::ApplyResult& result)
{
    const std::string title = keyTitle(*result.refusedKey);
    Answer answer = Answer::failure({ErrorCode::deviceRefused, title + " refused", *result.refusedKey});
    answer.data = toJson(result);
    if (!result.refused)
    {
        return answer;
    }
    const auto failed = result.keys.begin() + static_cast<std::ptrdiff_t>(*result.refused);
    const services::ImageService& service = session.camera().service();
    const std::string reason = failed->status == services::kDone
                                   ? "the video module refused it"
                                   : reasonText(service, failed->key, failed->asked, failed->status);
    answer.error = {codeOf(failed->status), title + " refused: " + reason + ".", failed->key, failed->asked,
                    failed->allowed};
    if (result.keys.size() > 1)
    {
        answer.error->message += "\n  before it applied: " + listText(result.keys.begin(), failed) +
                                 "\n  after it not applied: " + listText(failed + 1, result.keys.end());
    }
    return answer;
}

std::string appliedLine(Session& session, const camera::ApplyResult& result, const camera::KeyResult& key)
{
    const std::string label = valueNote(session.camera().service(), key.key, key.now);
    std::string line = keyTitle(key.key) + " = " + std::to_string(key.now) + (label.empty() ? "" : " " + label);
    if (key.now != key.asked)
    {
        line += "  (asked for " + std::to_string(key.asked) + ")";
    }
    else if (key.outcome == camera::Outcome::unchanged)
    {
        line += "  (unchanged, not sent again)";
    }
    else if (!result.schemeKeepsValues)
    {
        line += "  (sent, not remembered)";
    }
    else if (key.before)
    {
        line += "  (was " + std::to_string(*key.before) + ")";
    }
    return line + "\n";
}

void addNote(Answer& answer, const std::string& note)
{
    answer.text += "note: " + note + "\n";
}

Answer applied(Session& session, const camera::ApplyResult& result)
{
    Answer answer;
    answer.data = toJson(result);
    for (const camera::KeyResult& key : result.keys)
    {
        answer.text += appliedLine(session, result, key);
    }
    // Some handlers report the service's refusal and go on with the video module's answer.
    for (const camera::Refusal& refusal : result.refusals)
    {
        addNote(answer, "the sensor refused " + keyTitle(refusal.key) + "=" + std::to_string(refusal.value) +
                            ", which is stored all the same: " +
                            reasonText(session.camera().service(), refusal.key, refusal.value, refusal.status));
    }
    if (!result.schemeKeepsValues)
    {
        addNote(answer, "the default scheme is in force; it keeps its factory values, so this change is applied to the "
                        "sensor and not remembered. Choose a scheme first ('schemes', 'scheme N', 'mode manual')");
    }
    return answer;
}

Answer applyPairs(Session& session, const std::string& pairText)
{
    std::string error;
    const std::optional<std::vector<camera::Value>> pairs = parsePairs(pairText, error);
    if (!pairs)
    {
        return Answer::failure({ErrorCode::badDocument, error + "; nothing was applied"});
    }
    const camera::ApplyResult result = session.camera().apply(*pairs, true, pairText);
    if (result.tooMany != 0)
    {
        return Answer::failure({ErrorCode::tooManyValues,
                                std::to_string(pairs->size()) + " values are too many at once, this camera takes " +
                                    std::to_string(result.tooMany) + "; nothing was applied"});
    }
    return result.ok() ? applied(session, result) : refused(session, result);
}

}  // namespace

Answer runSet(Session& session, const Words& arguments)
{
    if (arguments.empty())
    {
        return wrongUsage("set");
    }
    std::string pairText;
    std::vector<int> keys;
    for (const std::string& argument : arguments)
    {
        const std::optional<Assignment> assignment = parseAssignment(argument);
        if (!assignment)
        {
            return Answer::failure({ErrorCode::wrongUsage, argument + " is no KEY=VALUE; nothing was applied"});
        }
        std::string error;
        const std::optional<int> key = parseKey(assignment->key, error);
        if (!key)
        {
            return Answer::failure({ErrorCode::unknownKey, error + "; nothing was applied"});
        }
        const std::optional<int> value = parseInt(assignment->value);
        if (!value)
        {
            const services::ImageService& service = session.camera().service();
            return Answer::failure({ErrorCode::badValue,
                                    keyTitle(*key) + ": " + assignment->value + " is no number; allowed: " +
                                        allowedText(service, *key) + "; nothing was applied",
                                    *key,
                                    {},
                                    camera::parameterOfKey(service, *key)});
        }
        if (std::find(keys.begin(), keys.end(), *key) != keys.end())
        {
            return Answer::failure(
                {ErrorCode::wrongUsage, keyTitle(*key) + " is given twice; nothing was applied", *key});
        }
        keys.push_back(*key);
        pairText += "(" + std::to_string(*key) + "," + std::to_string(*value) + ")";
    }
    return applyPairs(session, pairText);
}

Answer runText(Session& session, const Words& arguments)
{
    if (arguments.size() != 1)
    {
        return wrongUsage("text");
    }
    return applyPairs(session, arguments[0]);
}

Words completeAssignments(Session&, const Words&)
{
    Words words;
    for (const camera::KeyName& row : camera::keyNames())
    {
        words.push_back(std::string(row.name) + "=");
    }
    return words;
}

}  // namespace app
