#include "services/linux/Documents.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "FactoryScheme.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "services/CommandNames.h"
#include "services/linux/V4l2Description.h"

namespace devices {
namespace {

using services::AllowedValues;
using services::Kind;
using services::ParameterState;

constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char kModel[] = "device";
constexpr char kHardwareCode[] = "1";
constexpr std::size_t kTextMax = 96;     // bytes of a text of the device's
constexpr std::size_t kChoicesMax = 64;  // of a choice without a list
constexpr int kStreamRate = 25;
constexpr int kStreamRateEnd = 50;  // from here on the library offers no wide dynamic range

// ---- where a key stands, and how it reads ------------------------------------------------------------------------

struct Place
{
    int key;
    const char* tab;
    const char* group;
    const char* element;
    const char* text;
    const char* when = "";
    const char* time = "";  // the text of the time that it is a field of
};

// As in the shipped styles. What moves comes last.
constexpr Place kPlaces[] = {
    {KEY_BRIGHTNESS, "image", "group_picture", "slider", "brightness"},
    {KEY_CONTRAST, "image", "group_picture", "slider", "contrast"},
    {KEY_SATURATION, "image", "group_picture", "slider", "saturation"},
    {KEY_SHARPNESS, "image", "group_picture", "slider", "sharpness"},
    {KEY_GAMMA, "image", "group_picture", "combo", "gamma"},
    {KEY_MIRROR, "image", "group_orientation", "radio", "mirror"},
    {KEY_BEAWAY, "image", "group_orientation", "switch", "corridor"},
    {KEY_IN_OUT_SIDE, "image", "group_scene", "radio", "scene"},
    {KEY_SENSOR_FPS, "sensor", "group_readout", "combo", "frame_rate"},
    {KEY_EXPOSE_MODE, "exposure", "group_exposure", "combo", "exposure_mode"},
    {KEY_METER_AREA, "exposure", "group_exposure", "combo", "meter_area"},
    {KEY_MAX_SHUTTER, "exposure", "group_shutter", "combo", "max_shutter", "16=0,2,4"},
    {KEY_FIX_SHUTTER, "exposure", "group_shutter", "combo", "fix_shutter", "16=1,3"},
    {KEY_FIX_GAIN, "exposure", "group_gain", "combo", "fix_gain", "16=3,4"},
    {KEY_WB_MODE, "white", "group_white_balance", "combo", "white_balance"},
    {KEY_R_GAIN, "white", "group_white_balance", "slider", "red_gain", "768=1"},
    {KEY_B_GAIN, "white", "group_white_balance", "slider", "blue_gain", "768=1"},
    {KEY_DN_MODE, "daynight", "group_daynight", "radio", "daynight_mode"},
    {KEY_DTN_THR, "daynight", "group_light", "number", "day_to_night_below", "144=0"},
    {KEY_NTD_THR, "daynight", "group_light", "number", "night_to_day_above", "144=0"},
    {KEY_DELAY, "daynight", "group_light", "slider", "daynight_delay", "144=0"},
    {KEY_DTN_H, "daynight", "group_times", "hour", "", "144=3", "day_to_night_at"},
    {KEY_DTN_M, "daynight", "group_times", "minute", "", "144=3", "day_to_night_at"},
    {KEY_NTD_H, "daynight", "group_times", "hour", "", "144=3", "night_to_day_at"},
    {KEY_NTD_M, "daynight", "group_times", "minute", "", "144=3", "night_to_day_at"},
    {KEY_IR_SWITCH, "infrared", "group_infrared", "switch", "infrared_lamps"},
    {KEY_IR_MODE, "infrared", "group_infrared", "radio", "infrared_mode", "160=1"},
    {KEY_IR_AUTO_STRG_NEAR, "infrared", "group_lamp_near", "slider", "lamp_near_limit", "160=1;161=0,1"},
    {KEY_IR_MANUAL_STRG_NEAR, "infrared", "group_lamp_near", "slider", "lamp_near_strength", "160=1;161=2"},
    {KEY_IR_AUTO_STRG_MEDIUM, "infrared", "group_lamp_medium", "slider", "lamp_medium_limit", "160=1;161=0,1"},
    {KEY_IR_MANUAL_STRG_MEDIUM, "infrared", "group_lamp_medium", "slider", "lamp_medium_strength", "160=1;161=2"},
    {KEY_IR_AUTO_STRG_FAR, "infrared", "group_lamp_far", "slider", "lamp_far_limit", "160=1;161=0,1"},
    {KEY_IR_MANUAL_STRG_FAR, "infrared", "group_lamp_far", "slider", "lamp_far_strength", "160=1;161=2"},
    {KEY_WDR_MODE, "wdr", "group_wdr", "combo", "wdr_mode"},
    {KEY_BLC_SWITCH, "compensation", "group_backlight", "switch", "backlight_compensation"},
    {KEY_BLC_STRG, "compensation", "group_backlight", "slider", "backlight_strength", "128=1"},
    {KEY_ANTI_SHAKE_SWITCH, "stabil", "group_anti_shake", "switch", "anti_shake"},
    {KEY_IRIS_POSITION, "iris", "group_iris", "slider", "iris_position"},
    {KEY_IRIS_SIZE, "iris", "group_iris", "combo", "iris_size", "16=2,3"},
    {KEY_IRIS_UP, "iris", "group_iris_steps", "button", "iris_up", "16=2,3"},
    {KEY_IRIS_DOWN, "iris", "group_iris_steps", "button", "iris_down", "16=2,3"},
    {KEY_AUTO_FOCUS_MODE, "lens", "group_focus", "radio", "focus_mode"},
    {KEY_AUTO_FOCUS_NEAR_LIMIT, "lens", "group_focus", "combo", "focus_near_limit"},
    {KEY_AUTO_FOCUS_ONCE, "lens", "group_focus", "button", "focus_once"},
    {KEY_MZ_POSITION, "lens", "group_zoom", "slider", "zoom_position"},
    {KEY_ZOOM_IN, "lens", "group_zoom", "button", "zoom_in"},
    {KEY_ZOOM_OUT, "lens", "group_zoom", "button", "zoom_out"},
    {KEY_MF_POSITION, "lens", "group_focus_position", "slider", "focus_position", "1536=1"},
    {KEY_FOCUS_NEAR, "lens", "group_focus_position", "button", "focus_near", "1536=1"},
    {KEY_FOCUS_FAR, "lens", "group_focus_position", "button", "focus_far", "1536=1"},
    {KEY_LENS_RESET, "lens", "group_lens_care", "button", "lens_reset"},
};
static_assert(std::size(kPlaces) + 5 <= 100, "the library takes no more parameters");

// Choices from 0 on that read otherwise in every language: their texts, by key. What is missing reads as the service's
// label.
constexpr std::pair<int, const char*> kChoices[] = {
    {KEY_GAMMA, "gamma_0 gamma_1 gamma_2 gamma_3 gamma_4 gamma_5"},
    {KEY_MIRROR, "off mirror_horizontal mirror_vertical mirror_both"},
    {KEY_IN_OUT_SIDE, "side_indoors side_outdoors"},
    {KEY_EXPOSE_MODE, "mode_automatic mode_shutter_priority mode_iris_priority mode_manual mode_gain_priority"},
    {KEY_METER_AREA, "area_whole area_centre area_top area_bottom area_left area_right"},
    {KEY_WB_MODE, "mode_automatic mode_manual light_indoor light_outdoor light_tracking light_fluorescent light_sodium "
                  "light_one_push"},
    {KEY_DN_MODE, "mode_automatic state_day state_night mode_by_time"},
    {KEY_IR_MODE, "mode_automatic mode_by_zoom mode_manual"},
    {KEY_WDR_MODE, "off wdr_digital wdr_two_exposures wdr_three_exposures"},
    {KEY_AUTO_FOCUS_MODE, "mode_automatic mode_manual mode_after_zoom"},
    {KEY_AUTO_FOCUS_NEAR_LIMIT,
     "distance_0 distance_1 distance_2 distance_3 distance_4 distance_5 distance_6 distance_7"},
    {KEY_BEAWAY, "off on"},
    {KEY_IR_SWITCH, "off on"},
    {KEY_BLC_SWITCH, "off on"},
    {KEY_ANTI_SHAKE_SWITCH, "off on"},
};

// The text of a choice; empty where the language files have none.
std::string choiceText(int key, int word)
{
    if (key == KEY_SENSOR_FPS)
    {
        return "fps_" + std::to_string(word);  // which addTexts adds
    }
    const auto* const found =
        std::find_if(std::begin(kChoices), std::end(kChoices), [key](const auto& known) { return known.first == key; });
    std::istringstream texts(found != std::end(kChoices) && word >= 0 ? found->second : "");
    std::string text;
    for (int i = 0; i <= word && texts; ++i)
    {
        text.clear();
        texts >> text;
    }
    return text;
}

// Of a unit as the service names it.
std::string unitOf(const std::string& unit)
{
    constexpr std::pair<const char*, const char*> kUnits[] = {
        {"%", "percent"}, {"steps", "steps"}, {"s", "seconds"},    {"lux", "lux"},
        {"h", "hours"},   {"min", "minutes"}, {"pixels", "pixels"}};
    const auto* const found =
        std::find_if(std::begin(kUnits), std::end(kUnits), [&unit](const auto& known) { return unit == known.first; });
    return found == std::end(kUnits) ? "" : found->second;
}

// ---- XML -----------------------------------------------------------------------------------------------------------

// The device's own words: one byte that is no XML would cost the whole document.
std::string escaped(const std::string& text)
{
    constexpr std::pair<char, const char*> kEntities[] = {
        {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"}};
    std::string safe;
    for (const char letter : cleanText(text.data(), std::min(text.size(), kTextMax)))
    {
        const auto* const found = std::find_if(std::begin(kEntities), std::end(kEntities),
                                               [letter](const auto& known) { return known.first == letter; });
        safe += found != std::end(kEntities) ? found->second : std::string(1, letter);
    }
    return safe;
}

std::string attribute(const char* name, const std::string& value)
{
    return value.empty() ? "" : std::string(" ") + name + "=\"" + value + "\"";
}

std::string attribute(const char* name, int value)
{
    return attribute(name, std::to_string(value));
}

// ---- what becomes a parameter --------------------------------------------------------------------------------------

struct Parameter
{
    const Place* place;
    const ParameterState* state;
    AllowedValues allowed;  // its factory value is allowed too
    std::string element;
};

bool isField(const Place& place)
{
    return *place.time != '\0';
}

std::vector<int> itemsOf(const AllowedValues& allowed)
{
    std::vector<int> items = allowed.items;
    for (int word = allowed.minimum; items.size() < kChoicesMax && allowed.items.empty() && word <= allowed.maximum;
         ++word)
    {
        items.push_back(word);
    }
    return items;
}

// The control that shows it; empty for what leaves nothing to choose.
std::string elementFor(const Place& place, const ParameterState& state, const AllowedValues& allowed)
{
    const std::string usual = place.element;
    const bool isUsuallyRange = usual == "slider" || usual == "number" || isField(place);
    switch (state.kind)
    {
    case Kind::range:
        return allowed.minimum >= allowed.maximum ? "" : isUsuallyRange ? usual : "slider";
    case Kind::choice:
        if (allowed.items.size() < 2 || isField(place))
        {
            return "";
        }
        return usual == "switch" ? (allowed.items == std::vector<int>{0, 1} ? usual : "combo")
               : isUsuallyRange  ? "combo"
                                 : usual;
    case Kind::action:
        return "button";
    default:
        return "";
    }
}

// Nothing where the device has no such key.
const Parameter* findKey(const std::vector<Parameter>& parameters, int key)
{
    const auto found =
        std::find_if(parameters.begin(), parameters.end(), [key](const Parameter& p) { return p.place->key == key; });
    return found != parameters.end() ? &*found : nullptr;
}

void drop(std::vector<Parameter>& parameters, int key)
{
    parameters.erase(std::remove_if(parameters.begin(), parameters.end(),
                                    [key](const Parameter& parameter) { return parameter.place->key == key; }),
                     parameters.end());
}

// These are sent as one record: without all of them the others would be sent with a 0.
void dropLonely(std::vector<Parameter>& parameters)
{
    const std::vector<int> records[] = {{KEY_DTN_THR, KEY_NTD_THR}, {KEY_DTN_H, KEY_DTN_M, KEY_NTD_H, KEY_NTD_M}};
    for (const std::vector<int>& record : records)
    {
        const bool isWhole = std::all_of(record.begin(), record.end(),
                                         [&parameters](int key) { return findKey(parameters, key) != nullptr; });
        for (const int key : isWhole ? std::vector<int>() : record)
        {
            drop(parameters, key);
        }
    }
}

// The library writes these into the night's scheme without asking.
void dropRefusedByNight(std::vector<Parameter>& parameters)
{
    for (const KeyVal& forced : factoryChanges(true, 1))
    {
        const int key = static_cast<int>(forced.key);
        const Parameter* const found = findKey(parameters, key);
        if (found != nullptr && !found->allowed.contains(static_cast<int>(forced.value)))
        {
            drop(parameters, key);
        }
    }
}

std::vector<Parameter> parametersIn(const std::vector<ParameterState>& states, const Board& board)
{
    std::vector<Parameter> parameters;
    for (const Place& place : kPlaces)
    {
        const auto state = std::find_if(states.begin(), states.end(), [&place](const ParameterState& candidate) {
            return services::keyOfCommand(candidate.cmd) == static_cast<u32>(place.key);
        });
        if (state == states.end())
        {
            continue;
        }
        AllowedValues allowed = state->allowed;
        if (state->kind == Kind::choice)
        {
            allowed.items = itemsOf(allowed);
        }
        const std::string element = elementFor(place, *state, allowed);
        if (!element.empty())
        {
            allowed.defaultValue = state->kind == Kind::action ? 0 : allowed.nearest(allowed.defaultValue);
            parameters.push_back({&place, &*state, allowed, element});
        }
    }
    if (board.schemesByLight)
    {
        dropRefusedByNight(parameters);
    }
    dropLonely(parameters);
    return parameters;
}

// ---- the style -----------------------------------------------------------------------------------------------------

// Where a key's own window stands.
constexpr char kScheduleTab[] =
    "    <tab key=\"schedule\" text=\"tab_schedule\">\n"
    "        <group text=\"group_window\">\n"
    "            <switch id=\"8000\" value=\"0\" text=\"scheme_enabled\"/>\n"
    "            <window text=\"scheme_window\">\n"
    "                <time text=\"window_start\">\n"
    "                    <hour id=\"8001\" value=\"0\" min=\"0\" max=\"24\" step=\"1\"/>\n"
    "                    <minute id=\"8002\" value=\"0\" min=\"0\" max=\"59\" step=\"1\"/>\n"
    "                </time>\n"
    "                <time text=\"window_end\">\n"
    "                    <hour id=\"8003\" value=\"24\" min=\"0\" max=\"24\" step=\"1\"/>\n"
    "                    <minute id=\"8004\" value=\"0\" min=\"0\" max=\"59\" step=\"1\"/>\n"
    "                </time>\n"
    "            </window>\n"
    "        </group>\n"
    "    </tab>\n";

const std::vector<DocumentParameter>& scheduleParameters()
{
    static const std::vector<DocumentParameter> parameters = {
        {KEY_SCHEME_ENABLE, "Window", {0, 1, 1, 0, {0, 1}}, 0},
        {KEY_SCHEME_START_HOUR, "Window start, hour", {0, 24, 1, 0, {}}, 0},
        {KEY_SCHEME_START_MIN, "Window start, minute", {0, 59, 1, 0, {}}, 0},
        {KEY_SCHEME_END_HOUR, "Window end, hour", {0, 24, 1, 24, {}}, 24},
        {KEY_SCHEME_END_MIN, "Window end, minute", {0, 59, 1, 0, {}}, 0},
    };
    return parameters;
}

// "16=0,2,4" where key 16 takes but 0 and 3: "16=0". Empty where nobody could fulfil it.
std::string fulfillable(std::string_view condition, const std::vector<Parameter>& parameters)
{
    const std::size_t equals = condition.find('=');
    const int key = std::stoi(std::string(condition.substr(0, equals)));
    const Parameter* const other = findKey(parameters, key);
    if (other == nullptr)
    {
        return "";
    }
    std::string values;
    for (std::string_view rest = condition.substr(equals + 1); !rest.empty();)
    {
        const std::string value(rest.substr(0, rest.find(',')));
        rest.remove_prefix(std::min(value.size() + 1, rest.size()));
        values += other->allowed.contains(std::stoi(value)) ? (values.empty() ? "" : ",") + value : "";
    }
    return values.empty() ? "" : std::to_string(key) + "=" + values;
}

std::string conditionsOf(const Place& place, const std::vector<Parameter>& parameters)
{
    std::string conditions;
    for (std::string_view rest = place.when; !rest.empty();)
    {
        const std::string_view one = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(one.size() + 1, rest.size()));
        const std::string condition = fulfillable(one, parameters);
        conditions += (conditions.empty() || condition.empty() ? "" : ";") + condition;
    }
    return conditions;
}

std::string itemLine(const Parameter& parameter, int word)
{
    const std::string text = choiceText(parameter.place->key, word);
    const std::string label = escaped(parameter.state->labelOf(word));
    return "                <item" + attribute("index", word) +
           (text.empty() ? attribute("label", label.empty() ? std::to_string(word) : label) : attribute("text", text)) +
           "/>\n";
}

std::string elementText(const Parameter& parameter, const std::vector<Parameter>& all)
{
    const Place& place = *parameter.place;
    const bool isListed = parameter.element == "combo" || parameter.element == "radio";
    std::string text = std::string(isField(place) ? "                <" : "            <") + parameter.element +
                       attribute("id", place.key) + attribute("value", parameter.allowed.defaultValue);
    if (parameter.state->kind == Kind::range)
    {
        text += attribute("min", parameter.allowed.minimum) + attribute("max", parameter.allowed.maximum) +
                attribute("step", parameter.allowed.step) +
                attribute("unit", isField(place) ? "" : unitOf(parameter.state->unit));
    }
    text += (parameter.element == "button" ? " press=\"1\"" : "") + attribute("text", place.text) +
            attribute("when", isField(place) ? "" : conditionsOf(place, all)) + (isListed ? ">\n" : "/>\n");
    for (const int word : isListed ? parameter.allowed.items : std::vector<int>())
    {
        text += itemLine(parameter, word);
    }
    return text + (isListed ? "            </" + parameter.element + ">\n" : "");
}

// Elements that stand in another one open it before the first and close it behind the last.
class Nesting
{
public:
    Nesting(std::string indent, std::string element) : indent_(std::move(indent)), element_(std::move(element)) {}

    // Is to be in the one of that name from now on; in none for "".
    std::string enter(const std::string& name, const std::string& attributes)
    {
        if (name == name_)
        {
            return "";
        }
        std::string text = name_.empty() ? "" : indent_ + "</" + element_ + ">\n";
        text += name.empty() ? "" : indent_ + "<" + element_ + attributes + ">\n";
        name_ = name;
        return text;
    }

    bool isIn(const std::string& name) const { return name == name_; }

private:
    const std::string indent_;
    const std::string element_;
    std::string name_;
};

std::string styleOf(const std::vector<Parameter>& parameters)
{
    std::string text = std::string(kHeader) + "<SensorStyle version=\"1\">\n" + kScheduleTab;
    Nesting tab("    ", "tab");
    Nesting group("        ", "group");
    Nesting time("            ", "time");
    for (const Parameter& parameter : parameters)
    {
        const Place& place = *parameter.place;
        const bool isSameTime = group.isIn(place.group) && time.isIn(place.time);
        text += isSameTime ? "" : time.enter("", "");
        text += group.isIn(place.group) ? "" : group.enter("", "");
        text += tab.enter(place.tab, attribute("key", place.tab) + attribute("text", std::string("tab_") + place.tab));
        text += group.enter(place.group, attribute("text", place.group));
        text +=
            time.enter(place.time, attribute("text", place.time) + attribute("when", conditionsOf(place, parameters)));
        if (place.key == KEY_WDR_MODE)
        {
            text += "            <notice id=\"0\" text=\"wdr_not_offered\"/>\n";
        }
        text += elementText(parameter, parameters);
    }
    return text + time.enter("", "") + group.enter("", "") + tab.enter("", "") + "</SensorStyle>\n";
}

// ---- the other documents -------------------------------------------------------------------------------------------

std::string machineInfo(const Board& board)
{
    return "DeviceType=" + std::to_string(board.schemesByLight ? DEVICE_TYPE_LPR : DEVICE_TYPE_CAMERA) +
           "\nHardwareModel=" + kModel + "\nHardwareCode=" + kHardwareCode + "\n";
}

// The greatest rate at which the library still offers wide dynamic range.
int streamRate(const std::vector<Parameter>& parameters)
{
    for (const Parameter& parameter : parameters)
    {
        const std::vector<int>& rates = parameter.allowed.items;
        const auto behind = std::lower_bound(rates.begin(), rates.end(), kStreamRateEnd);
        if (parameter.place->key == KEY_SENSOR_FPS && behind != rates.begin())
        {
            return *std::prev(behind);
        }
    }
    return kStreamRate;
}

std::string moduleConfig(const std::vector<Parameter>& parameters)
{
    return std::string(kHeader) + "<ModuleConfigs>\n    <ModuleConfig hardwareModel=\"" + kModel +
           "\" hardwareCode=\"" + kHardwareCode +
           "\">\n        <ModuleId>1</ModuleId>\n        <Detail>(model=" + kModel +
           ")(max_scheme=" + std::to_string(kScheduledSchemes) +
           ")</Detail>\n        <Parameters>(fps=" + std::to_string(streamRate(parameters)) +
           ")</Parameters>\n    </ModuleConfig>\n</ModuleConfigs>\n";
}

// Styles are made for this device alone: there is nothing to change for it.
std::string diversity()
{
    return std::string(kHeader) + "<Rule model=\"none\">\n    <Delete tab_key=\"none\"/>\n</Rule>\n";
}

std::string opening(const std::string& id)
{
    return "<text id=\"" + id + "\">";
}

// The text of that id, as it is written; nothing when there is none.
std::string textIn(const std::string& file, const std::string& id)
{
    const std::size_t at = file.find(opening(id));
    const std::size_t begin = at + opening(id).size();
    const std::size_t end = at == std::string::npos ? at : file.find("</text>", begin);
    return end == std::string::npos ? "" : file.substr(begin, end - begin);
}

// text: escaped. One that was there is replaced.
void addText(const std::string& path, std::string& file, const std::string& id, const std::string& text)
{
    const std::string before = textIn(file, id);
    if (const std::size_t at = file.find(opening(id)); at != std::string::npos)
    {
        file.replace(at + opening(id).size(), before.size(), text);
        return;
    }
    const std::size_t end = file.rfind("</texts>");
    if (end == std::string::npos)
    {
        throw std::runtime_error("there are no texts in language/" + path);
    }
    file.insert(end, "    " + opening(id) + text + "</text>\n");
}

bool isNamed(const std::string& path, std::string_view name)
{
    return path.size() > name.size() && path.compare(path.size() - name.size(), name.size(), name) == 0;
}

// The device's name, and its own frame rates in the words of the shipped one.
void addTexts(const std::string& path, const Description& description, const std::vector<Parameter>& parameters,
              std::string& file)
{
    if (isNamed(path, "/common.xml"))
    {
        const std::string name = escaped(description.name);
        addText(path, file, std::string("model_") + kModel, name.empty() ? kModel : name);
    }
    if (!isNamed(path, "/texts.xml"))
    {
        return;
    }
    const std::string number = std::to_string(kStreamRate);
    const std::string shipped = textIn(file, "fps_" + number);
    const std::size_t place = shipped.find(number);
    const std::string pattern = place == std::string::npos ? number : shipped;
    for (const Parameter& parameter : parameters)
    {
        for (const int rate : parameter.place->key == KEY_SENSOR_FPS ? parameter.allowed.items : std::vector<int>())
        {
            std::string text = pattern;
            text.replace(place == std::string::npos ? 0 : place, number.size(), std::to_string(rate));
            addText(path, file, choiceText(KEY_SENSOR_FPS, rate), text);
        }
    }
}

// As it lies in a generation.
std::string below(const char* path)
{
    return path + 1;
}

}  // namespace

Documents documentsOf(const Description& description, const std::vector<ParameterState>& states, const Board& board,
                      const std::map<std::string, std::string>& languages)
{
    const std::vector<Parameter> parameters = parametersIn(states, board);
    Documents documents;
    documents.files = {{below(sensorpaths::kMachineInfoFile), machineInfo(board)},
                       {below(sensorpaths::kModuleConfigFile), moduleConfig(parameters)},
                       {below(sensorpaths::kStyleFile), styleOf(parameters)},
                       {below(sensorpaths::kDiversityFile), diversity()}};
    for (const auto& [path, shipped] : languages)
    {
        std::string& file = documents.files["share/language/" + path];
        file = shipped;
        addTexts(path, description, parameters, file);
    }
    documents.parameters = scheduleParameters();
    for (const Parameter& parameter : parameters)
    {
        documents.parameters.push_back(
            {parameter.place->key, parameter.state->name, parameter.allowed,
             parameter.state->kind == Kind::action ? 0 : parameter.allowed.nearest(parameter.state->value)});
    }
    return documents;
}

}  // namespace devices
