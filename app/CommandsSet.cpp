#include <algorithm>

#include "Commands.h"
#include "KeyLimits.h"
#include "KeyNames.h"
#include "SensorKeyVal.h"
#include "Session.h"

namespace app {
namespace {

struct Change
{
    int key;
    int value;
    std::optional<int> before;

    std::string text() const { return keyTitle(key) + "=" + std::to_string(value); }
    Json json() const { return {{"key", key}, {"name", keyTitle(key)}, {"value", value}}; }
};

using Changes = std::vector<Change>;

std::string listText(Changes::const_iterator begin, Changes::const_iterator end)
{
    Words words;
    for (; begin != end; ++begin)
    {
        words.push_back(begin->text());
    }
    return words.empty() ? "nothing" : joinWords(words);
}

Json listJson(Changes::const_iterator begin, Changes::const_iterator end)
{
    Json list = Json::array();
    for (; begin != end; ++begin)
    {
        list.push_back(begin->json());
    }
    return list;
}

// The library stops at the first record that a handler refuses and names its key.
Answer refused(Session& session, const Changes& changes, int failedKey, const std::vector<Refusal>& refusals)
{
    const auto failed =
        std::find_if(changes.begin(), changes.end(), [&](const Change& change) { return change.key == failedKey; });
    if (failed == changes.end())
    {
        return Answer::failure(keyTitle(failedKey) + " refused");
    }
    const auto refusal =
        std::find_if(refusals.rbegin(), refusals.rend(), [&](const Refusal& entry) { return entry.key == failedKey; });
    const std::string reason = refusal == refusals.rend()
                                   ? "the video module refused it"
                                   : reasonText(session.camera().service(), failedKey, failed->value, refusal->status);
    Answer answer;
    answer.error = keyTitle(failedKey) + " refused: " + reason + ".";
    if (changes.size() > 1)
    {
        answer.error += "\n  before it applied: " + listText(changes.begin(), failed) +
                        "\n  after it not applied: " + listText(failed + 1, changes.end());
    }
    answer.data["applied"] = listJson(changes.begin(), failed);
    answer.data["refused"] = failed->json();
    answer.data["refused"]["reason"] = reason;
    answer.data["refused"]["allowed"] = allowedJson(session.camera().service(), failedKey);
    answer.data["notApplied"] = listJson(failed + 1, changes.end());
    return answer;
}

std::string appliedLine(Session& session, const Change& change)
{
    const int now = session.camera().peek(change.key).value_or(change.value);
    const std::string label = valueNote(session.camera().service(), change.key, now);
    std::string line = keyTitle(change.key) + " = " + std::to_string(now) + (label.empty() ? "" : " " + label);
    if (now != change.value)
    {
        line += "  (asked for " + std::to_string(change.value) + ")";
    }
    else if (change.before == change.value)
    {
        line += "  (unchanged, not sent again)";
    }
    else if (change.before)
    {
        line += "  (was " + std::to_string(*change.before) + ")";
    }
    return line + "\n";
}

void addNote(Answer& answer, const std::string& note)
{
    answer.text += "note: " + note + "\n";
    answer.data["notes"].push_back(note);
}

Answer applied(Session& session, const Changes& changes, const std::vector<Refusal>& refusals)
{
    Answer answer;
    answer.data["values"] = Json::array();
    for (const Change& change : changes)
    {
        answer.text += appliedLine(session, change);
        Json entry = change.json();
        entry["value"] = session.camera().peek(change.key).value_or(change.value);
        entry["sent"] = change.before != change.value;
        answer.data["values"].push_back(entry);
    }
    // Some handlers report the service's refusal and go on with the video module's answer.
    for (const Refusal& refusal : refusals)
    {
        addNote(answer, "the sensor refused " + keyTitle(refusal.key) + "=" + std::to_string(refusal.value) +
                            ", which is stored all the same: " +
                            reasonText(session.camera().service(), refusal.key, refusal.value, refusal.status));
    }
    if (session.camera().defaultSchemeIsCurrent())
    {
        addNote(answer, "the default scheme is in force; it keeps its factory values, so this change is applied to the "
                        "sensor and not remembered. Choose a scheme first ('schemes', 'scheme N', 'mode manual')");
    }
    return answer;
}

Answer applyPairs(Session& session, const std::string& pairText)
{
    // As the library reads it.
    const std::size_t most = static_cast<std::size_t>(std::count(pairText.begin(), pairText.end(), ')'));
    std::vector<KeyVal> records(most + 1);
    u32 count = 0;
    keyval_str2st(pairText, records.data(), count);
    Changes changes;
    for (u32 i = 0; i < count; ++i)
    {
        const int key = static_cast<int>(records[i].key);
        changes.push_back({key, static_cast<int>(records[i].value),
                           session.camera().schemeValue(session.camera().currentScheme(), key)});
    }
    const u32 callsBefore = session.camera().service().callCount();
    const int result = session.camera().controller().setParameters(pairText, true);
    const std::vector<Refusal> refusals = refusalsSince(session.camera().service(), callsBefore);
    return result == 0 ? applied(session, changes, refusals) : refused(session, changes, -result, refusals);
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
            return Answer::failure(argument + " is no KEY=VALUE; nothing was applied");
        }
        std::string error;
        const std::optional<int> key = parseKey(assignment->key, error);
        if (!key)
        {
            return Answer::failure(error + "; nothing was applied");
        }
        const std::optional<int> value = parseInt(assignment->value);
        if (!value)
        {
            const std::string allowed = allowedText(session.camera().service(), *key);
            return Answer::failure(keyTitle(*key) + ": " + assignment->value + " is no number" +
                                   (allowed.empty() ? "" : "; allowed: " + allowed) + "; nothing was applied");
        }
        if (std::find(keys.begin(), keys.end(), *key) != keys.end())
        {
            return Answer::failure(keyTitle(*key) + " is given twice; nothing was applied");
        }
        keys.push_back(*key);
        pairText += "(" + std::to_string(*key) + "," + std::to_string(*value) + ")";
    }
    return applyPairs(session, pairText);
}

Answer runText(Session& session, const Words& arguments)
{
    if (arguments.size() != 1 || arguments[0].find('(') == std::string::npos)
    {
        return wrongUsage("text");
    }
    return applyPairs(session, arguments[0]);
}

Words completeAssignments(Session&, const Words&)
{
    Words words;
    for (const KeyName& row : keyNames())
    {
        words.push_back(std::string(row.name) + "=");
    }
    return words;
}

}  // namespace app
