#include <algorithm>

#include "SensorFlags.h"
#include "SensorKeys.h"
#include "camera/KeyNames.h"
#include "camera/Operation.h"
#include "camera/SchemeFile.h"

namespace camera {
namespace {

std::string pairsOf(const std::vector<Value>& values)
{
    std::string text;
    for (const Value& entry : values)
    {
        text += "(" + std::to_string(entry.key) + "," + std::to_string(entry.value) + ")";
    }
    return text;
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

// What the device said to this one and the library went on with all the same.
const Refusal* passedOver(const std::vector<Refusal>& refusals, const KeyResult& key)
{
    const KeyName* const row = findKey(key.key);
    const auto found = std::find_if(refusals.begin(), refusals.end(), [&key](const Refusal& refusal) {
        return refusal.key == key.key && refusal.value == key.asked;
    });
    return row != nullptr && row->refusalIsPassedOver && found != refusals.end() ? &*found : nullptr;
}

bool wasSkipped(int key, const std::vector<Value>& sent)
{
    const KeyName* const row = findKey(key);
    return row != nullptr && row->neverInBulk &&
           std::none_of(sent.begin(), sent.end(), [key](const Value& set) { return set.key == key; });
}

// The library takes as many at once as a scheme has records and drops the rest without a word.
std::size_t mostAtOnce()
{
    return readSchemeFile(0).size();
}

}  // namespace

bool Camera::keepsValues()
{
    return currentScheme() != schemeCount();
}

// Each with what the scheme in force holds before its turn.
std::vector<KeyResult> Camera::asked(const std::vector<Value>& values)
{
    const bool remembers = keepsValues();
    const int scheme = currentScheme();
    std::vector<KeyResult> keys;
    for (const Value& entry : values)
    {
        std::optional<int> before = schemeValue(scheme, entry.key);
        const auto earlier =
            std::find_if(keys.rbegin(), keys.rend(), [&](const KeyResult& key) { return key.key == entry.key; });
        if (before && remembers && earlier != keys.rend())
        {
            before = earlier->asked;
        }
        keys.push_back({entry.key, entry.value, before, entry.value, Outcome::notReached, services::kDone, {}});
    }
    return keys;
}

// The record of the key that was refused, a key may be sent several times: the one with the value that the service
// refused; if the service refused nothing, the one that would have changed what is remembered now.
std::optional<std::size_t> Camera::refusedIndex(const ApplyResult& result, int key, const Refusal* refusal)
{
    const std::optional<int> now = schemeValue(result.scheme, key);
    std::optional<std::size_t> first;
    for (std::size_t i = 0; i < result.keys.size(); ++i)
    {
        const KeyResult& entry = result.keys[i];
        if (entry.key != key)
        {
            continue;
        }
        if (refusal != nullptr ? entry.asked == refusal->value : entry.before == now && entry.asked != now)
        {
            return i;
        }
        first = first ? first : i;
    }
    return first;
}

// Fills in what became of the keys in front of the refused one. sent: commands that the service accepted.
void Camera::judge(ApplyResult& result, const std::vector<Value>& sent, bool remember)
{
    const std::size_t end = result.refused ? *result.refused : result.refusedKey ? 0 : result.keys.size();
    for (std::size_t i = 0; i < end; ++i)
    {
        KeyResult& key = result.keys[i];
        // The default scheme's records stay as they are, whatever is sent.
        key.now = result.schemeKeepsValues ? peek(key.key).value_or(key.asked) : key.asked;
        const KeyName* const row = findKey(key.key);
        const Refusal* const refusal = passedOver(result.refusals, key);
        if (remember ? key.before == key.asked : row != nullptr && row->onlyStored)
        {
            key.outcome = Outcome::unchanged;
            key.now = key.before.value_or(key.asked);
        }
        else if (refusal != nullptr)
        {
            key.outcome = Outcome::heldBack;
            key.status = refusal->status;
            key.allowed = parameterOfKey(service_, key.key);
        }
        else if (wasSkipped(key.key, sent))
        {
            key.outcome = Outcome::ignoredInBulk;
        }
        else if (key.now != key.asked)
        {
            key.outcome = Outcome::corrected;
        }
        else
        {
            key.outcome = result.schemeKeepsValues && key.before ? Outcome::applied : Outcome::notRemembered;
        }
    }
}

// The library would store any number as a part of a window.
std::size_t Camera::firstSenseless(const std::vector<KeyResult>& keys) const
{
    const auto found = std::find_if(keys.begin(), keys.end(), [this](const KeyResult& key) {
        const KeyName* const row = findKey(key.key);
        return row != nullptr && row->onlyStored && expected(key, true).outcome == Outcome::refused;
    });
    return static_cast<std::size_t>(found - keys.begin());
}

void Camera::refuse(KeyResult& key, int status) const
{
    key.outcome = Outcome::refused;
    key.now = key.before.value_or(key.asked);
    key.status = status;
    key.allowed = limitsOfKey(service_, key.key);
}

ApplyResult Camera::apply(const std::vector<Value>& values, const std::string& text)
{
    const Change change(*this);
    ApplyResult result = applyNow(change, values, true, text);
    leaveTrials(result.keys);
    const auto stays = std::find_if(result.keys.begin(), result.keys.end(),
                                    [](const KeyResult& key) { return key.outcome == Outcome::refused; });
    if (result.ok() && stays != result.keys.end())
    {
        result.refused = static_cast<std::size_t>(stays - result.keys.begin());
        result.refusedKey = stays->key;
        result.refusals.push_back({stays->key, 0, stays->asked, stays->status});
    }
    return result;
}

ApplyResult Camera::applyNow(const Change& change, const std::vector<Value>& values, bool remember,
                             const std::string& text)
{
    const std::size_t most = mostAtOnce();
    if (most != 0 && values.size() > most)
    {
        return {currentScheme(), keepsValues(), {}, {}, {}, {}, most};
    }
    std::vector<KeyResult> keys = asked(values);
    const std::size_t reached = firstSenseless(keys);
    const bool all = reached == keys.size();
    const std::vector<Value> sent(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(reached));
    const services::OwnRefusals own;
    const int failed = controller_.setParameters(all && !text.empty() ? text : pairsOf(sent), remember);
    ApplyResult result = {currentScheme(), remember && keepsValues(), std::move(keys), {}, {}, refusalsOf(own), 0};
    // The result of a refusal is minus the key, so for key 0 that of a success.
    const bool sentZero = std::any_of(sent.begin(), sent.end(), [](const Value& entry) { return entry.key == 0; });
    if (failed != 0 || (sentZero && lastRefusal(result.refusals, 0) != nullptr))
    {
        const int key = static_cast<int>(0U - static_cast<u32>(failed));
        const Refusal* const refusal = lastRefusal(result.refusals, key);
        result.refusedKey = key;
        result.refused = refusedIndex(result, key, refusal);
        if (result.refused)
        {
            refuse(result.keys[*result.refused], refusal != nullptr ? refusal->status : services::kDone);
        }
    }
    else if (!all)
    {
        result.refused = reached;
        result.refusedKey = result.keys[reached].key;
        refuse(result.keys[reached], services::kOutOfRange);
    }
    judge(result, change.sets(), remember);
    tellRemembered(result.keys);
    return result;
}

// What is to be expected of one record that is sent.
KeyResult Camera::expected(KeyResult key, bool remembers) const
{
    const KeyName* const row = findKey(key.key);
    if (key.before == key.asked)
    {
        key.outcome = Outcome::unchanged;
        return key;
    }
    // Wide dynamic range becomes 0 where it is not offered.
    const bool isOff = key.key == KEY_WDR_MODE && !getshowWDRFalg();
    key.now = isOff ? 0 : key.asked;
    key.status = isOff ? services::kDone : verdict(service_, key.key, key.asked);
    if (key.status != services::kDone)
    {
        key.outcome = row != nullptr && row->refusalIsPassedOver ? Outcome::heldBack : Outcome::refused;
        key.allowed = limitsOfKey(service_, key.key);
        return key;
    }
    key.outcome = key.now != key.asked      ? Outcome::corrected
                  : remembers && key.before ? Outcome::applied
                                            : Outcome::notRemembered;
    return key;
}

ApplyResult Camera::wouldApply(const std::vector<Value>& values, bool remember)
{
    const Gate::Pass pass(gate_);
    const std::size_t most = mostAtOnce();
    if (most != 0 && values.size() > most)
    {
        return {currentScheme(), keepsValues(), {}, {}, {}, {}, most};
    }
    ApplyResult result = {currentScheme(), remember && keepsValues(), asked(values), {}, {}, {}, 0};
    for (std::size_t i = 0; i < result.keys.size() && !result.refused; ++i)
    {
        KeyResult& key = result.keys[i];
        const std::optional<int> before = key.before;
        if (!remember)
        {
            key.before.reset();  // what is tried is sent even if it is what the scheme holds
        }
        key = expected(key, result.schemeKeepsValues);
        key.before = before;
        const KeyName* const row = findKey(key.key);
        if (!remember && row != nullptr && row->onlyStored && key.outcome != Outcome::refused)
        {
            key.outcome = Outcome::unchanged;
            key.now = before.value_or(key.asked);
        }
        if (key.outcome == Outcome::refused)
        {
            result.refused = i;
            result.refusedKey = key.key;
        }
    }
    return result;
}

RestoreResult Camera::restore(int key)
{
    const Change change(*this);
    const services::OwnRefusals own;
    const int result = controller_.restore(key);
    if (result == 0)
    {
        takeOwed(key);
    }
    if (const std::optional<Trials::Open> ended = result == 0 ? trials_.takeOut(key) : std::nullopt)
    {
        tellTrial(*ended, TrialState::overtaken);
    }
    if (result == -1)
    {
        return {RestoreResult::Kind::notHeld, 0, 0};
    }
    const int value = peek(key).value_or(0);
    if (result == 0)
    {
        return {RestoreResult::Kind::sent, value, services::kDone};
    }
    return {RestoreResult::Kind::refused, value, own.list().empty() ? result : own.list().back().status};
}

}  // namespace camera
