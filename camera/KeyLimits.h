#pragma once

#include <optional>
#include <vector>

#include "services/Journal.h"

// What the fitted sensor module allows for a key, and what it refused. The service alone decides; but for the schedule
// keys, which never reach it and of which the library takes any number, nothing here does. Thread-safe.
namespace camera {

// The service's row of a key; nothing for keys that are only stored and for numbers without one.
std::optional<services::ParameterState> parameterOfKey(const services::ImageService& service, int key);

// The same, and for a schedule key a row with what makes sense as a part of a window: hours to 24, minutes to 59.
std::optional<services::ParameterState> limitsOfKey(const services::ImageService& service, int key);

// What a set of this key would be answered, as far as its limits tell: a services::Status.
int verdict(const services::ImageService& service, int key, int value);

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

}  // namespace camera
