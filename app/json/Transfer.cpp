#include "app/json/Transfer.h"

#include <algorithm>
#include <cctype>

#include "app/json/Results.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

constexpr char kFormat[] = "sensorcam-schemes";
constexpr int kVersion = 1;
constexpr std::size_t kMostSchemes = 64;   // cameras have four
constexpr std::size_t kMostValues = 1000;  // in a scheme; cameras have some hundred

const char* skippedWord(camera::Skipped skipped)
{
    switch (skipped)
    {
    case camera::Skipped::no:
        break;
    case camera::Skipped::unknownKey:
        return "unknownKey";
    case camera::Skipped::notInModel:
        return "notInModel";
    case camera::Skipped::outOfRange:
        return "outOfRange";
    case camera::Skipped::readOnly:
        return "readOnly";
    case camera::Skipped::wrongType:
        return "wrongType";
    case camera::Skipped::ofWindow:
        return "ofWindow";
    }
    return "";
}

// As importOf takes it.
Json plainWindow(const SchemeWindow& window)
{
    Json json = windowJson(0, window);
    json.erase("scheme");
    json.erase("neverHolds");
    return json;
}

// "HH:MM", of any two numbers: whether they make a window is the camera's to say.
bool readTime(const Json& window, const char* name, u32& hour, u32& minute)
{
    const std::string text = window.value(name, Json()).is_string() ? window[name].get<std::string>() : "";
    const auto isDigit = [&text](std::size_t at) { return std::isdigit(static_cast<unsigned char>(text[at])) != 0; };
    if (text.size() != 5 || text[2] != ':' || !isDigit(0) || !isDigit(1) || !isDigit(3) || !isDigit(4))
    {
        return false;
    }
    hour = static_cast<u32>((text[0] - '0') * 10 + text[1] - '0');
    minute = static_cast<u32>((text[3] - '0') * 10 + text[4] - '0');
    return true;
}

bool readWindow(const Json& json, SchemeWindow& window)
{
    if (!json.is_object() || !json.value("enabled", Json()).is_boolean())
    {
        return false;
    }
    window.enabled = json["enabled"].get<bool>();
    return readTime(json, "from", window.startHour, window.startMinute) &&
           readTime(json, "to", window.endHour, window.endMinute);
}

bool readScheme(const Json& json, camera::Import::Scheme& scheme, std::string& error)
{
    const std::optional<int> number = json.is_object() ? intOf(json.value("scheme", Json())) : std::nullopt;
    if (!number)
    {
        error = "a scheme is an object with its number, \"scheme\"";
        return false;
    }
    scheme.scheme = *number;
    const std::string name = "scheme " + std::to_string(*number);
    if (json.contains("window") && !readWindow(json["window"], scheme.window.emplace()))
    {
        error = "the window of " + name + R"( needs "enabled", true or false, "from" and "to", HH:MM)";
        return false;
    }
    const Json values = json.value("values", Json::object());
    if (!values.is_object() || values.size() > kMostValues)
    {
        error = "the values of " + name + " are an object of at most " + std::to_string(kMostValues) + " numbers";
        return false;
    }
    for (const auto& [key, value] : values.items())
    {
        scheme.values.push_back({key, intOf(value)});
    }
    const Json controls = json.value("controls", Json::object());
    if (!controls.is_object() || controls.size() > kMostValues)
    {
        error = "the controls of " + name + " are an object of at most " + std::to_string(kMostValues) + " numbers";
        return false;
    }
    for (const auto& [control, value] : controls.items())
    {
        scheme.controls.push_back({control, intOf(value)});
    }
    return true;
}

Json entryJson(const camera::ImportResult::Entry& entry)
{
    if (entry.skipped == camera::Skipped::no)
    {
        return toJson(*entry.key);
    }
    Json json = {{"name", entry.name}, {"outcome", "skipped"}, {"why", skippedWord(entry.skipped)}};
    if (entry.key)
    {
        json["asked"] = entry.key->asked;
    }
    if (entry.key && entry.key->allowed)
    {
        json["allowed"] = toJson(*entry.key->allowed);
    }
    return json;
}

Json entryJson(const camera::ImportResult::Control& entry)
{
    if (entry.skipped == camera::Skipped::no)
    {
        return toJson(*entry.control);
    }
    Json json = {{"control", entry.name}, {"outcome", "skipped"}, {"why", skippedWord(entry.skipped)}};
    if (entry.control)
    {
        json["asked"] = entry.control->asked;
    }
    if (entry.control && entry.control->allowed)
    {
        json["allowed"] = toJson(*entry.control->allowed);
    }
    return json;
}

Json schemeResultJson(const camera::ImportResult::Scheme& scheme)
{
    Json json = {{"scheme", scheme.scheme}};
    json["stored"] = scheme.reached ? storedWord(scheme.stored) : "notReached";
    if (scheme.window)
    {
        json["window"] = *scheme.window == WINDOW_SOUND ? "applied" : "skipped";
    }
    if (scheme.window && *scheme.window != WINDOW_SOUND)
    {
        json["check"] = *scheme.window;
    }
    json["values"] = Json::array();
    for (const camera::ImportResult::Entry& entry : scheme.values)
    {
        json["values"].push_back(entryJson(entry));
    }
    for (const camera::ImportResult::Control& entry : scheme.controls)
    {
        json["controls"].push_back(entryJson(entry));
    }
    return json;
}

}  // namespace

Json toJson(const camera::Export& all)
{
    Json json = {{"format", kFormat}, {"version", kVersion}, {"model", all.model}};
    json.update(modeJson(all.automatic));
    json["schemes"] = Json::array();
    for (const camera::Export::Scheme& scheme : all.schemes)
    {
        Json values = Json::object();
        for (const camera::Value& entry : scheme.values)
        {
            values[camera::findKey(entry.key)->name] = entry.value;
        }
        json["schemes"].push_back(
            {{"scheme", scheme.scheme}, {"window", plainWindow(scheme.window)}, {"values", values}});
        for (const camera::ControlValue& entry : scheme.controls)
        {
            json["schemes"].back()["controls"][entry.name] = entry.value;
        }
    }
    return json;
}

std::optional<camera::Import> importOf(const Json& document, std::string& error)
{
    camera::Import all;
    if (document.value("format", Json()) != kFormat || document.value("version", Json()) != kVersion)
    {
        error = std::string("the document is no \"format\":\"") + kFormat + "\" of \"version\":1";
        return std::nullopt;
    }
    const Json model = document.value("model", Json());
    const Json mode = document.value("mode", Json());
    const Json schemes = document.value("schemes", Json());
    if (!model.is_string() || !schemes.is_array() || schemes.size() > kMostSchemes)
    {
        error = R"(the document needs "model", a text, and "schemes", a list)";
        return std::nullopt;
    }
    if (!mode.is_null() && mode != "auto" && mode != "manual")
    {
        error = R"("mode" is "auto" or "manual")";
        return std::nullopt;
    }
    all.model = model.get<std::string>();
    all.automatic = mode.is_null() ? std::nullopt : std::optional<bool>(mode == "auto");
    for (const Json& json : schemes)
    {
        camera::Import::Scheme scheme = {};
        if (!readScheme(json, scheme, error))
        {
            return std::nullopt;
        }
        if (std::any_of(all.schemes.begin(), all.schemes.end(),
                        [&](const camera::Import::Scheme& other) { return other.scheme == scheme.scheme; }))
        {
            error = "scheme " + std::to_string(scheme.scheme) + " is given twice";
            return std::nullopt;
        }
        all.schemes.push_back(std::move(scheme));
    }
    return all;
}

Json toJson(const camera::ImportResult& result)
{
    Json json = {{"sameModel", result.sameModel}};
    if (result.automatic)
    {
        json.update(modeJson(*result.automatic));
    }
    json["schemes"] = Json::array();
    for (const camera::ImportResult::Scheme& scheme : result.schemes)
    {
        json["schemes"].push_back(schemeResultJson(scheme));
    }
    return json;
}

}  // namespace app
