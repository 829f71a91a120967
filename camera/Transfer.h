#pragma once

#include <optional>
#include <string>
#include <vector>

#include "SchemeWindow.h"
#include "camera/NamedControls.h"
#include "camera/Results.h"

// All schemes as plain data, to be kept, or carried to another camera.
namespace camera {

struct Export
{
    struct Scheme
    {
        int scheme;
        SchemeWindow window;
        std::vector<Value> values;  // but for the window's keys
        std::vector<ControlValue> controls;
    };
    std::string model;
    bool automatic;
    std::vector<Scheme> schemes;  // that have a file
};

// What a document asks for: more, less, or other than this camera has.
struct Import
{
    struct Entry
    {
        std::string name;
        std::optional<int> value;  // nothing: not a whole number
    };
    struct Scheme
    {
        int scheme;
        std::optional<SchemeWindow> window;
        std::vector<Entry> values;
        std::vector<Entry> controls = {};  // by their own names
    };
    std::string model;
    std::optional<bool> automatic;
    std::vector<Scheme> schemes;
};

// Why a value of a document stays out.
enum class Skipped
{
    no,
    unknownKey,  // no key has this name
    notInModel,  // the schemes of this camera do not keep it, or the device does not have it
    outOfRange,
    readOnly,
    wrongType,
    ofWindow,  // a part of a window stands among the values
};

struct ImportResult
{
    struct Entry
    {
        std::string name;
        Skipped skipped;
        std::optional<KeyResult> key;  // what becomes of it, or what stands against it; nothing without key or number
    };
    struct Control
    {
        std::string name;
        Skipped skipped;
        std::optional<ControlResult> control;  // nothing without number
    };
    struct Scheme
    {
        int scheme;
        Stored stored = Stored::done;
        bool reached = true;                        // false: one before it failed
        std::optional<window_check_e> window = {};  // nothing: the document has none; not WINDOW_SOUND: skipped
        std::vector<Entry> values = {};
        std::vector<Control> controls = {};
    };
    bool sameModel;
    std::optional<bool> automatic;
    std::vector<Scheme> schemes;
    std::optional<std::size_t> failed;  // the one in schemes that could not be stored; those before it are
};

}  // namespace camera
