#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "camera/Results.h"
#include "services/ControlFile.h"
#include "services/ImageService.h"

// Controls of a real device that are behind no key: kept for each scheme beside the library's values, by name.
namespace camera {

struct ControlValue
{
    std::string name;
    int value;
};

// A control, and what a scheme makes of it.
struct ControlRow
{
    services::NamedControl control;
    std::optional<int> value;  // the scheme's; nothing of an action, and as long as no scheme is in force
    std::optional<int> saved;  // a reload would bring it back; nothing in the default scheme
};

struct ControlResult
{
    std::string name;
    int asked;
    std::optional<int> before;  // what the scheme held
    int now;
    Outcome outcome;
    int status;                                       // of a refusal: services::Status, or the service's own
    std::optional<services::ParameterState> allowed;  // of a refusal of a control that there is
};

struct ControlsResult
{
    int scheme = -1;
    bool schemeKeepsValues = false;
    Stored stored = Stored::done;         // of values that go to a scheme's file
    std::vector<ControlResult> controls;  // in the order in which they were asked for
    std::optional<std::size_t> refused;   // the one in controls that ended the list

    bool ok() const { return !refused && stored == Stored::done; }
};

struct UnsavedControl
{
    int scheme;
    std::string name;
    int value;
    int saved;
};

using services::controlFile;
using services::ControlValues;

// An action is done and over: no scheme remembers it.
bool isKept(const services::NamedControl& control);

// As of a key: title, kind and what is allowed.
services::ParameterState limitsOf(const services::NamedControl& control);

struct ControlFile
{
    bool isThere = false;
    ControlValues values = {};
    std::vector<std::string> broken = {};  // why which lines were left out; of very many the first
};

// Never throws: what cannot be read is a file without values. Readers on any thread; writers one at a time.
ControlFile readControlFile(int scheme);

// True when the file holds these values afterwards, on the disk for good; otherwise it is as it was.
bool writeControlFile(int scheme, const ControlValues& values);

// What the schemes hold in memory, the default scheme too. Thread-safe.
class NamedControls
{
public:
    ControlValues of(int scheme) const;
    std::optional<int> value(int scheme, const std::string& name) const;
    void put(int scheme, ControlValues values);
    void set(int scheme, const std::string& name, int value);

private:
    mutable std::mutex mutex_;
    std::map<int, ControlValues> schemes_;  // guarded by mutex_
};

}  // namespace camera
