#include "camera/NamedControls.h"

#include <algorithm>
#include <cstdio>

#include "KSFile.h"
#include "camera/Diagnostics.h"
#include "camera/Failure.h"
#include "camera/Operation.h"
#include "camera/TextFile.h"

namespace camera {
namespace {

constexpr std::size_t kMostBroken = 8;  // lines of which the log tells

// What may be printed of it.
std::string shown(const std::string& line)
{
    std::string text = line.substr(0, services::kControlNameMax);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

void addBroken(ControlFile& file, const std::string& why)
{
    if (file.broken.size() < kMostBroken)
    {
        file.broken.push_back(why);
    }
}

const services::NamedControl* findControl(const std::vector<services::NamedControl>& controls, const std::string& name)
{
    const auto found = std::find_if(controls.begin(), controls.end(),
                                    [&](const services::NamedControl& control) { return control.name == name; });
    return found == controls.end() ? nullptr : &*found;
}

std::vector<services::NamedControl> controlsOf(services::Device* device)
{
    return device != nullptr ? device->controls() : std::vector<services::NamedControl>();
}

ControlValues defaultsOf(const std::vector<services::NamedControl>& controls)
{
    ControlValues values;
    for (const services::NamedControl& control : controls)
    {
        if (isKept(control))
        {
            values[control.name] = control.allowed.defaultValue;
        }
    }
    return values;
}

ControlValues presentOf(const std::vector<services::NamedControl>& controls)
{
    ControlValues values;
    for (const services::NamedControl& control : controls)
    {
        if (isKept(control))
        {
            values[control.name] = control.value;
        }
    }
    return values;
}

// What the next start finds: values that the device does not allow count as missing, and those are its defaults. Names
// that it does not have stay: it may have them again.
ControlValues inPlace(const ControlFile& file, const std::vector<services::NamedControl>& controls)
{
    ControlValues values = defaultsOf(controls);
    for (const auto& [name, value] : file.values)
    {
        const services::NamedControl* const control = findControl(controls, name);
        if (control == nullptr || (isKept(*control) && control->allowed.contains(value)))
        {
            values[name] = value;
        }
    }
    return values;
}

void logBroken(const std::string& path, const ControlFile& file, const std::vector<services::NamedControl>& controls)
{
    for (const std::string& why : file.broken)
    {
        logError(path + ": " + why);
    }
    for (const auto& [name, value] : file.values)
    {
        const services::NamedControl* const control = findControl(controls, name);
        if (control != nullptr && !control->allowed.contains(value))
        {
            logError(path + ": " + name + " " + std::to_string(value) + " is not allowed; the default counts");
        }
    }
}

void refuseControl(ControlResult& result, int status)
{
    result.outcome = Outcome::refused;
    result.status = status;
    result.now = result.before.value_or(result.asked);
}

}  // namespace

bool isKept(const services::NamedControl& control)
{
    return control.kind == services::Kind::range || control.kind == services::Kind::choice;
}

services::ParameterState limitsOf(const services::NamedControl& control)
{
    return {{}, control.title, "", control.kind, control.allowed, control.labels, control.value};
}

// ---- files -------------------------------------------------------------------------------------------------

ControlFile readControlFile(int scheme)
{
    ControlFile file;
    std::optional<std::string> text;
    try
    {
        text = readFile(controlFile(scheme), services::kControlFileMax);
    }
    catch (const Failure& failure)
    {
        file.isThere = true;
        addBroken(file, failure.what());
        return file;
    }
    file.isThere = text.has_value();
    std::vector<std::string> leftOut;
    file.values = services::parseControls(text.value_or(""), leftOut);
    for (const std::string& line : leftOut)
    {
        addBroken(file, "\"" + shown(line) + "\" is left out");
    }
    return file;
}

bool writeControlFile(int scheme, const ControlValues& values)
{
    const std::string text = services::textOf(values);
    KSFile file;
    const auto size = static_cast<unsigned>(text.size());
    return file.open(controlFile(scheme).c_str(), KSFile::modeWrite | KSFile::modeTruncate) &&
           file.write(text.data(), size) == static_cast<int>(size) && file.close();
}

// ---- in memory ---------------------------------------------------------------------------------------------

ControlValues NamedControls::of(int scheme) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = schemes_.find(scheme);
    return found == schemes_.end() ? ControlValues() : found->second;
}

std::optional<int> NamedControls::value(int scheme, const std::string& name) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = schemes_.find(scheme);
    if (found == schemes_.end() || found->second.count(name) == 0)
    {
        return std::nullopt;
    }
    return found->second.at(name);
}

void NamedControls::put(int scheme, ControlValues values)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    schemes_[scheme] = std::move(values);
}

void NamedControls::set(int scheme, const std::string& name, int value)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    schemes_[scheme][name] = value;
}

// ---- the camera's operations -------------------------------------------------------------------------------

std::vector<ControlRow> Camera::controls(int scheme)
{
    const std::vector<services::NamedControl> controls = controlsOf(service_.device());
    const bool hasFile = scheme >= 0 && scheme < schemeCount();
    const ControlValues saved = hasFile ? inPlace(readControlFile(scheme), controls) : ControlValues();
    std::vector<ControlRow> rows;
    for (const services::NamedControl& control : controls)
    {
        rows.push_back({control, controls_.value(scheme, control.name), std::nullopt});
        if (saved.count(control.name) != 0)
        {
            rows.back().saved = saved.at(control.name);
        }
    }
    return rows;
}

// What is to be expected of each, up to the first that would be refused.
ControlsResult Camera::judgeControls(int scheme, const std::vector<ControlValue>& values)
{
    const std::vector<services::NamedControl> controls = controlsOf(service_.device());
    ControlsResult result = {scheme, scheme >= 0 && scheme < schemeCount(), Stored::done, {}, {}};
    for (const ControlValue& wanted : values)
    {
        const services::NamedControl* const control = findControl(controls, wanted.name);
        std::optional<int> before = controls_.value(scheme, wanted.name);
        for (const ControlResult& earlier : result.controls)
        {
            before = earlier.name == wanted.name && before ? std::optional<int>(earlier.asked) : before;
        }
        ControlResult entry = {wanted.name,         wanted.value,    before, wanted.value,
                               Outcome::notReached, services::kDone, {}};
        if (!result.refused && (control == nullptr || !control->allowed.contains(wanted.value)))
        {
            refuseControl(entry, control == nullptr ? services::kUnknownCommand : services::kOutOfRange);
            entry.allowed = control == nullptr ? std::nullopt : std::optional(limitsOf(*control));
            result.refused = result.controls.size();
        }
        else if (!result.refused)
        {
            entry.outcome = !result.schemeKeepsValues || !isKept(*control) ? Outcome::notRemembered
                            : before == wanted.value                       ? Outcome::unchanged
                                                                           : Outcome::applied;
        }
        result.controls.push_back(std::move(entry));
    }
    return result;
}

// To memory and to the device; up to the first that it refuses.
void Camera::sendJudged(ControlsResult& result)
{
    services::Device* const device = service_.device();
    std::vector<ControlValue> told;
    for (std::size_t i = 0; i < result.refused.value_or(result.controls.size()); ++i)
    {
        ControlResult& entry = result.controls[i];
        const int status = device->set(entry.name, entry.asked);
        if (status != services::kDone)
        {
            refuseControl(entry, status);
            result.refused = i;
            std::for_each(result.controls.begin() + static_cast<std::ptrdiff_t>(i) + 1, result.controls.end(),
                          [](ControlResult& later) { later.outcome = Outcome::notReached; });
            break;
        }
        if (entry.outcome == Outcome::applied)
        {
            controls_.set(result.scheme, entry.name, entry.asked);
        }
        if (entry.outcome != Outcome::unchanged)
        {
            told.push_back({entry.name, entry.asked});
        }
    }
    tellControls(told, result.scheme);
}

ControlsResult Camera::applyControls(const std::vector<ControlValue>& values)
{
    const Change change(*this);
    ControlsResult result = judgeControls(currentScheme(), values);
    sendJudged(result);
    return result;
}

ControlsResult Camera::wouldApplyControls(const std::vector<ControlValue>& values)
{
    const Gate::Pass pass(gate_);
    return judgeControls(currentScheme(), values);
}

ControlsResult Camera::setControls(int scheme, const std::vector<ControlValue>& values)
{
    const Change change(*this);
    if (scheme < 0 || scheme >= schemeCount())
    {
        return {scheme, false, Stored::noScheme, {}, {}};
    }
    ControlsResult result = judgeControls(scheme, values);
    if (result.refused)
    {
        result.stored = Stored::valueRefused;
        return result;
    }
    ControlValues stored = inPlace(readControlFile(scheme), controlsOf(service_.device()));
    for (const ControlResult& entry : result.controls)
    {
        if (entry.outcome == Outcome::notRemembered)
        {
            result.stored = Stored::noRecord;
            return result;
        }
        stored[entry.name] = entry.asked;
    }
    if (!writeControlFile(scheme, stored))
    {
        result.stored = Stored::notWritten;
        return result;
    }
    if (scheme == currentScheme())
    {
        sendJudged(result);
        result.stored = result.refused ? Stored::sensorRefused : Stored::done;
    }
    else
    {
        std::vector<ControlValue> told;
        for (const ControlResult& entry : result.controls)
        {
            controls_.set(scheme, entry.name, entry.asked);
            told.push_back({entry.name, entry.asked});
        }
        tellControls(told, scheme);
    }
    tellSaved(scheme);
    return result;
}

std::vector<UnsavedControl> Camera::unsavedControls()
{
    const Gate::Pass pass(gate_);
    std::vector<UnsavedControl> values;
    for (int scheme = 0; service_.device() != nullptr && scheme < schemeCount(); ++scheme)
    {
        for (const ControlRow& row : controls(scheme))
        {
            if (row.value && row.saved && row.value != row.saved)
            {
                values.push_back({scheme, row.control.name, *row.value, *row.saved});
            }
        }
    }
    return values;
}

// At the first contact scheme 0 is what the device has now. Called with changing_ held, or before any other thread.
void Camera::loadControls()
{
    const std::vector<services::NamedControl> controls = controlsOf(service_.device());
    for (int scheme = 0; service_.device() != nullptr && scheme < schemeCount(); ++scheme)
    {
        const ControlFile file = readControlFile(scheme);
        logBroken(controlFile(scheme), file, controls);
        const bool isFirstContact = scheme == 0 && !file.isThere && !controls.empty();
        controls_.put(scheme, isFirstContact ? presentOf(controls) : inPlace(file, controls));
        if (isFirstContact)
        {
            saveControls(scheme);
        }
    }
    controls_.put(schemeCount(), defaultsOf(controls));
}

// The scheme's file; true without a device.
bool Camera::saveControls(int scheme)
{
    if (service_.device() == nullptr || controls_.of(scheme).empty())
    {
        return true;
    }
    const bool isWritten = writeControlFile(scheme, controls_.of(scheme));
    if (!isWritten)
    {
        logError(controlFile(scheme) + ": not written");
    }
    return isWritten;
}

void Camera::reloadControls(int scheme)
{
    const std::vector<services::NamedControl> controls = controlsOf(service_.device());
    if (service_.device() != nullptr)
    {
        controls_.put(scheme, inPlace(readControlFile(scheme), controls));
        sendControls();
    }
}

// The device's defaults in all schemes; the files are gone.
void Camera::resetControls()
{
    const ControlValues defaults = defaultsOf(controlsOf(service_.device()));
    for (int scheme = 0; service_.device() != nullptr && scheme < schemeCount(); ++scheme)
    {
        controls_.put(scheme, defaults);
        if (std::remove(controlFile(scheme).c_str()) != 0 && KSFile::exists(controlFile(scheme).c_str()))
        {
            logError(controlFile(scheme) + ": not removed");
        }
    }
    controlsScheme_ = -1;
}

// All that the scheme in force holds: the device's service sends what differs. Called with changing_ held.
void Camera::sendControls()
{
    services::Device* const device = service_.device();
    controlsScheme_ = currentScheme();
    std::vector<ControlValue> told;
    for (const services::NamedControl& control : controlsOf(device))
    {
        const std::optional<int> wanted = controls_.value(controlsScheme_, control.name);
        if (!wanted || !isKept(control))
        {
            continue;
        }
        const int status = device->set(control.name, *wanted);
        if (status != services::kDone)
        {
            logError(control.name + " " + std::to_string(*wanted) + ": the device's service answered " +
                     std::to_string(status));
        }
        else if (*wanted != control.value)
        {
            told.push_back({control.name, *wanted});
        }
    }
    tellControls(told, controlsScheme_);
}

// The scheme in force remembers what another program has set, where the service lets that count.
void Camera::takeOverControls(const std::vector<services::NamedControl>& controls)
{
    const int scheme = controlsScheme_;  // the clock may have chosen another one by now
    std::vector<ControlValue> told;
    for (const services::NamedControl& control : controls)
    {
        const std::optional<int> held = controls_.value(scheme, control.name);
        if (scheme >= 0 && scheme < schemeCount() && isKept(control) && held && *held != control.value)
        {
            controls_.set(scheme, control.name, control.value);
            told.push_back({control.name, control.value});
        }
    }
    tellControls(told, scheme);
}

void Camera::tellControls(const std::vector<ControlValue>& values, int scheme)
{
    if (!values.empty())
    {
        Event event{Event::Kind::controls};
        event.scheme = scheme;
        event.controls = values;
        tell(event);
    }
}

}  // namespace camera
