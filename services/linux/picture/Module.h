#pragma once

#include "services/linux/picture/RawPicture.h"

// The encoder is a module, since only cameras that do not compress need it.
namespace devices::picture {

constexpr char kModuleFile[] = "sensorcam/libsensorlinux-picture.so";  // below the folder of the libraries
constexpr char kModuleEntry[] = "sensorlinuxOpenEncoder";

}  // namespace devices::picture

// A new one. Throws std::exception.
extern "C" devices::picture::Encoder* sensorlinuxOpenEncoder();
