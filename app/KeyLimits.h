#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/cli/Answer.h"
#include "services/Journal.h"

// What the fitted sensor module allows for a key, in words: for answers and explanations. The service alone
// decides; nothing here does. Thread-safe.
namespace app {

// The service's row of a key; nothing for keys that are only stored and for numbers without one.
std::optional<services::ParameterState> parameterOfKey(const services::ImageService& service, int key);

// "0..100 %", "0 Off, 1 On", "0..24 h" for a schedule hour, "nothing, ..." when the device has no such parameter.
std::string allowedText(const services::ImageService& service, int key);

// As above, of many choices only the first and the last.
std::string allowedShort(const services::ImageService& service, int key);

// The same for programs: {"minimum":0,"maximum":100,…} or {"choices":[{"value":0,"label":"Off"},…]}.
Json allowedJson(const services::ImageService& service, int key);

// "Off" for a choice, "%" for a number with a unit, else empty.
std::string valueNote(const services::ImageService& service, int key, int value);

// A call to set something that the service refused.
struct Refusal
{
    int key;  // the command's number when no key is sent as this command
    int command;
    int value;
    int status;  // services::Status, or the service's own
};

// What the thread that calls was refused, oldest first.
std::vector<Refusal> refusalsOf(const services::OwnRefusals& own);

// Why the service says no: "300 is not among 0..100 %", "the lens is being reset".
std::string reasonText(const services::ImageService& service, int key, int value, int status);

}  // namespace app
