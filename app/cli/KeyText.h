#pragma once

#include <string>

#include "camera/KeyLimits.h"

// Keys and their limits in words: for answers and explanations. Thread-safe.
namespace app {

// "KEY_BRIGHTNESS", or "key 999" for a number without a name.
std::string keyTitle(int key);

// "0..100 %", "0 Off, 1 On", "0..24 h" for a schedule hour, "nothing, ..." when the device has no such parameter.
std::string allowedText(const services::ImageService& service, int key);

// As above, of many choices only the first and the last.
std::string allowedShort(const services::ImageService& service, int key);

// "Off" for a choice, "%" for a number with a unit, else empty.
std::string valueNote(const services::ImageService& service, int key, int value);

// Why the service says no: "300 is not among 0..100 %", "the lens is being reset".
std::string reasonText(const services::ImageService& service, int key, int value, int status);

}  // namespace app
