#pragma once

#include <string>

#include "app/cli/Parsing.h"
#include "app/json/Error.h"
#include "camera/Camera.h"
#include "camera/KeyLimits.h"

// Keys and the device's own controls, their values and limits in words: for answers and explanations, and as people
// type them. Thread-safe.
namespace app {

// "KEY_BRIGHTNESS", or "key 999" for a number without a name.
std::string keyTitle(int key);

// "0..100 %", "0 Off, 1 On", "nothing, ..." when the device has no such parameter.
std::string allowedText(const services::ImageService& service, int key);

// As above, of many choices only the first and the last.
std::string allowedShort(const services::ImageService& service, int key);

// "Off" for a choice, "%" for a number with a unit, else empty.
std::string valueNote(const services::ImageService& service, int key, int value);

// "3 Both" for a choice, else the number alone.
std::string valueText(const services::ImageService& service, int key, int value);

// What may be typed for a key's value: the labels of its choices, or their numbers where a label says too little.
// Nothing for a range.
Words valueWords(const services::ImageService& service, int key);

// The value that a person means: a number, whatever the key allows, or the label of a choice that is allowed, in any
// case. Nothing, with what is allowed in error, when it is neither or several have that label.
std::optional<int> parseValue(const services::ImageService& service, int key, const std::string& text, Error& error);

// Of a control of the device, by its name, in any case, or "control:NAME".
const camera::ControlRow* findControl(const std::vector<camera::ControlRow>& controls, const std::string& text);

// What people name.
struct Target
{
    int key = 0;
    const camera::ControlRow* control = nullptr;  // nothing: the key
};

// A key, or a control that is named like no key; "control:NAME" is a control whatever the keys are called. Nothing, with
// a sentence in error, when it is neither.
std::optional<Target> parseTarget(const std::vector<camera::ControlRow>& controls, const std::string& text,
                                  std::string& error);

// Of a control, as of a key.
std::string allowedText(const camera::ControlRow& control);
std::string valueText(const camera::ControlRow& control, int value);
Words valueWords(const camera::ControlRow& control);
std::optional<int> parseValue(const camera::ControlRow& control, const std::string& text, Error& error);
std::string reasonText(const camera::ControlResult& result);

// "held: an automatic of the device is on; sent when it is off"; empty for applied.
std::string standingText(services::Standing standing);

struct Assignments
{
    std::vector<camera::Value> values;
    std::vector<camera::ControlValue> controls;
};

// "KEY=VALUE" or "CONTROL=VALUE" each. Nothing, with the reason in error, when one cannot be read.
std::optional<Assignments> parseAssignments(camera::Camera& camera, const Words& arguments, Error& error);

// Why the service says no: "300 is not allowed; allowed: 0..100 %", "the lens is being reset; ...".
std::string reasonText(const services::ImageService& service, int key, int value, int status);

}  // namespace app
