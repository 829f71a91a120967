#include <algorithm>

#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
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

Json keyJson(const camera::KeyResult& key)
{
    return {{"key", key.key}, {"name", keyTitle(key.key)}, {"value", key.asked}};
}

Json listJson(Keys::const_iterator begin, Keys::const_iterator end)
{
    Json list = Json::array();
    for (; begin != end; ++begin)
    {
        list.push_back(keyJson(*begin));
    }
    return list;
}

// The library stops at the first record that a handler refuses and names its key.
Answer refused(Session& session, const camera::ApplyResult& result)
{
    const std::string title = keyTitle(*result.refusedKey);
    if (!result.refused)
    {
        return Answer::failure(title + " refused");
    }
    const auto failed = result.keys.begin() + static_cast<std::ptrdiff_t>(*result.refused);
    const services::ImageService& service = session.camera().service();
    const std::string reason = failed->status == services::kDone
                                   ? "the video module refused it"
                                   : reasonText(service, failed->key, failed->asked, failed->status);
    Answer answer;
    answer.error = title + " refused: " + reason + ".";
    if (result.keys.size() > 1)
    {
        answer.error += "\n  before it applied: " + listText(result.keys.begin(), failed) +
                        "\n  after it not applied: " + listText(failed + 1, result.keys.end());
    }
    answer.data["applied"] = listJson(result.keys.begin(), failed);
    answer.data["refused"] = keyJson(*failed);
    answer.data["refused"]["reason"] = reason;
    answer.data["refused"]["allowed"] = allowedJson(service, failed->key);
    answer.data["notApplied"] = listJson(failed + 1, result.keys.end());
    return answer;
}

std::string appliedLine(Session& session, const camera::ApplyResult& result, const camera::KeyResult& key)
{
    const std::string label = valueNote(session.camera().service(), key.key, key.now);
    std::string line = keyTitle(key.key) + " = " + std::to_string(key.now) + (label.empty() ? "" : " " + label);
    if (key.now != key.asked)
    {
        line += "  (asked for " + valueText(session.camera().service(), key.key, key.asked) + ")";
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
        line += "  (was " + valueText(session.camera().service(), key.key, *key.before) + ")";
    }
    return line + "\n";
}

void addNote(Answer& answer, const std::string& note)
{
    answer.text += "note: " + note + "\n";
    answer.data["notes"].push_back(note);
}

Answer applied(Session& session, const camera::ApplyResult& result)
{
    Answer answer;
    answer.data["values"] = Json::array();
    for (const camera::KeyResult& key : result.keys)
    {
        answer.text += appliedLine(session, result, key);
        Json entry = keyJson(key);
        entry["value"] = key.now;
        entry["sent"] = key.outcome != camera::Outcome::unchanged;
        answer.data["values"].push_back(entry);
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

// text: the same as pair text, where that is what was typed.
Answer apply(Session& session, const std::vector<camera::Value>& values, const std::string& text = "")
{
    const camera::ApplyResult result = session.camera().apply(values, true, text);
    if (result.tooMany != 0)
    {
        return Answer::failure(std::to_string(values.size()) + " values are too many at once, this camera takes " +
                               std::to_string(result.tooMany) + "; nothing was applied");
    }
    return result.ok() ? applied(session, result) : refused(session, result);
}

// Of values that a person lists a key at a time: one that comes twice is a mistake.
Answer applyOnce(Session& session, const std::vector<camera::Value>& values)
{
    for (auto entry = values.begin(); entry != values.end(); ++entry)
    {
        if (std::any_of(values.begin(), entry, [&](const camera::Value& other) { return other.key == entry->key; }))
        {
            return Answer::failure(keyTitle(entry->key) + " is given twice; nothing was applied");
        }
    }
    return apply(session, values);
}

}  // namespace

Answer runSet(Session& session, const Words& arguments)
{
    if (arguments.empty())
    {
        return wrongUsage("set");
    }
    std::string error;
    const auto values = parseAssignments(session.camera().service(), arguments, error);
    return values ? applyOnce(session, *values) : Answer::failure(error + "; nothing was applied");
}

Answer runDefault(Session& session, const Words& arguments)
{
    if (arguments.empty())
    {
        return wrongUsage("default");
    }
    std::vector<camera::Value> values;
    for (const std::string& argument : arguments)
    {
        std::string error;
        const std::optional<int> key = parseKey(argument, error);
        if (!key)
        {
            return Answer::failure(error + "; nothing was applied");
        }
        const std::optional<int> factory = session.camera().factoryValue(*key);
        if (!factory)
        {
            return Answer::failure(keyTitle(*key) + " has no factory value: the schemes of this camera do not keep it; "
                                                    "nothing was applied");
        }
        values.push_back({*key, *factory});
    }
    return applyOnce(session, values);
}

Answer runText(Session& session, const Words& arguments)
{
    if (arguments.size() != 1)
    {
        return wrongUsage("text");
    }
    std::string error;
    const std::optional<std::vector<camera::Value>> pairs = parsePairs(arguments[0], error);
    return pairs ? apply(session, *pairs, arguments[0]) : Answer::failure(error + "; nothing was applied");
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
