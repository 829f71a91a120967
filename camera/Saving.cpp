#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "KestraTime.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "camera/Failure.h"
#include "camera/KeyNames.h"
#include "camera/Operation.h"
#include "camera/SchemeFile.h"

namespace camera {
namespace {

// Of the camera's time and of real time: the first turn of the scheduler comes after one of the camera's seconds, and
// then the device takes its own time.
constexpr std::chrono::seconds kLongestWait{10};
constexpr long kLookMicroseconds = 10'000;
constexpr std::chrono::milliseconds kLeastPause{1};

}  // namespace

// What the file should hold now; empty keys do not count.
bool Camera::fileHolds(int scheme, std::size_t& count)
{
    const std::vector<KeyVal> records = readSchemeFile(scheme);
    count = records.size();
    for (const KeyVal& record : records)
    {
        if (schemeValue(scheme, static_cast<int>(record.key)) != static_cast<int>(record.value))
        {
            return false;
        }
    }
    return !records.empty();
}

SaveResult Camera::save()
{
    const Change change(*this);
    for (;;)
    {
        const int scheme = currentScheme();
        if (scheme < 0 || scheme >= schemeCount())
        {
            return {SaveResult::Kind::noFile, scheme, 0, {}, 0};
        }
        const int code = controller_.flush();
        std::size_t count = 0;
        if (code == 0 && fileHolds(scheme, count))
        {
            if (!saveControls(scheme))
            {
                return {SaveResult::Kind::notWritten, scheme, code, {}, count};
            }
            tellSaved(scheme);
            const std::vector<ControlRow> rows = controls(scheme);
            const auto saved = std::count_if(rows.begin(), rows.end(), [](const ControlRow& row) { return row.saved; });
            return {SaveResult::Kind::saved, scheme, code, {}, count, static_cast<std::size_t>(saved)};
        }
        if (currentScheme() != scheme)
        {
            continue;  // the clock switched, so flush may have judged and saved the next scheme
        }
        if (code == 0)
        {
            return {SaveResult::Kind::notWritten, scheme, code, {}, count};
        }
        const SchemeWindow window = schedule().windows[static_cast<std::size_t>(scheme)];
        return {SaveResult::Kind::windowRefused, scheme, code, window, 0};
    }
}

// What the next start finds: the scheme's file, or factory values in the place of a missing one.
std::vector<Value> Camera::afterRestart(int scheme)
{
    std::vector<Value> values;
    for (const KeyVal& record : readSchemeFile(scheme))
    {
        values.push_back({static_cast<int>(record.key), static_cast<int>(record.value)});
    }
    if (!values.empty())
    {
        return values;
    }
    for (const KeyName& row : keyNames())
    {
        if (const std::optional<int> factory = factoryValue(scheme, row.key))
        {
            values.push_back({row.key, *factory});
        }
    }
    return values;
}

std::vector<UnsavedValue> Camera::unsaved()
{
    const Gate::Pass pass(gate_);
    std::vector<UnsavedValue> values;
    for (int scheme = 0; scheme < schemeCount(); ++scheme)
    {
        for (const Value& saved : afterRestart(scheme))
        {
            const std::optional<int> value = schemeValue(scheme, saved.key);
            if (value && *value != saved.value)
            {
                values.push_back({scheme, saved.key, *value, saved.value});
            }
        }
    }
    return values;
}

ReloadResult Camera::reload()
{
    const Change change(*this);
    const int scheme = currentScheme();
    if (scheme < 0 || scheme >= schemeCount())
    {
        return {ReloadResult::Kind::noFile, scheme};
    }
    endAllTrials(TrialState::reloaded);
    const bool accepted = controller_.resetToLastParameters();
    sendFrameRate(change);
    reloadControls(scheme);
    return {accepted ? ReloadResult::Kind::reloaded : ReloadResult::Kind::refused, scheme};
}

void Camera::factoryReset()
{
    const std::lock_guard<std::recursive_mutex> change(changing_);
    if (up_)
    {
        const Doing undoing(*this);
        endAllTrials(TrialState::reset);
    }
    resetAlone();
    resetControls();
    waitForFirstScheme();
    look();
}

// Readers go on meanwhile.
void Camera::waitForFirstScheme()
{
    using Clock = std::chrono::steady_clock;
    const auto longest = std::chrono::duration_cast<Clock::duration>(kLongestWait * std::max(1.0, 1.0 / speed()));
    const Clock::time_point end = Clock::now() + longest;
    while (currentScheme() < 0 && Clock::now() < end)
    {
        KestraTime::wait(KestraTime(0, kLookMicroseconds));
        std::this_thread::sleep_for(kLeastPause);
    }
    const Gate::Pass pass(gate_);
    controller_.setParamMode(mode());  // returns when the switch is over
}

void Camera::resetAlone()
{
    const Gate::Alone alone(gate_);
    const Doing doing(*this);
    if (!up_)
    {
        throw Failure(Problem::boardFilesGone);
    }
    try
    {
        controller_.resetParameters();
    }
    catch (const std::out_of_range&)
    {
        // At debug level 6 and above the module configuration is read again, after the old one was given up.
        up_ = false;
        if (setup_.onDown)
        {
            setup_.onDown();
        }
        throw Failure(Problem::boardFilesGone);
    }
    frameRateScheme_ = -1;
    toldScheme_ = -1;
    tell({Event::Kind::reset});
    uiFiles_.fill(g_stSysConf);
    if (!hasParameters())
    {
        throw Failure(Problem::noParameters);
    }
    for (int scheme = 0; scheme < schemeCount(); ++scheme)
    {
        if (readSchemeFile(scheme).empty())
        {
            throw Failure(Problem::noSchemeFile, sensorpaths::schemeFile(scheme));
        }
    }
}

}  // namespace camera
