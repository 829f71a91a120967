#pragma once

#include "services/Picture.h"
#include "services/sim/picture/View.h"

// How the service reaches its picture, which is a module: it is loaded when the first picture is wanted.
namespace sim::picture {

constexpr char kModuleFile[] = "sensorcam/libsensorsim-picture.so";  // below the folder of the libraries
constexpr char kModuleEntry[] = "sensorsimOpenPicture";

}  // namespace sim::picture

// A new picture of the camera that look looks at. Throws std::exception.
extern "C" services::PictureSource* sensorsimOpenPicture(const sim::picture::Look& look);
