#pragma once

#include <string>

// The camera models whose documents are shipped (share/models/<name>).
namespace app {

// Names as --model takes them; the first is the one that is started when none is named.
constexpr const char* kModelNames[] = {"fixed", "dome", "lpr", "fisheye"};

// Remembered of a camera with a real device, whose documents are its own.
constexpr char kDeviceModel[] = "device";

bool isModelName(const std::string& name);

// "fixed, dome, lpr, fisheye"
std::string modelList();

// "fixed camera", "device's camera", for messages.
std::string modelTitle(const std::string& name);

}  // namespace app
