#include "services/linux/ControlTable.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <iterator>
#include <set>

#include "services/linux/ControlIds.h"

namespace devices {
namespace {

// ---- lists: of two entries that mean the same value, the first is read back ------------------------------------

constexpr Entry kIsOn[] = {{0, 0}, {1, 1}};
constexpr Entry kIsOff[] = {{0, 1}, {1, 0}};
constexpr Entry kOnlyWhenOn[] = {{0, kLeast}, {1, kPass}};
constexpr Entry kOnlyByDay[] = {{0, kPass}, {1, kLeast}};
constexpr Entry kOnlyByNight[] = {{0, kLeast}, {1, kPass}};
// Automatic, manual, shutter priority, iris priority. Most cameras have automatic as iris priority only, and no camera
// takes a time in an automatic that it calls shutter priority, where it does not have that.
constexpr Entry kExposeModes[] = {{0, V4L2_EXPOSURE_AUTO, V4L2_EXPOSURE_APERTURE_PRIORITY},
                                  {3, V4L2_EXPOSURE_MANUAL},
                                  {1, V4L2_EXPOSURE_SHUTTER_PRIORITY, V4L2_EXPOSURE_MANUAL},
                                  {2, V4L2_EXPOSURE_APERTURE_PRIORITY}};
constexpr Entry kGainPriority[] = {{4, V4L2_EXPOSURE_AUTO, V4L2_EXPOSURE_APERTURE_PRIORITY}};
constexpr Entry kAutomaticGains[] = {{0, 1}, {1, 1}, {2, 1}, {3, 0}, {4, 0}};
constexpr Entry kGainAlone[] = {{0, 1}, {4, 0}};
// Times longer than a frame's of 25 in a second.
constexpr Entry kLongShutters[] = {{4, 0},  {0, 1},  {1, 1},  {2, 1},  {3, 1},  {5, 0},  {6, 0},  {7, 0},  {8, 0},
                                   {9, 0},  {10, 0}, {11, 0}, {12, 0}, {13, 0}, {14, 0}, {15, 0}, {16, 0}, {17, 0},
                                   {18, 0}, {19, 0}, {20, 0}, {21, 0}, {22, 0}, {23, 0}, {24, 0}, {25, 0}};
constexpr Entry kMeterAreas[] = {{0, V4L2_EXPOSURE_METERING_AVERAGE}, {1, V4L2_EXPOSURE_METERING_CENTER_WEIGHTED}};
constexpr Entry kIrisSizes[] = {{0, 160}, {1, 200},  {2, 280},  {3, 400},      {4, 560},
                                {5, 800}, {6, 1100}, {7, 1600}, {8, kGreatest}};
constexpr Entry kPresets[] = {{0, V4L2_WHITE_BALANCE_AUTO},     {4, V4L2_WHITE_BALANCE_AUTO},
                              {1, V4L2_WHITE_BALANCE_MANUAL},   {2, V4L2_WHITE_BALANCE_INCANDESCENT},
                              {3, V4L2_WHITE_BALANCE_DAYLIGHT}, {5, V4L2_WHITE_BALANCE_FLUORESCENT}};
constexpr Entry kAutomaticBalances[] = {{0, 1}, {4, 1}, {1, 0}};
constexpr Entry kFixedBalances[] = {{2, 0}, {3, 0}, {5, 0}, {6, 0}};
constexpr Entry kTemperatures[] = {{2, 2800}, {3, 5500}, {5, 4200}, {6, kLeast}};  // kelvin
constexpr Entry kWideDynamics[] = {{0, 0}, {1, 1}, {2, 1}, {3, 1}};
constexpr Entry kMainsFrequencies[] = {{1, V4L2_CID_POWER_LINE_FREQUENCY_DISABLED},
                                       {0, V4L2_CID_POWER_LINE_FREQUENCY_50HZ, V4L2_CID_POWER_LINE_FREQUENCY_60HZ}};
constexpr Entry kTurns[] = {{0, 0}, {1, 90}};  // degrees
constexpr Entry kFocusModes[] = {{0, 1}, {1, 0}, {2, 0}};
constexpr Entry kNearLimits[] = {{2, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {0, V4L2_AUTO_FOCUS_RANGE_MACRO, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {1, V4L2_AUTO_FOCUS_RANGE_MACRO, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {3, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {4, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {5, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {6, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO},
                                 {7, V4L2_AUTO_FOCUS_RANGE_NORMAL, V4L2_AUTO_FOCUS_RANGE_AUTO}};
constexpr Entry kGammas[] = {{0, kDefault}, {1, 222}, {2, 182}, {3, 154}, {4, kLeast}, {5, kGreatest}};  // hundredths
constexpr Entry kColours[] = {{0, V4L2_COLORFX_NONE}, {1, V4L2_COLORFX_BW}};

// ---- row makers --------------------------------------------------------------------------------------------

constexpr Row percent(ia_cmd_e cmd, u32 control, int middle = 50, int greatest = 100)
{
    Row row{cmd, control, Conversion::percent};
    row.middle = middle;
    row.greatest = greatest;
    return row;
}

constexpr Row share(ia_cmd_e cmd, u32 control, int least, int greatest)
{
    Row row{cmd, control, Conversion::share};
    row.least = least;
    row.greatest = greatest;
    return row;
}

template <int N>
constexpr Row list(ia_cmd_e cmd, u32 control, const Entry (&entries)[N])
{
    Row row{cmd, control, Conversion::list};
    row.entries = entries;
    row.entryCount = N;
    return row;
}

constexpr Row bit(ia_cmd_e cmd, u32 control, int number)
{
    Row row{cmd, control, Conversion::bit};
    row.least = number;
    return row;
}

constexpr Row plain(ia_cmd_e cmd, u32 control, Conversion conversion)
{
    return {cmd, control, conversion};
}

constexpr Row with(u32 control, Row row)
{
    row.with = control;
    return row;
}

constexpr Row unless(u32 control, Row row)
{
    row.unless = control;
    return row;
}

constexpr Row only(ia_cmd_e cmd, int is, Row row)
{
    row.only = cmd;
    row.is = is;
    return row;
}

// ---- the table, in the order of the key-command map but for rows that must speak first --------------------------

constexpr int kByHand = 2;  // of the infrared mode

// clang-format off
constexpr Row kRows[] = {
    percent(IA_CMD_BRIGHTNESS,           V4L2_CID_BRIGHTNESS),
    // Without the filter colours are wrong, and under infrared light there are none.
    list   (IA_CMD_DN_STATE,             V4L2_CID_SATURATION,               kOnlyByDay),
    list   (IA_CMD_DN_STATE,             V4L2_CID_COLOR_KILLER,             kIsOn),
    list   (IA_CMD_DN_STATE,             V4L2_CID_COLORFX,                  kColours),
    list   (IA_CMD_DN_STATE,             kFilter,                           kIsOff),
    percent(IA_CMD_SATURATION,           V4L2_CID_SATURATION),
    percent(IA_CMD_CONTRAST,             V4L2_CID_CONTRAST),
    percent(IA_CMD_SHARPNESS,            V4L2_CID_SHARPNESS),
    list   (IA_CMD_METER_AREA,           V4L2_CID_EXPOSURE_METERING,        kMeterAreas),
    list   (IA_CMD_EXPOSE_MODE,          V4L2_CID_EXPOSURE_AUTO,            kExposeModes),
    with(V4L2_CID_AUTOGAIN,
     list  (IA_CMD_EXPOSE_MODE,          V4L2_CID_EXPOSURE_AUTO,            kGainPriority)),
    with(V4L2_CID_EXPOSURE_AUTO,
     list  (IA_CMD_EXPOSE_MODE,          V4L2_CID_AUTOGAIN,                 kAutomaticGains)),
    unless(V4L2_CID_EXPOSURE_AUTO,
     list  (IA_CMD_EXPOSE_MODE,          V4L2_CID_AUTOGAIN,                 kGainAlone)),
    list   (IA_CMD_MAX_SHUTTER,          V4L2_CID_EXPOSURE_AUTO_PRIORITY,   kLongShutters),
    plain  (IA_CMD_FIX_SHUTTER,          V4L2_CID_EXPOSURE_ABSOLUTE,        Conversion::shutter),
    share  (IA_CMD_FIX_GAIN,             V4L2_CID_GAIN,                     0, 20),
    unless(V4L2_CID_GAIN,
     share (IA_CMD_FIX_GAIN,             V4L2_CID_ANALOGUE_GAIN,            0, 20)),
    share  (IA_CMD_IRIS_POSITION,        V4L2_CID_IRIS_ABSOLUTE,            0, 96),
    list   (IA_CMD_IRIS_SIZE,            V4L2_CID_IRIS_ABSOLUTE,            kIrisSizes),
    list   (IA_CMD_WB_MODE,              V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, kPresets),
    unless(V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE,
     list  (IA_CMD_WB_MODE,              V4L2_CID_AUTO_WHITE_BALANCE,       kAutomaticBalances)),
    unless(V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, with(V4L2_CID_WHITE_BALANCE_TEMPERATURE,
     list  (IA_CMD_WB_MODE,              V4L2_CID_AUTO_WHITE_BALANCE,       kFixedBalances))),
    unless(V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, with(V4L2_CID_AUTO_WHITE_BALANCE,
     list  (IA_CMD_WB_MODE,              V4L2_CID_WHITE_BALANCE_TEMPERATURE, kTemperatures))),
    percent(IA_CMD_R_GAIN,               V4L2_CID_RED_BALANCE,              128, 255),
    percent(IA_CMD_B_GAIN,               V4L2_CID_BLUE_BALANCE,             128, 255),
    // A lamp: what speaks first keeps it dark.
    list   (IA_CMD_IR_SWITCH,            kLampNear,                         kOnlyWhenOn),
    list   (IA_CMD_DN_STATE,             kLampNear,                         kOnlyByNight),
    only(IA_CMD_IR_MODE, kByHand,
     share (IA_CMD_IR_MANUAL_STRG_NEAR,  kLampNear,                         0, 100)),
    share  (IA_CMD_IR_AUTO_STRG_NEAR,    kLampNear,                         0, 100),
    list   (IA_CMD_IR_SWITCH,            kLampMedium,                       kOnlyWhenOn),
    list   (IA_CMD_DN_STATE,             kLampMedium,                       kOnlyByNight),
    only(IA_CMD_IR_MODE, kByHand,
     share (IA_CMD_IR_MANUAL_STRG_MEDIUM, kLampMedium,                      0, 100)),
    share  (IA_CMD_IR_AUTO_STRG_MEDIUM,  kLampMedium,                       0, 100),
    list   (IA_CMD_IR_SWITCH,            kLampFar,                          kOnlyWhenOn),
    list   (IA_CMD_DN_STATE,             kLampFar,                          kOnlyByNight),
    only(IA_CMD_IR_MODE, kByHand,
     share (IA_CMD_IR_MANUAL_STRG_FAR,   kLampFar,                          0, 100)),
    share  (IA_CMD_IR_AUTO_STRG_FAR,     kLampFar,                          0, 100),
    list   (IA_CMD_WDR_MODE,             V4L2_CID_WIDE_DYNAMIC_RANGE,       kWideDynamics),
    list   (IA_CMD_BLC_SWITCH,           V4L2_CID_BACKLIGHT_COMPENSATION,   kOnlyWhenOn),
    share  (IA_CMD_BLC_STRG,             V4L2_CID_BACKLIGHT_COMPENSATION,   0, 100),
    list   (IA_CMD_ANTI_SHAKE_SWITCH,    V4L2_CID_IMAGE_STABILIZATION,      kIsOn),
    list   (IA_CMD_IN_OUT_SIDE,          V4L2_CID_POWER_LINE_FREQUENCY,     kMainsFrequencies),
    bit    (IA_CMD_UI_MIRROR,            V4L2_CID_HFLIP,                    0),
    bit    (IA_CMD_UI_MIRROR,            V4L2_CID_VFLIP,                    1),
    list   (IA_CMD_BEAWAY,               V4L2_CID_ROTATE,                   kTurns),
    list   (IA_CMD_AUTO_FOCUS_MODE,      V4L2_CID_FOCUS_AUTO,               kFocusModes),
    list   (IA_CMD_AUTO_FOCUS_NEAR_LIMIT, V4L2_CID_AUTO_FOCUS_RANGE,        kNearLimits),
    plain  (IA_CMD_AUTO_FOCUS_ONCE,      V4L2_CID_AUTO_FOCUS_START,         Conversion::press),
    share  (IA_CMD_MF_POSITION,          V4L2_CID_FOCUS_ABSOLUTE,           0, 20000),
    share  (IA_CMD_MZ_POSITION,          V4L2_CID_ZOOM_ABSOLUTE,            16384, 31424),
    plain  (IA_CMD_SENSOR_FPS,           kFrameRate,                        Conversion::same),
    list   (IA_CMD_GAMMA,                V4L2_CID_GAMMA,                    kGammas),
};
// clang-format on

// A driver may give a control another type than everybody else: of a menu there are no shares.
bool isAsleep(const Row& row, const Control& control, const std::vector<Control>& controls)
{
    const bool isOther = isRange(row) && control.type != ControlType::number && control.type != ControlType::yesNo;
    return isOther || (row.with != 0 && findControl(controls, row.with) == nullptr) ||
           (row.unless != 0 && findControl(controls, row.unless) != nullptr);
}

template <typename Item>
void addOnce(std::vector<Item>& items, Item item)
{
    if (std::find(items.begin(), items.end(), item) == items.end())
    {
        items.push_back(item);
    }
}

bool speaks(const Row& row, const Words& words)
{
    const auto found = words.find(row.only);
    return row.only == 0 || (found != words.end() && found->second == row.is);
}

// Bits of a word are free of each other: what each row takes, in every mixture.
void addWords(std::set<int>& all, const Row& row, const Control& control)
{
    const std::set<int> words = wordsOf(row, control);
    if (row.conversion != Conversion::bit || all.empty())
    {
        all.insert(words.begin(), words.end());
        return;
    }
    for (const int word : std::set<int>(all))
    {
        for (const int more : words)
        {
            all.insert(word | more);
        }
    }
}

}  // namespace

Rows rows()
{
    return {kRows, std::size(kRows)};
}

ControlTable::ControlTable(std::vector<Control> controls) : controls_(std::move(controls))
{
    for (const Row& row : rows())
    {
        const Control* const control = findControl(controls_, row.control);
        if (control == nullptr || !control->isSettable || isAsleep(row, *control, controls_))
        {
            continue;
        }
        live_.push_back({&row, control});
        liveOf_[control->id].push_back({&row, control});
        addOnce(all_, control->id);
        addOnce(controlsOf_[row.cmd], control->id);
        if (row.only != 0)
        {
            addOnce(controlsOf_[row.only], control->id);
        }
        if (row.cmd != IA_CMD_DN_STATE)
        {
            addOnce(commands_, row.cmd);
        }
    }
}

std::vector<ControlTable::Live> ControlTable::liveOf(ia_cmd_e cmd) const
{
    std::vector<Live> found;
    std::copy_if(live_.begin(), live_.end(), std::back_inserter(found),
                 [cmd](const Live& live) { return live.row->cmd == cmd; });
    return found;
}

std::optional<services::AllowedValues> ControlTable::allowed(ia_cmd_e cmd) const
{
    const std::vector<Live> live = liveOf(cmd);
    if (live.empty())
    {
        return std::nullopt;
    }
    services::AllowedValues allowed{live.front().row->least, live.front().row->greatest, 1, 0, {}};
    Values defaults;
    std::set<int> words;
    for (const auto& [row, control] : live)
    {
        defaults[control->id] = control->defaultValue;
        addWords(words, *row, *control);
    }
    if (!isRange(*live.front().row))
    {
        if (words.empty())
        {
            return std::nullopt;
        }
        allowed.items.assign(words.begin(), words.end());
        allowed.minimum = allowed.items.front();
        allowed.maximum = allowed.items.back();
    }
    allowed.defaultValue = allowed.nearest(word(cmd, defaults).value_or(0));
    return allowed;
}

const std::vector<u32>& ControlTable::controlsOf(ia_cmd_e cmd) const
{
    static const std::vector<u32> none;
    const auto found = controlsOf_.find(cmd);
    return found == controlsOf_.end() ? none : found->second;
}

std::vector<Setting> ControlTable::settings(const std::vector<u32>& controls, const Words& words) const
{
    std::vector<Setting> settings;
    for (const u32 id : controls)
    {
        for (const auto& [row, control] : liveOf_.at(id))
        {
            const auto found = words.find(row->cmd);
            const bool isSaid = found != words.end() && speaks(*row, words);
            if (const auto value = isSaid ? valueOf(*row, found->second, *control) : std::nullopt)
            {
                settings.push_back({id, *value});
                break;
            }
        }
    }
    return settings;
}

std::optional<int> ControlTable::word(ia_cmd_e cmd, const Values& values) const
{
    std::optional<int> word;
    for (const auto& [row, control] : liveOf(cmd))
    {
        const auto found = values.find(control->id);
        const std::optional<int> meant = found == values.end() ? std::nullopt : wordOf(*row, found->second, *control);
        if (row->conversion == Conversion::bit)
        {
            word = word.value_or(0) | meant.value_or(0);
        }
        else if (!word)
        {
            word = meant;
        }
    }
    return word;
}

std::optional<u32> ControlTable::button(ia_cmd_e cmd) const
{
    const std::vector<Live> live = liveOf(cmd);
    const bool isOne = !live.empty() && live.front().row->conversion == Conversion::press;
    return isOne ? std::optional<u32>(live.front().control->id) : std::nullopt;
}

}  // namespace devices
