#include <algorithm>

#include "app/KeyLimits.h"
#include "app/KeyNames.h"
#include "app/SchemeFile.h"
#include "app/cli/Commands.h"
#include "app/cli/Session.h"

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

// A key without a row goes to the service with its number as the command.
bool concerns(const Refusal& refusal, int key)
{
    return findKey(key) != nullptr ? refusal.key == key : refusal.command == key;
}

const Refusal* lastRefusal(const std::vector<Refusal>& refusals, int key)
{
    const auto found = std::find_if(refusals.rbegin(), refusals.rend(),
                                    [key](const Refusal& refusal) { return concerns(refusal, key); });
    return found == refusals.rend() ? nullptr : &*found;
}

// The record of the key that was refused, a key may be sent several times: the one with the value that the service
// refused; if the service refused nothing, the one that would have changed what is remembered now.
Changes::const_iterator failedRecord(Session& session, const Changes& changes, int failedKey, const Refusal* refusal)
{
    const std::optional<int> now = session.camera().schemeValue(session.camera().currentScheme(), failedKey);
    auto first = changes.end();
    for (auto change = changes.begin(); change != changes.end(); ++change)
    {
        if (change->key != failedKey)
        {
            continue;
        }
        if (refusal != nullptr ? change->value == refusal->value : change->before == now && change->value != now)
        {
            return change;
        }
        first = first == changes.end() ? change : first;
    }
    return first;
}

// The library stops at the first record that a handler refuses and names its key.
Answer refused(Session& session, const Changes& changes, int failedKey, const std::vector<Refusal>& refusals)
{
    const Refusal* const refusal = lastRefusal(refusals, failedKey);
    const auto failed = failedRecord(session, changes, failedKey, refusal);
    if (failed == changes.end())
    {
        return Answer::failure(keyTitle(failedKey) + " refused");
    }
    const std::string reason = refusal == nullptr
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

// The default scheme's records stay as they are, whatever is sent.
int valueInForce(Session& session, const Change& change)
{
    return session.camera().defaultSchemeIsCurrent() ? change.value
                                                     : session.camera().peek(change.key).value_or(change.value);
}

std::string appliedLine(Session& session, const Change& change)
{
    const int now = valueInForce(session, change);
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
    else if (session.camera().defaultSchemeIsCurrent())
    {
        line += "  (sent, not remembered)";
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
        entry["value"] = valueInForce(session, change);
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

Changes changesOf(Session& session, const std::vector<PairItem>& pairs)
{
    Camera& camera = session.camera();
    const bool remembers = !camera.defaultSchemeIsCurrent();
    Changes changes;
    for (const PairItem& pair : pairs)
    {
        std::optional<int> before = camera.schemeValue(camera.currentScheme(), pair.key);
        const auto earlier = std::find_if(changes.rbegin(), changes.rend(),
                                          [&](const Change& change) { return change.key == pair.key; });
        if (before && remembers && earlier != changes.rend())
        {
            before = earlier->value;
        }
        changes.push_back({pair.key, pair.value, before});
    }
    return changes;
}

Answer applyPairs(Session& session, const std::string& pairText)
{
    std::string error;
    const std::optional<std::vector<PairItem>> pairs = parsePairs(pairText, error);
    if (!pairs)
    {
        return Answer::failure(error + "; nothing was applied");
    }
    // The library takes as many as a scheme has records and drops the rest without a word.
    const std::size_t most = readSchemeFile(0).size();
    if (most != 0 && pairs->size() > most)
    {
        return Answer::failure(std::to_string(pairs->size()) + " values are too many at once, this camera takes " +
                               std::to_string(most) + "; nothing was applied");
    }
    const Changes changes = changesOf(session, *pairs);
    const services::OwnRefusals own;
    const int result = session.camera().controller().setParameters(pairText, true);
    const std::vector<Refusal> refusals = refusalsOf(own);
    // The result of a refusal is minus the key, so for key 0 that of a success.
    const bool sentZero =
        std::any_of(changes.begin(), changes.end(), [](const Change& change) { return change.key == 0; });
    if (result == 0 && !(sentZero && lastRefusal(refusals, 0) != nullptr))
    {
        return applied(session, changes, refusals);
    }
    return refused(session, changes, static_cast<int>(0U - static_cast<u32>(result)), refusals);
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
            return Answer::failure(keyTitle(*key) + ": " + assignment->value + " is no number; allowed: " +
                                   allowedText(session.camera().service(), *key) + "; nothing was applied");
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
    if (arguments.size() != 1)
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
