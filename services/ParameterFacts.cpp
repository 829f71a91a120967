#include "services/ParameterFacts.h"

#include <algorithm>
#include <iterator>

namespace services {
namespace {

// ---- labels ------------------------------------------------------------------------------------------------

constexpr Choice kSwitch[] = {{0, "Off"}, {1, "On"}};
constexpr Choice kAutoManual[] = {{0, "Automatic"}, {1, "Manual"}};
constexpr Choice kMeterAreas[] = {{0, "Whole picture"}, {1, "Centre"}, {2, "Top"},
                                  {3, "Bottom"},        {4, "Left"},   {5, "Right"}};
constexpr Choice kExposeModes[] = {{kAutomaticExposure, "Automatic"},
                                   {kShutterPriority, "Shutter priority"},
                                   {kIrisPriority, "Iris priority"},
                                   {kManualExposure, "Manual"},
                                   {kGainPriority, "Gain priority"}};
constexpr Choice kShutters[] = {
    {0, "1/3 s"},      {1, "1/6 s"},     {2, "1/12 s"},    {3, "1/15 s"},    {4, "1/25 s"},    {5, "1/30 s"},
    {6, "1/50 s"},     {7, "1/60 s"},    {8, "1/100 s"},   {9, "1/120 s"},   {10, "1/150 s"},  {11, "1/180 s"},
    {12, "1/200 s"},   {13, "1/240 s"},  {14, "1/250 s"},  {15, "1/300 s"},  {16, "1/500 s"},  {17, "1/750 s"},
    {18, "1/1000 s"},  {19, "1/1500 s"}, {20, "1/2000 s"}, {21, "1/3000 s"}, {22, "1/4000 s"}, {23, "1/5000 s"},
    {24, "1/10000 s"}, {25, "1/20000 s"}};
constexpr Choice kGains[] = {{0, "0 dB"},   {1, "3 dB"},   {2, "6 dB"},   {3, "9 dB"},   {4, "12 dB"},  {5, "15 dB"},
                             {6, "18 dB"},  {7, "21 dB"},  {8, "24 dB"},  {9, "27 dB"},  {10, "30 dB"}, {11, "33 dB"},
                             {12, "36 dB"}, {13, "39 dB"}, {14, "42 dB"}, {16, "48 dB"}, {18, "54 dB"}, {20, "60 dB"}};
constexpr Choice kIrisSizes[] = {{0, "F1.6"}, {1, "F2.0"}, {2, "F2.8"}, {3, "F4.0"},  {4, "F5.6"},
                                 {5, "F8.0"}, {6, "F11"},  {7, "F16"},  {8, "Closed"}};
constexpr Choice kWhiteBalances[] = {{0, "Automatic"}, {1, "Manual"},      {2, "Indoor"},      {3, "Outdoor"},
                                     {4, "Tracking"},  {5, "Fluorescent"}, {6, "Sodium lamp"}, {7, "One push"}};
constexpr Choice kDayNightModes[] = {
    {kByLight, "Automatic"}, {kAlwaysDay, "Day"}, {kAlwaysNight, "Night"}, {kByTime, "By time"}};
constexpr Choice kInfraredModes[] = {{kByLightLevel, "Automatic"}, {kByZoom, "By zoom"}, {kByHand, "Manual"}};
constexpr Choice kLevels[] = {{0, "Level 0"}, {1, "Level 1"}, {2, "Level 2"},  {3, "Level 3"},
                              {4, "Level 4"}, {5, "Level 5"}, {6, "Level 6"},  {7, "Level 7"},
                              {8, "Level 8"}, {9, "Level 9"}, {10, "Level 10"}};
constexpr Choice kWideDynamics[] = {{0, "Off"}, {1, "Digital"}, {2, "Two exposures"}, {3, "Three exposures"}};
constexpr Choice kBacklights[] = {{0, "Centre"}, {1, "Top"}, {2, "Bottom"}, {3, "Left"}, {4, "Right"}};
constexpr Choice kDefogs[] = {{0, "Off"}, {1, "On"}, {2, "Automatic"}};
constexpr Choice kSides[] = {{0, "Indoors"}, {1, "Outdoors"}};
constexpr Choice kMirrors[] = {{0, "Off"}, {1, "Horizontal"}, {2, "Vertical"}, {3, "Both"}};
constexpr Choice kFocusModes[] = {
    {kAutomaticFocus, "Automatic"}, {kManualFocus, "Manual"}, {kFocusAfterZoom, "After zoom"}};
constexpr Choice kNearLimits[] = {{0, "0.1 m"}, {1, "0.3 m"}, {2, "1 m"},  {3, "1.5 m"},
                                  {4, "3 m"},   {5, "6 m"},   {6, "10 m"}, {7, "20 m"}};
constexpr double kNearLimitMetres[] = {0.1, 0.3, 1, 1.5, 3, 6, 10, 20};
static_assert(std::size(kNearLimitMetres) == std::size(kNearLimits));
constexpr Choice kSensitivities[] = {{0, "Low"}, {1, "Normal"}, {2, "High"}};
constexpr Choice kOffsetDirections[] = {
    {kNoDirection, "None"}, {kLeft, "Left"}, {kRight, "Right"}, {kUp, "Up"}, {kDown, "Down"}};
constexpr Choice kFrameRates[] = {{25, "25 fps"}, {30, "30 fps"}, {50, "50 fps"}, {60, "60 fps"}};
constexpr Choice kGammas[] = {{0, "Standard"}, {1, "0.45"}, {2, "0.55"}, {3, "0.65"}, {4, "Soft"}, {5, "Strong"}};

// ---- row makers --------------------------------------------------------------------------------------------

constexpr Parameter range(ia_cmd_e cmd, const char* name, const char* unit, int minimum, int maximum, int step,
                          int value)
{
    return {cmd, name, unit, Kind::range, minimum, maximum, step, value, nullptr, 0, kAllOptions};
}

template <int N>
constexpr Parameter choice(ia_cmd_e cmd, const char* name, const Choice (&list)[N], int value)
{
    return {cmd, name, "", Kind::choice, list[0].value, list[N - 1].value, 1, value, list, N, kAllOptions};
}

constexpr Parameter action(ia_cmd_e cmd, const char* name)
{
    return {cmd, name, "", Kind::action, 0, 1, 1, 0, nullptr, 0, kAllOptions};
}

constexpr Parameter reading(ia_cmd_e cmd, const char* name, const char* unit, int minimum, int maximum)
{
    return {cmd, name, unit, Kind::reading, minimum, maximum, 1, 0, nullptr, 0, kMayGet | kMayDescribe | kMayAskStatus};
}

constexpr Parameter record(ia_cmd_e cmd, const char* name, unsigned options)
{
    return {cmd, name, "", Kind::record, 0, 0, 1, 0, nullptr, 0, options | kMayAskStatus};
}

// ---- the table, in the order of the key-command map ---------------------------------------------------------

// clang-format off
constexpr Parameter kTable[] = {
    //     command                         name                              unit    min    max  step default
    range (IA_CMD_BRIGHTNESS,              "Brightness",                     "%",       0,   100, 1,    50),
    range (IA_CMD_SATURATION,              "Saturation",                     "%",       0,   100, 1,    50),
    range (IA_CMD_CONTRAST,                "Contrast",                       "%",       0,   100, 1,    50),
    range (IA_CMD_SHARPNESS,               "Sharpness",                      "%",       0,   100, 1,    50),
    choice(IA_CMD_METER_AREA,              "Metering area",                  kMeterAreas,               0),
    choice(IA_CMD_EXPOSE_MODE,             "Exposure mode",                  kExposeModes,              0),
    choice(IA_CMD_MAX_SHUTTER,             "Longest shutter",                kShutters,                 4),
    choice(IA_CMD_FIX_SHUTTER,             "Fixed shutter",                  kShutters,                 6),
    choice(IA_CMD_MAX_GAIN,                "Greatest gain",                  kGains,                   12),
    choice(IA_CMD_FIX_GAIN,                "Fixed gain",                     kGains,                    4),
    choice(IA_CMD_IRIS_SWITCH,             "Automatic iris",                 kSwitch,                   1),
    range (IA_CMD_IRIS_SPEED,              "Iris speed",                     "%",       0,   100, 1,    50),
    range (IA_CMD_IRIS_POSITION,           "Iris position",                  "steps",   0,    96, 1,    72),
    choice(IA_CMD_IRIS_SIZE,               "Iris size",                      kIrisSizes,                2),
    action(IA_CMD_IRIS_UP,                 "Open the iris one stop"),
    action(IA_CMD_IRIS_DOWN,               "Close the iris one stop"),
    choice(IA_CMD_WB_MODE,                 "White balance",                  kWhiteBalances,            0),
    range (IA_CMD_R_GAIN,                  "Red gain",                       "",        0,   255, 1,   128),
    range (IA_CMD_B_GAIN,                  "Blue gain",                      "",        0,   255, 1,   128),
    choice(IA_CMD_DN_MODE,                 "Day/night mode",                 kDayNightModes,            0),
    range (IA_CMD_DELAY,                   "Day/night delay",                "s",       0,   120, 1,     5),
    choice(IA_CMD_IR_SWITCH,               "Infrared lamps",                 kSwitch,                   1),
    choice(IA_CMD_IR_MODE,                 "Infrared mode",                  kInfraredModes,            0),
    range (IA_CMD_IR_AUTO_STRG_NEAR,       "Near lamp, automatic limit",     "%",       0,   100, 1,   100),
    range (IA_CMD_IR_MANUAL_STRG_NEAR,     "Near lamp, manual strength",     "%",       0,   100, 1,    50),
    range (IA_CMD_IR_AUTO_STRG_MEDIUM,     "Medium lamp, automatic limit",   "%",       0,   100, 1,   100),
    range (IA_CMD_IR_MANUAL_STRG_MEDIUM,   "Medium lamp, manual strength",   "%",       0,   100, 1,    50),
    range (IA_CMD_IR_AUTO_STRG_FAR,        "Far lamp, automatic limit",      "%",       0,   100, 1,   100),
    range (IA_CMD_IR_MANUAL_STRG_FAR,      "Far lamp, manual strength",      "%",       0,   100, 1,    50),
    choice(IA_CMD_2D_NR_SWITCH,            "2D noise reduction",             kSwitch,                   1),
    choice(IA_CMD_2D_NR_MODE,              "2D noise reduction mode",        kAutoManual,               0),
    choice(IA_CMD_2D_NR_STRG_A,            "2D noise reduction, automatic",  kLevels,                   3),
    choice(IA_CMD_2D_NR_STRG_M,            "2D noise reduction, manual",     kLevels,                   3),
    choice(IA_CMD_3D_NR_SWITCH,            "3D noise reduction",             kSwitch,                   1),
    choice(IA_CMD_3D_NR_MODE,              "3D noise reduction mode",        kAutoManual,               0),
    choice(IA_CMD_3D_NR_STRG_A,            "3D noise reduction, automatic",  kLevels,                   3),
    choice(IA_CMD_3D_NR_STRG_M,            "3D noise reduction, manual",     kLevels,                   3),
    choice(IA_CMD_WDR_MODE,                "Wide dynamic range",             kWideDynamics,             0),
    range (IA_CMD_WDR_STRG,                "Wide dynamic range strength",    "%",       0,   100, 1,    50),
    choice(IA_CMD_HLC_SWITCH,              "Highlight compensation",         kSwitch,                   0),
    range (IA_CMD_HLC_STRG,                "Highlight compensation strength", "%",      0,   100, 1,    50),
    choice(IA_CMD_BLC_SWITCH,              "Backlight compensation",         kSwitch,                   0),
    choice(IA_CMD_BLC_MODE,                "Backlight compensation area",    kBacklights,               0),
    range (IA_CMD_BLC_STRG,                "Backlight compensation strength", "%",      0,   100, 1,    50),
    choice(IA_CMD_ANTI_SHAKE_SWITCH,       "Anti-shake",                     kSwitch,                   0),
    range (IA_CMD_ANTI_SHAKE_STRG,         "Anti-shake strength",            "%",       0,   100, 1,    50),
    choice(IA_CMD_DEFLG_SWITCH,            "Defog",                          kDefogs,                   0),
    range (IA_CMD_DEFLG_STRG,              "Defog strength",                 "%",       0,   100, 1,    50),
    choice(IA_CMD_IN_OUT_SIDE,             "Indoors or outdoors",            kSides,                    1),
    choice(IA_CMD_UI_MIRROR,               "Mirror",                         kMirrors,                  0),
    choice(IA_CMD_BEAWAY,                  "Corridor view",                  kSwitch,                   0),
    range (IA_CMD_DTN_THR,                 "Day to night below",             "lux",     0,   200, 1,    20),
    range (IA_CMD_NTD_THR,                 "Night to day above",             "lux",     0,   200, 1,    60),
    range (IA_CMD_DTN_H,                   "Day to night, hour",             "h",       0,    23, 1,    18),
    range (IA_CMD_DTN_M,                   "Day to night, minute",           "min",     0,    59, 1,     0),
    range (IA_CMD_NTD_H,                   "Night to day, hour",             "h",       0,    23, 1,     6),
    range (IA_CMD_NTD_M,                   "Night to day, minute",           "min",     0,    59, 1,     0),
    choice(IA_CMD_AUTO_FOCUS_MODE,         "Focus mode",                     kFocusModes,               0),
    choice(IA_CMD_AUTO_FOCUS_NEAR_LIMIT,   "Nearest focus distance",         kNearLimits,               2),
    choice(IA_CMD_AUTO_FOCUS_SENSITIVITY,  "Focus sensitivity",              kSensitivities,            1),
    action(IA_CMD_AUTO_FOCUS_ONCE,         "Focus once"),
    action(IA_CMD_LENS_RESET,              "Reset the lens"),
    action(IA_CMD_ZOOM_OUT,                "Zoom out one step"),
    action(IA_CMD_ZOOM_IN,                 "Zoom in one step"),
    action(IA_CMD_FOCUS_NEAR,              "Focus one step near"),
    action(IA_CMD_FOCUS_FAR,               "Focus one step far"),
    choice(IA_CMD_DIGITAL_ZOOM,            "Digital zoom",                   kSwitch,                   0),
    range (IA_CMD_MZOOM_SPEED,             "Zoom speed",                     "",        1,     8, 1,     4),
    range (IA_CMD_MF_POSITION,             "Focus position",                 "steps",   0, 20000, 1,  2090),
    range (IA_CMD_MZ_POSITION,             "Zoom position",                  "steps", 16384, 32767, 1, 16384),
    choice(IA_CMD_CAP_OFF_ADJ_DIRECTION,   "Move the picture",               kOffsetDirections,         0),
    range (IA_CMD_CAP_OFF_ADJ_STEP,        "Picture offset step",            "pixels",  1,    32, 1,     2),
    range (IA_CMD_CAP_OFF_ADJ_H_MIN,       "Horizontal offset, least",       "pixels", -128,   0, 1,   -64),
    range (IA_CMD_CAP_OFF_ADJ_H_MAX,       "Horizontal offset, greatest",    "pixels",  0,   128, 1,    64),
    range (IA_CMD_CAP_OFF_ADJ_H_CUR,       "Horizontal offset",              "pixels", -128, 128, 1,     0),
    range (IA_CMD_CAP_OFF_ADJ_V_MIN,       "Vertical offset, least",         "pixels", -128,   0, 1,   -64),
    range (IA_CMD_CAP_OFF_ADJ_V_MAX,       "Vertical offset, greatest",      "pixels",  0,   128, 1,    64),
    range (IA_CMD_CAP_OFF_ADJ_V_CUR,       "Vertical offset",                "pixels", -128, 128, 1,     0),
    choice(IA_CMD_SENSOR_FPS,              "Sensor frame rate",              kFrameRates,              25),
    choice(IA_CMD_FREEZE,                  "Freeze the picture",             kSwitch,                   0),
    choice(IA_CMD_GAMMA,                   "Gamma",                          kGammas,                   0),
    choice(IA_CMD_DN_AF_MODE,              "Focus after day/night change",   kSwitch,                   0),

    // Commands that belong to no key.
    reading(IA_CMD_DN_STATE,               "Night",                          "",        0,     1),
    range  (IA_CMD_PTZ_RUN_STATE,          "Pan/tilt/zoom run state",        "",        0,   255, 1,    0),
    reading(IA_CMD_AF_STATISTIC,           "Focus contrast",                 "",        0, 65535),
    record (IA_CMD_CAMERA_VERSION,         "Version",                        kMayGet),
    record (IA_CMD_SENSOR_CHECK,           "Sensor register",                kMaySet | kMayGet),
    record (IA_CMD_DYNAMIC_PARAMS_CMDS_GET, "Sensor-dependent commands",     kMayGet),
};
// clang-format on

}  // namespace

Rows<Parameter> parameters()
{
    return {kTable, std::size(kTable)};
}

const Parameter* findParameter(u32 cmd)
{
    for (const Parameter& row : parameters())
    {
        if (row.cmd == cmd)
        {
            return &row;
        }
    }
    return nullptr;
}

int correct(ia_cmd_e cmd, const AllowedValues& allowed, int value)
{
    const bool isShutter = cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER;
    return isShutter && value == kShutterPreferred ? allowed.defaultValue : allowed.nearest(value);
}

ia_dynamic_params_attr_st describe(const AllowedValues& allowed)
{
    ia_dynamic_params_attr_st record = {};
    record.reserved0 = allowed.minimum;
    record.default_value = allowed.defaultValue;
    record.reserved2 = allowed.maximum;
    record.reserved3 = allowed.step;
    record.items_cnt = static_cast<int>(std::min<std::size_t>(allowed.items.size(), kDynamicItemsMax));
    std::copy_n(allowed.items.begin(), record.items_cnt, record.item);
    return record;
}

double nearLimitMetres(int value)
{
    return kNearLimitMetres[std::clamp(value, 0, static_cast<int>(std::size(kNearLimitMetres)) - 1)];
}

const char* choiceLabel(const Parameter& parameter, int value)
{
    for (int i = 0; i < parameter.choiceCount; ++i)
    {
        if (parameter.choices[i].value == value)
        {
            return parameter.choices[i].label;
        }
    }
    return "";
}

std::map<int, std::string> labelsOf(const Parameter& parameter)
{
    std::map<int, std::string> labels;
    for (int i = 0; i < parameter.choiceCount; ++i)
    {
        labels[parameter.choices[i].value] = parameter.choices[i].label;
    }
    return labels;
}

}  // namespace services
