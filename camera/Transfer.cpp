#include "camera/Transfer.h"

#include <algorithm>
#include <cstring>

#include "SensorKeys.h"
#include "camera/KeyNames.h"
#include "camera/Operation.h"
#include "camera/SchemeFile.h"

namespace camera {
namespace {

const KeyName* findName(const std::string& name)
{
    const std::vector<KeyName>& rows = keyNames();
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const KeyName& row) { return name == row.name; });
    return found == rows.end() ? nullptr : &*found;
}

Skipped whySkipped(const KeyResult& key)
{
    if (key.outcome != Outcome::refused && key.outcome != Outcome::heldBack)
    {
        return Skipped::no;
    }
    switch (key.status)
    {
    case services::kUnknownCommand:
        return Skipped::notInModel;
    case services::kNotSupported:
        return Skipped::readOnly;
    default:
        return Skipped::outOfRange;
    }
}

// What of a scheme is to be stored.
std::vector<Value> admitted(const Import::Scheme& wanted, const ImportResult::Scheme& planned)
{
    std::vector<Value> values;
    if (planned.window == WINDOW_SOUND)
    {
        values = windowValues(*wanted.window);
    }
    for (const ImportResult::Entry& entry : planned.values)
    {
        if (entry.skipped == Skipped::no)
        {
            values.push_back({entry.key->key, entry.key->asked});
        }
    }
    return values;
}

// The file that they go to has them all.
bool hasRecords(int scheme, const std::vector<Value>& values)
{
    const std::vector<KeyVal> records = readSchemeFile(scheme);
    return std::all_of(values.begin(), values.end(), [&](const Value& wanted) {
        return std::any_of(records.begin(), records.end(),
                           [&](const KeyVal& record) { return record.key == static_cast<u32>(wanted.key); });
    });
}

std::vector<ControlValue> admittedControls(const ImportResult::Scheme& planned)
{
    std::vector<ControlValue> values;
    for (const ImportResult::Control& entry : planned.controls)
    {
        if (entry.skipped == Skipped::no)
        {
            values.push_back({entry.name, entry.control->asked});
        }
    }
    return values;
}

// Nothing of it is stored.
void leaveOut(ImportResult::Scheme& scheme)
{
    for (ImportResult::Control& entry : scheme.controls)
    {
        if (entry.skipped == Skipped::no)
        {
            entry.control->outcome = Outcome::notReached;
        }
    }
    for (ImportResult::Entry& entry : scheme.values)
    {
        if (entry.skipped == Skipped::no)
        {
            entry.key->outcome = Outcome::notReached;
        }
    }
}

// What comes behind one that fails.
void leaveOutAfter(ImportResult& result)
{
    for (std::size_t i = result.failed.value_or(result.schemes.size()) + 1; i < result.schemes.size(); ++i)
    {
        result.schemes[i].reached = false;
        leaveOut(result.schemes[i]);
    }
}

}  // namespace

Export Camera::exported()
{
    const std::lock_guard<std::recursive_mutex> whole(changing_);
    const Gate::Pass pass(gate_);
    Export all = {setup_.model, mode() != 0, {}};
    const std::vector<SchemeWindow> windows = schedule().windows;
    for (std::size_t scheme = 0; scheme < windows.size(); ++scheme)
    {
        all.schemes.push_back({static_cast<int>(scheme), windows[scheme], {}, {}});
        for (const KeyName& row : keyNames())
        {
            const std::optional<int> value = schemeValue(static_cast<int>(scheme), row.key);
            if (value && !row.onlyStored)
            {
                all.schemes.back().values.push_back({row.key, *value});
            }
        }
        for (const ControlRow& row : controls(static_cast<int>(scheme)))
        {
            if (row.value)
            {
                all.schemes.back().controls.push_back({row.control.name, *row.value});
            }
        }
    }
    return all;
}

ImportResult::Entry Camera::wouldImport(int scheme, const Import::Entry& entry)
{
    const KeyName* const row = findName(entry.name);
    if (row == nullptr)
    {
        return {entry.name, Skipped::unknownKey, {}};
    }
    if (row->onlyStored)
    {
        return {entry.name, Skipped::ofWindow, {}};
    }
    if (!entry.value)
    {
        return {entry.name, Skipped::wrongType, {}};
    }
    const std::optional<int> before = schemeValue(scheme, row->key);
    const KeyResult key =
        expected({row->key, *entry.value, before, *entry.value, Outcome::notReached, services::kDone, {}}, true);
    return {entry.name, before ? whySkipped(key) : Skipped::notInModel, key};
}

ImportResult::Control Camera::wouldImportControl(int scheme, const Import::Entry& entry)
{
    if (!entry.value)
    {
        return {entry.name, Skipped::wrongType, {}};
    }
    const ControlResult control = judgeControls(scheme, {{entry.name, *entry.value}}).controls.front();
    const Skipped skipped = control.status == services::kUnknownCommand ? Skipped::unknownKey
                            : control.status != services::kDone         ? Skipped::outOfRange
                            : control.outcome == Outcome::notRemembered ? Skipped::notInModel
                                                                        : Skipped::no;
    return {entry.name, skipped, control};
}

ImportResult Camera::wouldImport(const Import& wanted)
{
    const Gate::Pass pass(gate_);
    ImportResult result = {wanted.model == setup_.model, wanted.automatic, {}, {}};
    for (const Import::Scheme& scheme : wanted.schemes)
    {
        ImportResult::Scheme planned = {scheme.scheme};
        if (scheme.scheme < 0 || scheme.scheme >= schemeCount())
        {
            planned.stored = Stored::noScheme;
            result.schemes.push_back(planned);
            continue;
        }
        if (scheme.window)
        {
            planned.window = windowCheck(*scheme.window);
        }
        for (const Import::Entry& entry : scheme.values)
        {
            planned.values.push_back(wouldImport(scheme.scheme, entry));
        }
        for (const Import::Entry& entry : scheme.controls)
        {
            planned.controls.push_back(wouldImportControl(scheme.scheme, entry));
        }
        if (!hasRecords(scheme.scheme, admitted(scheme, planned)))
        {
            planned.stored = Stored::noRecord;
            leaveOut(planned);
        }
        result.schemes.push_back(std::move(planned));
        if (result.schemes.back().stored == Stored::noRecord && !result.failed)
        {
            result.failed = result.schemes.size() - 1;
        }
    }
    leaveOutAfter(result);
    return result;
}

// What the plan lets in, to the scheme's file and to memory. False when it could not be stored.
bool Camera::importScheme(const Import::Scheme& wanted, ImportResult::Scheme& planned)
{
    if (planned.stored != Stored::done)
    {
        return true;
    }
    const std::vector<Value> values = admitted(wanted, planned);
    if (!values.empty() && !importValues(wanted, values, planned))
    {
        return false;
    }
    const std::vector<ControlValue> named = admittedControls(planned);
    return named.empty() || importControls(named, planned);
}

bool Camera::importControls(const std::vector<ControlValue>& values, ImportResult::Scheme& planned)
{
    const ControlsResult result = setControls(planned.scheme, values);
    std::size_t next = 0;
    for (ImportResult::Control& entry : planned.controls)
    {
        if (entry.skipped == Skipped::no)
        {
            entry.control = result.controls.at(next++);
        }
    }
    planned.stored = result.stored == Stored::done ? planned.stored : result.stored;
    const bool isStored = result.stored == Stored::done || result.stored == Stored::sensorRefused;
    for (ImportResult::Control& entry : planned.controls)
    {
        if (!isStored && entry.skipped == Skipped::no)
        {
            entry.control->outcome = Outcome::notReached;
        }
    }
    return isStored;
}

bool Camera::importValues(const Import::Scheme& wanted, const std::vector<Value>& values, ImportResult::Scheme& planned)
{
    const ValuesResult result = setValues(wanted.scheme, values);
    planned.stored = result.stored;
    if (result.stored != Stored::done && result.stored != Stored::sensorRefused)
    {
        leaveOut(planned);
        return false;
    }
    std::size_t next = planned.window == WINDOW_SOUND ? windowValues(*wanted.window).size() : 0;
    for (ImportResult::Entry& entry : planned.values)
    {
        if (entry.skipped == Skipped::no)
        {
            entry.key = result.keys.at(next++);
        }
    }
    return true;
}

ImportResult Camera::import(const Import& wanted)
{
    const Turn turn(*this);
    ImportResult result = wouldImport(wanted);
    for (std::size_t i = 0; i < result.failed.value_or(result.schemes.size()); ++i)
    {
        if (!importScheme(wanted.schemes[i], result.schemes[i]))
        {
            result.failed = i;
        }
    }
    leaveOutAfter(result);
    if (wanted.automatic && !result.failed && *wanted.automatic != (mode() != 0))
    {
        setMode(*wanted.automatic);
    }
    return result;
}

}  // namespace camera
