#include <algorithm>

#include "SensorKeys.h"
#include "camera/KeyNames.h"
#include "camera/Operation.h"
#include "camera/SchemeFile.h"

namespace camera {
namespace {

// Sets the values in the records of a file. False when one has no record.
bool patch(std::vector<KeyVal>& records, const std::vector<Value>& values)
{
    for (const Value& wanted : values)
    {
        const auto found = std::find_if(records.begin(), records.end(), [&](const KeyVal& record) {
            return record.key == static_cast<u32>(wanted.key);
        });
        if (found == records.end())
        {
            return false;
        }
        found->value = static_cast<u32>(wanted.value);
    }
    return true;
}

u32 valueIn(const std::vector<KeyVal>& records, u32 key)
{
    const auto found =
        std::find_if(records.begin(), records.end(), [key](const KeyVal& record) { return record.key == key; });
    return found == records.end() ? 0 : found->value;
}

SchemeWindow windowIn(const std::vector<KeyVal>& records)
{
    return {valueIn(records, KEY_SCHEME_ENABLE) != 0, valueIn(records, KEY_SCHEME_START_HOUR),
            valueIn(records, KEY_SCHEME_START_MIN), valueIn(records, KEY_SCHEME_END_HOUR),
            valueIn(records, KEY_SCHEME_END_MIN)};
}

std::vector<Value> inForce(const std::vector<KeyResult>& keys)
{
    std::vector<Value> values;
    for (const KeyResult& key : keys)
    {
        values.push_back({key.key, key.now});
    }
    return values;
}

// File first: what could not be saved must not hold either.
Stored store(int scheme, const std::vector<Value>& values)
{
    std::vector<KeyVal> records = readSchemeFile(scheme);
    if (!patch(records, values))
    {
        return Stored::noRecord;
    }
    return writeSchemeFile(scheme, records) ? Stored::done : Stored::notWritten;
}

}  // namespace

// Off first and on last: a reader that comes between finds a window that is off and no mixture of two. Only a turn of
// the scheduler that is just then reading may see one; the next, a second later, puts that right.
std::vector<Value> windowValues(const SchemeWindow& window)
{
    const auto word = [](u32 value) { return static_cast<int>(value); };
    std::vector<Value> values = {{KEY_SCHEME_START_HOUR, word(window.startHour)},
                                 {KEY_SCHEME_START_MIN, word(window.startMinute)},
                                 {KEY_SCHEME_END_HOUR, word(window.endHour)},
                                 {KEY_SCHEME_END_MIN, word(window.endMinute)}};
    values.insert(values.begin(), {KEY_SCHEME_ENABLE, 0});
    if (window.enabled)
    {
        values.push_back({KEY_SCHEME_ENABLE, 1});
    }
    return values;
}

// No turn of the scheduler begins while this lives. Needs changing_.
class Camera::Manual
{
public:
    explicit Manual(Camera& camera) : camera_(camera), mode_(camera.mode())
    {
        if (mode_ != 0)
        {
            const std::lock_guard<std::mutex> lock(camera_.showing_);
            camera_.chosenMode_ = mode_;
            camera_.controller_.setParamMode(0);
        }
    }
    ~Manual()
    {
        if (mode_ != 0)
        {
            const std::lock_guard<std::mutex> lock(camera_.showing_);
            camera_.controller_.setParamMode(mode_);
            camera_.chosenMode_.reset();
        }
    }
    Manual(const Manual&) = delete;
    Manual& operator=(const Manual&) = delete;

private:
    Camera& camera_;
    const int mode_;
};

SchemeResult Camera::setScheme(int scheme)
{
    const Change change(*this);
    if (scheme < 0 || scheme > schemeCount())
    {
        return {false, scheme, false};
    }
    const bool automatic = mode() != 0;
    if (scheme != currentScheme())
    {
        endAllTrials(TrialState::schemeChanged);
    }
    controller_.setParamScheme(scheme);
    tellScheme(automatic ? Why::againstTheClock : Why::manual);
    sendFrameRate(change);
    sendControls();
    return {true, scheme, automatic};
}

void Camera::setMode(bool automatic)
{
    const Change change(*this);
    controller_.setParamMode(automatic ? 1 : 0);
    Event event{Event::Kind::mode};
    event.automatic = automatic;
    tell(event);
}

void Camera::remember(int scheme, const std::vector<Value>& values)
{
    for (const Value& entry : values)
    {
        controller_.setKeyValToCache(static_cast<u32>(scheme), static_cast<u32>(entry.key),
                                     static_cast<u32>(entry.value), false);
    }
    tellValues(values, scheme);
}

WindowResult Camera::setWindow(int scheme, const SchemeWindow& window)
{
    const Change change(*this);
    if (scheme < 0 || scheme >= schemeCount())
    {
        return {Stored::noScheme, WINDOW_SOUND, window};
    }
    const auto now = [&] { return schedule().windows[static_cast<std::size_t>(scheme)]; };
    const window_check_e check = windowCheck(window);
    if (check != WINDOW_SOUND)
    {
        return {Stored::windowRefused, check, now()};
    }
    const std::vector<Value> values = windowValues(window);
    const Stored stored = store(scheme, values);
    if (stored == Stored::done)
    {
        const Manual manual(*this);
        remember(scheme, values);
        tellSaved(scheme);
    }
    return {stored, check, now()};
}

// What stands against storing these values in a scheme; done: nothing.
ValuesResult Camera::storable(int scheme, const std::vector<Value>& values)
{
    ValuesResult result = {Stored::done, WINDOW_SOUND, {}};
    for (const Value& entry : values)
    {
        const std::optional<int> before = schemeValue(scheme, entry.key);
        const KeyResult key =
            expected({entry.key, entry.value, before, entry.value, Outcome::notReached, services::kDone, {}}, true);
        const bool isRefused = key.outcome == Outcome::refused || key.outcome == Outcome::heldBack;
        if (isRefused)
        {
            result.stored = Stored::valueRefused;
        }
        else if (!before && result.stored == Stored::done)
        {
            result.stored = Stored::noRecord;
        }
        result.keys.push_back(key);
    }
    std::vector<KeyVal> records = readSchemeFile(scheme);
    if (result.stored == Stored::done && patch(records, inForce(result.keys)))
    {
        result.window = windowIn(records);
        result.check = windowCheck(result.window);
        result.stored = result.check == WINDOW_SOUND ? Stored::done : Stored::windowRefused;
    }
    return result;
}

// To memory, and of the scheme in force to the sensor: the library sends what differs.
void Camera::bringIn(int scheme, ValuesResult& result)
{
    const Manual manual(*this);
    if (currentScheme() != scheme)
    {
        remember(scheme, inForce(result.keys));
        return;
    }
    for (KeyResult& key : result.keys)
    {
        const services::OwnRefusals own;
        const bool isRefused = controller_.setParameter(key.key, key.now, true) != 0;
        if (isRefused || !own.list().empty())
        {
            key.outcome = isRefused ? Outcome::refused : Outcome::heldBack;
            key.status = own.list().empty() ? services::kDone : own.list().back().status;
            key.allowed = parameterOfKey(service_, key.key);
            result.stored = Stored::sensorRefused;
        }
    }
    leaveTrials(result.keys);
    if (std::any_of(result.keys.begin(), result.keys.end(),
                    [](const KeyResult& key) { return key.outcome == Outcome::refused; }))
    {
        result.stored = Stored::sensorRefused;
    }
    tellRemembered(result.keys);
}

ValuesResult Camera::setValues(int scheme, const std::vector<Value>& values)
{
    const Change change(*this);
    if (scheme < 0 || scheme >= schemeCount())
    {
        return {Stored::noScheme, WINDOW_SOUND, {}};
    }
    ValuesResult result = storable(scheme, values);
    if (result.stored == Stored::done)
    {
        result.stored = store(scheme, inForce(result.keys));
    }
    if (result.stored == Stored::done)
    {
        bringIn(scheme, result);
        tellSaved(scheme);
    }
    return result;
}

}  // namespace camera
