#include "app/web/Answers.h"

namespace web {

const std::vector<Route>& routes()
{
    constexpr auto kAside = Handler::Lane::aside;
    constexpr auto kLogin = Handler::Lane::login;
    constexpr auto kFrame = Handler::Lane::frame;
    constexpr auto kRead = Handler::Lane::read;
    constexpr auto kChange = Handler::Lane::change;
    constexpr auto kJson = "application/json";
    // clang-format off
    static const std::vector<Route> table = {
        {"GET",   "/api/status", kRead, getStatus, "Model, time, scheme and light", nullptr, "status"},
        {"GET",   "/api/style", kRead, getStyle, "The user interface's pages, as the library serves them", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/languages", kAside, getLanguages, "The languages of the texts", nullptr, "language"},
        {"GET",   "/api/language/{language}", kRead, getLanguage, "The texts of the pages", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/common/{language}", kRead, getCommon, "The texts that all pages share", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/parameters", kRead, getParameters, "All keys: value, limits, what the scheme in force keeps", nullptr, "keys"},
        {"PATCH", "/api/parameters", kChange, patchParameters, "Apply values in order; ?keep=false tries them out, with ?trial=ID in a trial that goes on, ?dry-run=true only tells what would happen", "keyValues", "patched"},
        {"GET",   "/api/parameters/{key}", kRead, getParameter, "One key: where its value comes from, what would change it", nullptr, "explainKey"},
        {"POST",  "/api/parameters/{key}/restore", kChange, restoreParameter, "Send the scheme's value to the sensor again", nullptr, "value"},
        {"POST",  "/api/parameters/{key}/default", kChange, defaultParameter, "Apply the factory value", nullptr, "set"},
        {"GET",   "/api/device", kRead, getDevice, "The real device behind the camera: whether it is plugged in, and which values it has not taken", nullptr, "device"},
        {"GET",   "/api/controls", kRead, getControls, "What the device has beyond the keys: value, limits, how it stands", nullptr, "controls"},
        {"PATCH", "/api/controls", kChange, patchControls, "Apply values in order; ?dry-run=true only tells what would happen", "controlValues", "patchedControls"},
        {"GET",   "/api/trials", kAside, getTrials, "Values that are tried out", nullptr, "trials"},
        {"PUT",   "/api/trials/{trial}", kAside, holdTrial, "Its holder is there: the trial goes on for 15 seconds more", nullptr, "trial"},
        {"DELETE", "/api/trials/{trial}", kChange, undoTrial, "Send what is remembered again", nullptr, "trials"},
        {"POST",  "/api/trials/{trial}/keep", kChange, keepTrial, "Apply the trial's values and remember them", nullptr, "patched"},
        {"GET",   "/api/scheme", kRead, getScheme, "The scheme in force", nullptr, "schemeInForce"},
        {"PUT",   "/api/scheme", kChange, putScheme, "Put a scheme in force; the last is the default scheme", "newScheme", "scheme"},
        {"GET",   "/api/mode", kRead, getMode, "Whether the clock chooses the scheme", nullptr, "mode"},
        {"PUT",   "/api/mode", kChange, putMode, "auto: the clock chooses; manual: the scheme stays", "newMode", "mode"},
        {"GET",   "/api/schemes", kRead, getSchemes, "All windows and the day by the clock", nullptr, "schemes"},
        {"GET",   "/api/schemes/{scheme}", kRead, getOneScheme, "A scheme's values", nullptr, "schemeValues"},
        {"PUT",   "/api/schemes/{scheme}", kChange, putOneScheme, "Values of any scheme, to its file and to memory", "keyValues", "storedScheme"},
        {"GET",   "/api/schemes/{scheme}/window", kRead, getWindow, "A scheme's daily window", nullptr, "window"},
        {"PUT",   "/api/schemes/{scheme}/window", kChange, putWindow, "Set a scheme's daily window, or what of it is given, to its file and to memory", "newWindow", "window"},
        {"GET",   "/api/schemes/{scheme}/controls", kRead, getSchemeControls, "What a scheme makes of the device's controls", nullptr, "controls"},
        {"PUT",   "/api/schemes/{scheme}/controls", kChange, putSchemeControls, "The device's controls in any scheme, to its file and to memory", "controlValues", "patchedControls"},
        {"POST",  "/api/save", kChange, save, "Save the scheme in force", nullptr, "save"},
        {"POST",  "/api/reload", kChange, reload, "The scheme in force as it was saved last", nullptr, "reload"},
        {"POST",  "/api/reset", kChange, reset, "Factory values in all schemes", nullptr, "status", kJson, Role::administrator},
        {"GET",   "/api/export", kRead, getExport, "All schemes as one document, as they are in memory", nullptr, "schemesDocument"},
        {"POST",  "/api/import", kChange, import, "Store what fits of such a document, key by key; ?dry-run=true only tells what would happen", "schemesDocument", "imported", kJson, Role::administrator},
        {"POST",  "/api/pairs", kChange, getPairs, "The scheme in force as pair text, corrected by the device", nullptr, "all"},
        {"GET",   "/api/unsaved", kRead, getUnsaved, "What would be lost if the camera ended now", nullptr, "unsaved"},
        {"GET",   "/api/lens", kRead, getLens, "Positions and what moves", nullptr, "lens"},
        {"PUT",   "/api/lens", kChange, putLens, "Move zoom or focus to a position, or choose the focus mode", "newLens", "lens"},
        {"POST",  "/api/lens/{step}", kChange, stepLens, "Move the lens by a step", nullptr, "lens"},
        {"GET",   "/api/explain", kRead, explain, "Which scheme holds and why, until when, what comes next; the day by the clock, and where windows overlap", nullptr, "explainScheme"},
        {"GET",   "/api/events", kAside, getEvents, "Server-sent events of what happens", nullptr, "eventData", "text/event-stream"},
        {"GET",   "/api/stream.mjpg", kFrame, getStream, "The picture, frame by frame", nullptr, nullptr, "multipart/x-mixed-replace"},
        {"GET",   "/api/snapshot.jpg", kFrame, getSnapshot, "One frame of the picture", nullptr, nullptr, "image/jpeg"},
        {"GET",   "/api/world", kRead, getWorld, "What is around a camera whose surroundings can be changed", nullptr, "world"},
        {"PUT",   "/api/world", kChange, putWorld, "Change the light, the distance, the weather, the time of day, how fast it passes, or which sets the device refuses", "newWorld", "world", kJson, Role::administrator},
        {"GET",   "/api/diagnostics", kAside, getDiagnostics, "The library's debug level, and whether a failed assertion ends the camera", nullptr, "diagnostics"},
        {"PUT",   "/api/diagnostics", kChange, putDiagnostics, "Set either; marker false alone switches both off", "newDiagnostics", "diagnostics", kJson, Role::administrator},
        {"GET",   "/api/log", kAside, getLog, "The error log; ?lines=N only its end", nullptr, "log"},
        {"GET",   "/api/output", kAside, getOutput, "What the library printed last; ?lines=N only its end", nullptr, "log"},
        {"GET",   "/api/trace", kAside, getTrace, "Server-sent events of the library's lines as they come; ?filter=TEXT only those that contain it", nullptr, "traceData", "text/event-stream"},
        {"POST",  "/api/session", kLogin, openSession, "Log in: a session by cookie, and its token for Authorization: Bearer", "login", "session", kJson, Role::none},
        {"GET",   "/api/session", kAside, getSession, "Who asks, and what it may do", nullptr, "session"},
        {"DELETE", "/api/session", kLogin, closeSession, "Log out", nullptr, "session", kJson, Role::viewer},
        {"GET",   "/api/openapi.json", kAside, getOpenApi, "This description", nullptr, "openApi"},
    };
    // clang-format on
    return table;
}

std::vector<std::string> queryNames(const Route& route)
{
    const std::string summary = route.summary;
    std::vector<std::string> names;
    for (std::size_t begin = summary.find('?'); begin != std::string::npos; begin = summary.find('?', begin + 1))
    {
        names.push_back(summary.substr(begin + 1, summary.find('=', begin) - begin - 1));
    }
    return names;
}

Role roleOf(const Route& route)
{
    return route.role.value_or(std::string(route.method) == "GET" ? Role::viewer : Role::operator_);
}

}  // namespace web
