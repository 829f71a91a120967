#include "services/linux/ControlOrder.h"

#include <linux/videodev2.h>

#include <iterator>

namespace devices {
namespace {

constexpr unsigned kOn = 1u << 1;
constexpr unsigned kAutomaticTime = 1u << V4L2_EXPOSURE_AUTO | 1u << V4L2_EXPOSURE_APERTURE_PRIORITY;
constexpr unsigned kAutomaticIris = 1u << V4L2_EXPOSURE_AUTO | 1u << V4L2_EXPOSURE_SHUTTER_PRIORITY;
constexpr unsigned kAllButManual = ~(1u << V4L2_WHITE_BALANCE_MANUAL);

// clang-format off
constexpr Hold kHolds[] = {
    {V4L2_CID_EXPOSURE_ABSOLUTE,         V4L2_CID_EXPOSURE_AUTO,               kAutomaticTime},
    {V4L2_CID_IRIS_ABSOLUTE,             V4L2_CID_EXPOSURE_AUTO,               kAutomaticIris},
    {V4L2_CID_GAIN,                      V4L2_CID_AUTOGAIN,                    kOn},
    {V4L2_CID_ANALOGUE_GAIN,             V4L2_CID_AUTOGAIN,                    kOn},
    {V4L2_CID_RED_BALANCE,               V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, kAllButManual},
    {V4L2_CID_BLUE_BALANCE,              V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, kAllButManual},
    {V4L2_CID_RED_BALANCE,               V4L2_CID_AUTO_WHITE_BALANCE,          kOn},
    {V4L2_CID_BLUE_BALANCE,              V4L2_CID_AUTO_WHITE_BALANCE,          kOn},
    {V4L2_CID_WHITE_BALANCE_TEMPERATURE, V4L2_CID_AUTO_WHITE_BALANCE,          kOn},
    {V4L2_CID_FOCUS_ABSOLUTE,            V4L2_CID_FOCUS_AUTO,                  kOn},
};
// clang-format on

}  // namespace

Holds holds()
{
    return {kHolds, std::size(kHolds)};
}

}  // namespace devices
