#include "app/json/Results.h"

#include <cstdio>

#include "camera/Camera.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

std::string timeOfDay(unsigned hour, unsigned minute)
{
    char text[32];
    std::snprintf(text, sizeof text, "%02u:%02u", hour, minute);
    return text;
}

std::string timeOfDay(int minutes)
{
    return timeOfDay(static_cast<unsigned>(minutes) / 60, static_cast<unsigned>(minutes) % 60);
}

template <typename Value>
void put(Json& json, const char* name, const std::optional<Value>& value)
{
    if (value)
    {
        json[name] = *value;
    }
}

void putText(Json& json, const char* name, const std::string& text)
{
    if (!text.empty())
    {
        json[name] = text;
    }
}

// Negative numbers stand for no scheme, or for day and night, which choose one.
void putScheme(Json& json, const char* name, int scheme)
{
    if (scheme >= 0)
    {
        json[name] = scheme;
    }
}

void putAllowed(Json& json, const std::optional<services::ParameterState>& allowed)
{
    if (allowed)
    {
        json["allowed"] = toJson(*allowed);
    }
}

const char* kindWord(services::Kind kind)
{
    switch (kind)
    {
    case services::Kind::range:
        return "range";
    case services::Kind::choice:
        return "choice";
    case services::Kind::action:
        return "action";
    case services::Kind::reading:
        return "reading";
    case services::Kind::record:
        return "record";
    }
    return "";
}

const char* outcomeWord(camera::Outcome outcome)
{
    switch (outcome)
    {
    case camera::Outcome::applied:
        return "applied";
    case camera::Outcome::unchanged:
        return "unchanged";
    case camera::Outcome::corrected:
        return "corrected";
    case camera::Outcome::heldBack:
        return "heldBack";
    case camera::Outcome::ignoredInBulk:
        return "ignoredInBulk";
    case camera::Outcome::notRemembered:
        return "notRemembered";
    case camera::Outcome::refused:
        return "refused";
    case camera::Outcome::notReached:
        return "notReached";
    }
    return "";
}

const char* sourceWord(camera::KeyExplanation::Source source)
{
    switch (source)
    {
    case camera::KeyExplanation::Source::scheme:
        return "scheme";
    case camera::KeyExplanation::Source::sensor:
        return "sensor";
    case camera::KeyExplanation::Source::nowhere:
        return "nowhere";
    }
    return "";
}

const char* whyWord(camera::Why why)
{
    switch (why)
    {
    case camera::Why::notYet:
        return "notYet";
    case camera::Why::manual:
        return "manual";
    case camera::Why::window:
        return "window";
    case camera::Why::noWindow:
        return "noWindow";
    case camera::Why::dayOrNight:
        return "dayOrNight";
    case camera::Why::againstTheClock:
        return "againstTheClock";
    }
    return "";
}

const char* eventWord(camera::Event::Kind kind)
{
    switch (kind)
    {
    case camera::Event::Kind::values:
        return "values";
    case camera::Event::Kind::scheme:
        return "scheme";
    case camera::Event::Kind::mode:
        return "mode";
    case camera::Event::Kind::night:
        return "night";
    case camera::Event::Kind::saved:
        return "saved";
    case camera::Event::Kind::reset:
        return "reset";
    case camera::Event::Kind::lens:
        return "lens";
    case camera::Event::Kind::log:
        return "log";
    case camera::Event::Kind::trial:
        return "trial";
    case camera::Event::Kind::device:
        return "device";
    case camera::Event::Kind::standings:
        return "standings";
    case camera::Event::Kind::controls:
        return "controls";
    case camera::Event::Kind::world:
        return "world";
    }
    return "";
}

const char* trialWord(camera::TrialState state)
{
    switch (state)
    {
    case camera::TrialState::begun:
        return "begun";
    case camera::TrialState::kept:
        return "kept";
    case camera::TrialState::undone:
        return "undone";
    case camera::TrialState::expired:
        return "expired";
    case camera::TrialState::schemeChanged:
        return "schemeChanged";
    case camera::TrialState::reloaded:
        return "reloaded";
    case camera::TrialState::reset:
        return "reset";
    case camera::TrialState::overtaken:
        return "overtaken";
    case camera::TrialState::cameraEnds:
        return "cameraEnds";
    }
    return "";
}

// Of the device itself.
Json deviceFacts(const camera::DeviceState& device)
{
    return {{"name", device.name}, {"there", device.isThere}, {"otherControls", device.hasOtherControls}};
}

Json standingsJson(const camera::DeviceState& device)
{
    Json list = Json::array();
    for (const auto& [key, standing] : device.standings)
    {
        Json entry = keyJson(key);
        entry["standing"] = standingWord(standing);
        list.push_back(entry);
    }
    for (const auto& [name, standing] : device.controlStandings)
    {
        list.push_back({{"control", name}, {"standing", standingWord(standing)}});
    }
    return list;
}

Json stretchJson(int startMinutes, int endMinutes)
{
    return {{"from", timeOfDay(startMinutes)}, {"to", timeOfDay(endMinutes)}};
}

// What the clock makes of the day.
void putDay(Json& json, const camera::Schedule& schedule)
{
    json["schemes"] = Json::array();
    for (std::size_t scheme = 0; scheme < schedule.windows.size(); ++scheme)
    {
        json["schemes"].push_back(windowJson(static_cast<int>(scheme), schedule.windows[scheme]));
    }
    json["day"] = Json::array();
    for (const camera::Stretch& stretch : camera::stretchesOfDay(schedule))
    {
        Json entry = stretchJson(stretch.startMinutes, stretch.endMinutes);
        putScheme(entry, "scheme", stretch.scheme);
        json["day"].push_back(entry);
    }
    json["overlaps"] = Json::array();
    for (const camera::Overlap& overlap : camera::overlapsOfDay(schedule))
    {
        Json entry = stretchJson(overlap.startMinutes, overlap.endMinutes);
        entry["schemes"] = overlap.schemes;
        json["overlaps"].push_back(entry);
    }
}

}  // namespace

// ---- values -------------------------------------------------------------------------------------------------

Json keyJson(int key)
{
    Json json = {{"key", key}};
    const camera::KeyName* const row = camera::findKey(key);
    if (row != nullptr)
    {
        json["name"] = row->name;
    }
    return json;
}

Json valueJson(int key, int value)
{
    Json json = keyJson(key);
    json["value"] = value;
    return json;
}

Json toJson(const std::vector<camera::Value>& values)
{
    Json list = Json::array();
    for (const camera::Value& entry : values)
    {
        list.push_back(valueJson(entry.key, entry.value));
    }
    return {{"values", list}};
}

Json toJson(const services::ParameterState& allowed)
{
    Json json = {{"kind", kindWord(allowed.kind)}, {"default", allowed.allowed.defaultValue}};
    putText(json, "unit", allowed.unit);
    if (allowed.allowed.items.empty())
    {
        json["minimum"] = allowed.allowed.minimum;
        json["maximum"] = allowed.allowed.maximum;
        json["step"] = allowed.allowed.step;
        return json;
    }
    json["choices"] = Json::array();
    for (int value : allowed.allowed.items)
    {
        Json choice = {{"value", value}};
        putText(choice, "label", allowed.labelOf(value));
        json["choices"].push_back(choice);
    }
    return json;
}

// The value in force is known only of a key that was neither refused nor passed by.
Json toJson(const camera::KeyResult& key)
{
    Json json = keyJson(key.key);
    json["asked"] = key.asked;
    json["outcome"] = outcomeWord(key.outcome);
    put(json, "before", key.before);
    if (key.outcome != camera::Outcome::refused && key.outcome != camera::Outcome::notReached)
    {
        json["value"] = key.now;
    }
    if (key.outcome == camera::Outcome::refused || key.outcome == camera::Outcome::heldBack)
    {
        json["status"] = key.status;
    }
    putAllowed(json, key.allowed);
    return json;
}

const char* storedWord(camera::Stored stored)
{
    switch (stored)
    {
    case camera::Stored::done:
        return "done";
    case camera::Stored::noScheme:
        return "noScheme";
    case camera::Stored::windowRefused:
        return "windowRefused";
    case camera::Stored::valueRefused:
        return "valueRefused";
    case camera::Stored::noRecord:
        return "noRecord";
    case camera::Stored::notWritten:
        return "notWritten";
    case camera::Stored::sensorRefused:
        return "sensorRefused";
    }
    return "";
}

Json toJson(const std::vector<KeyRow>& rows)
{
    Json list = Json::array();
    for (const KeyRow& row : rows)
    {
        Json entry = keyJson(row.key);
        const camera::KeyName* const name = camera::findKey(row.key);
        entry["onlyStored"] = name != nullptr && name->onlyStored;
        entry["inScheme"] = row.inScheme;
        put(entry, "value", row.value);
        putAllowed(entry, row.allowed);
        list.push_back(entry);
    }
    return {{"keys", list}};
}

Json toJson(const camera::ApplyResult& result)
{
    Json json = schemeJson(result.scheme);
    json["schemeKeepsValues"] = result.schemeKeepsValues;
    json["values"] = Json::array();
    for (const camera::KeyResult& key : result.keys)
    {
        json["values"].push_back(toJson(key));
    }
    json["refusals"] = Json::array();
    for (const camera::Refusal& refusal : result.refusals)
    {
        Json entry = valueJson(refusal.key, refusal.value);
        entry["status"] = refusal.status;
        json["refusals"].push_back(entry);
    }
    return json;
}

Json toJson(const camera::Trial& trial)
{
    Json json = {{"trial", trial.id}};
    putText(json, "by", trial.by);
    json.update(schemeJson(trial.scheme));
    json["seconds"] = camera::Camera::kTrialLease.count();
    json["secondsLeft"] = static_cast<double>(trial.left.count()) / 1000;
    json.update(toJson(trial.values));
    return json;
}

Json toJson(const camera::ValuesResult& result)
{
    Json json = {{"stored", storedWord(result.stored)}, {"values", Json::array()}};
    for (const camera::KeyResult& key : result.keys)
    {
        json["values"].push_back(toJson(key));
    }
    if (result.check != WINDOW_SOUND)
    {
        json["check"] = result.check;
    }
    return json;
}

Json toJson(const camera::KeyExplanation& explanation)
{
    Json json = keyJson(explanation.key);
    json["source"] = sourceWord(explanation.source);
    put(json, "value", explanation.value);
    json.update(schemeJson(explanation.scheme.scheme));
    put(json, "saved", explanation.saved);
    put(json, "factory", explanation.factory);
    put(json, "onSensor", explanation.onSensor);
    json["inSchemes"] = Json::array();
    for (std::size_t scheme = 0; scheme < explanation.inSchemes.size(); ++scheme)
    {
        if (explanation.inSchemes[scheme])
        {
            json["inSchemes"].push_back({{"scheme", scheme}, {"value", *explanation.inSchemes[scheme]}});
        }
    }
    json["neverInBulk"] = explanation.neverInBulk;
    putAllowed(json, explanation.allowed);
    return json;
}

// ---- a real device ------------------------------------------------------------------------------------------

const char* standingWord(services::Standing standing)
{
    switch (standing)
    {
    case services::Standing::applied:
        return "applied";
    case services::Standing::waiting:
        return "waiting";
    case services::Standing::held:
        return "held";
    case services::Standing::busy:
        return "busy";
    case services::Standing::stalled:
        return "stalled";
    case services::Standing::refused:
        return "refused";
    case services::Standing::overruled:
        return "overruled";
    case services::Standing::lost:
        return "lost";
    }
    return "";
}

Json toJson(const camera::DeviceState& device)
{
    Json json = deviceFacts(device);
    json["standings"] = standingsJson(device);
    return json;
}

Json toJson(const camera::ControlRow& row)
{
    Json json = {{"control", row.control.name}, {"title", row.control.title}};
    put(json, "value", row.value);
    put(json, "saved", row.saved);
    json["standing"] = standingWord(row.control.standing);
    json["allowed"] = toJson(camera::limitsOf(row.control));
    return json;
}

Json toJson(const std::vector<camera::ControlRow>& rows)
{
    Json list = Json::array();
    for (const camera::ControlRow& row : rows)
    {
        list.push_back(toJson(row));
    }
    return {{"controls", list}};
}

Json toJson(const camera::ControlResult& control)
{
    Json json = {{"control", control.name}, {"asked", control.asked}, {"outcome", outcomeWord(control.outcome)}};
    put(json, "before", control.before);
    if (control.outcome != camera::Outcome::refused && control.outcome != camera::Outcome::notReached)
    {
        json["value"] = control.now;
    }
    if (control.outcome == camera::Outcome::refused)
    {
        json["status"] = control.status;
    }
    putAllowed(json, control.allowed);
    return json;
}

Json toJson(const camera::ControlsResult& result)
{
    Json json = schemeJson(result.scheme);
    json["schemeKeepsValues"] = result.schemeKeepsValues;
    json["controls"] = Json::array();
    for (const camera::ControlResult& control : result.controls)
    {
        json["controls"].push_back(toJson(control));
    }
    return json;
}

// ---- schemes ------------------------------------------------------------------------------------------------

Json schemeJson(int scheme)
{
    Json json = Json::object();
    putScheme(json, "scheme", scheme);
    return json;
}

Json modeJson(bool automatic)
{
    return {{"mode", automatic ? "auto" : "manual"}};
}

Json timeJson(int minutes)
{
    return {{"time", timeOfDay(minutes)}};
}

Json windowJson(int scheme, const SchemeWindow& window)
{
    return {{"scheme", scheme},
            {"enabled", window.enabled},
            {"from", timeOfDay(window.startHour, window.startMinute)},
            {"to", timeOfDay(window.endHour, window.endMinute)},
            {"neverHolds", windowNeverHolds(window)}};
}

Json toJson(const camera::Schedule& schedule)
{
    Json json = timeJson(schedule.minutes);
    json.update(modeJson(schedule.automatic));
    json.update(schemeJson(schedule.currentScheme));
    json["defaultScheme"] = schedule.windows.size();
    json["byDayAndNight"] = schedule.byDayAndNight;
    putDay(json, schedule);
    return json;
}

Json toJson(const camera::Explanation& explanation)
{
    Json json = schemeJson(explanation.scheme);
    json["why"] = whyWord(explanation.why);
    if (explanation.untilMinutes)
    {
        json["until"] = timeOfDay(*explanation.untilMinutes);
        putScheme(json, "next", explanation.next);
    }
    putDay(json, explanation.schedule);
    return json;
}

Json toJson(const camera::SchemeResult& result)
{
    return {{"scheme", result.scheme}, {"clockChoosesAgain", result.clockChoosesAgain}};
}

Json toJson(const camera::SaveResult& result)
{
    Json json = schemeJson(result.scheme);
    const bool isSaved = result.kind == camera::SaveResult::Kind::saved;
    json["saved"] = isSaved;
    if (isSaved)
    {
        json["values"] = result.values;
    }
    if (result.controls > 0)
    {
        json["controls"] = result.controls;
    }
    return json;
}

Json toJson(const camera::ReloadResult& result)
{
    Json json = schemeJson(result.scheme);
    json["reloaded"] = result.kind != camera::ReloadResult::Kind::noFile;
    return json;
}

// ---- the scene ----------------------------------------------------------------------------------------------

Json toJson(const Scene& scene)
{
    Json json = timeJson(scene.minutes);
    json.update(schemeJson(scene.scheme));
    json.update(modeJson(scene.automatic));
    json.update(lightJson(scene.lux, scene.night));
    return json;
}

Json watchJson(const char* event, const Scene& scene)
{
    Json json = {{"event", event}};
    json.update(toJson(scene));
    return json;
}

Json toJson(const Status& status)
{
    Json json = {{"model", status.model}, {"module", status.module}};
    putText(json, "version", status.version);
    json.update(toJson(status.scene));
    json["defaultScheme"] = status.defaultScheme;
    json["speed"] = status.speed;
    put(json, "lamps", status.lamps);
    return json;
}

Json lightJson(std::optional<double> lux, bool night)
{
    Json json = {{"night", night}};
    put(json, "lux", lux);
    return json;
}

Json toJson(const services::Weather& weather)
{
    return {{"haze", weather.haze}, {"wind", weather.wind}};
}

Json toJson(const services::Frame& frame, const std::string& file)
{
    return {{"number", frame.number}, {"width", frame.width}, {"height", frame.height}, {"file", file}};
}

Json toJson(const camera::LensState& lens)
{
    Json json = Json::object();
    put(json, "zoom", lens.zoom);
    if (lens.ratio > 0)
    {
        json["ratio"] = lens.ratio;
    }
    put(json, "focus", lens.focus);
    put(json, "focusMode", lens.focusMode);
    if (lens.iris)
    {
        json["iris"] = lens.iris->value;
    }
    put(json, "sharpness", lens.sharpness);
    json["zoomMoving"] = lens.moving.zoom;
    json["focusMoving"] = lens.moving.focus;
    json["irisMoving"] = lens.moving.iris;
    json["resetting"] = lens.moving.resetting;
    return json;
}

// ---- what happens -------------------------------------------------------------------------------------------

Json toJson(const camera::Event& event)
{
    Json json = {{"number", event.number}, {"event", eventWord(event.kind)}};
    putText(json, "by", event.by);
    json.update(schemeJson(event.scheme));
    switch (event.kind)
    {
    case camera::Event::Kind::values:
        json.update(toJson(event.values));
        break;
    case camera::Event::Kind::scheme:
        json["why"] = whyWord(event.why);
        break;
    case camera::Event::Kind::mode:
        json.update(modeJson(event.automatic));
        break;
    case camera::Event::Kind::night:
        json["night"] = event.night;
        break;
    case camera::Event::Kind::lens:
        json["moving"] = event.moving;
        json.update(toJson(event.values));
        break;
    case camera::Event::Kind::log:
        json["line"] = event.line;
        break;
    case camera::Event::Kind::trial:
        json["trial"] = event.trial;
        json["state"] = trialWord(event.trialState);
        json.update(toJson(event.values));
        if (!event.notTakenBack.empty())
        {
            json["notTakenBack"] = event.notTakenBack;
        }
        break;
    case camera::Event::Kind::device:
        json.update(deviceFacts(event.device));
        break;
    case camera::Event::Kind::standings:
        json["standings"] = standingsJson(event.device);
        break;
    case camera::Event::Kind::controls:
        json["controls"] = Json::array();
        for (const camera::ControlValue& entry : event.controls)
        {
            json["controls"].push_back({{"control", entry.name}, {"value", entry.value}});
        }
        break;
    case camera::Event::Kind::saved:
    case camera::Event::Kind::reset:
    case camera::Event::Kind::world:
        break;
    }
    return json;
}

// ---- documents and diagnostics ------------------------------------------------------------------------------

Json toJson(const std::vector<camera::Language>& languages)
{
    Json list = Json::array();
    for (const camera::Language& language : languages)
    {
        list.push_back({{"id", language.id}, {"code", language.code}, {"name", language.name}});
    }
    return {{"languages", list}};
}

Json toJson(int language, const camera::LanguageTexts& texts)
{
    return {{"id", language}, {"known", texts.known}, {"texts", texts.texts}, {"common", texts.common}};
}

Json styleJson(const std::string& style)
{
    return {{"style", style}};
}

Json pairsJson(int scheme, const std::string& pairs)
{
    Json json = schemeJson(scheme);
    json["pairs"] = pairs;
    return json;
}

Json traceJson(std::optional<int> level)
{
    constexpr int kLevelWithoutMarker = 1;
    return {{"level", level.value_or(kLevelWithoutMarker)}, {"marker", level.has_value()}};
}

Json logJson(const std::vector<std::string>& lines)
{
    return {{"lines", lines}};
}

}  // namespace app
