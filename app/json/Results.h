#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/json/Json.h"
#include "camera/DeviceState.h"
#include "camera/Events.h"
#include "camera/Explain.h"
#include "camera/NamedControls.h"
#include "camera/Results.h"
#include "camera/UiFiles.h"

// What a camera answers, in its JSON form, for every front end. share/schema/sensorcam.schema.json says the same to
// validators, docs/JSON.md to readers. Reentrant.
//
// A member has one type. What is not there is left out; nothing is null. A time of day is "HH:MM".
namespace app {

// ---- values -------------------------------------------------------------------------------------------------

// {"key":34,"name":"KEY_BRIGHTNESS"}; a number without a name stands alone.
Json keyJson(int key);
Json valueJson(int key, int value);
Json toJson(const std::vector<camera::Value>& values);

// What the device allows for a parameter.
Json toJson(const services::ParameterState& allowed);

struct KeyRow
{
    int key;
    std::optional<int> value;
    bool inScheme;  // the scheme in force keeps it; otherwise the value is the sensor's
    std::optional<services::ParameterState> allowed;
};
Json toJson(const std::vector<KeyRow>& rows);

Json toJson(const camera::KeyResult& key);
Json toJson(const camera::ApplyResult& result);
Json toJson(const camera::Trial& trial);
Json toJson(const camera::ValuesResult& result);
Json toJson(const camera::KeyExplanation& explanation);

const char* storedWord(camera::Stored stored);

// ---- a real device ------------------------------------------------------------------------------------------

const char* standingWord(services::Standing standing);
Json toJson(const camera::DeviceState& device);
Json toJson(const camera::ControlRow& row);
Json toJson(const std::vector<camera::ControlRow>& rows);
Json toJson(const camera::ControlResult& control);
Json toJson(const camera::ControlsResult& result);

// ---- schemes ------------------------------------------------------------------------------------------------

// scheme: -1 for none.
Json schemeJson(int scheme);
Json modeJson(bool automatic);
Json timeJson(int minutes);

Json windowJson(int scheme, const SchemeWindow& window);
Json toJson(const camera::Schedule& schedule);
Json toJson(const camera::Explanation& explanation);
Json toJson(const camera::SchemeResult& result);
Json toJson(const camera::SaveResult& result);
Json toJson(const camera::ReloadResult& result);

// ---- the scene ----------------------------------------------------------------------------------------------

struct Scene
{
    int minutes;
    int scheme;  // -1 for none
    bool automatic;
    bool night;
    std::optional<double> lux;
};
Json toJson(const Scene& scene);
// event: watching, night, day, scheme, mode, light, hour or end.
Json watchJson(const char* event, const Scene& scene);

struct Status
{
    std::string model;
    int module;
    std::string version;  // empty: unknown
    Scene scene;
    int defaultScheme;
    double speed;
    std::optional<int> lamps;
};
Json toJson(const Status& status);

Json lightJson(std::optional<double> lux, bool night);
Json toJson(const services::Weather& weather);
Json toJson(const camera::LensState& lens);
Json toJson(const services::Frame& frame, const std::string& file);

// ---- what happens -------------------------------------------------------------------------------------------

Json toJson(const camera::Event& event);

// ---- documents and diagnostics ------------------------------------------------------------------------------

Json toJson(const std::vector<camera::Language>& languages);
Json toJson(int language, const camera::LanguageTexts& texts);
Json styleJson(const std::string& style);
Json pairsJson(int scheme, const std::string& pairs);
Json traceJson(std::optional<int> level);
Json logJson(const std::vector<std::string>& lines);

}  // namespace app
