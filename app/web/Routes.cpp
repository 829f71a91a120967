#include "app/web/Answers.h"

namespace web {

const std::vector<Route>& routes()
{
    constexpr auto kAside = Handler::Lane::aside;
    constexpr auto kRead = Handler::Lane::read;
    constexpr auto kChange = Handler::Lane::change;
    // clang-format off
    static const std::vector<Route> table = {
        {"GET",   "/api/status", kRead, getStatus, "Model, time, scheme and light", nullptr, "status"},
        {"GET",   "/api/style", kRead, getStyle, "The user interface's pages, as the library serves them", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/languages", kAside, getLanguages, "The languages of the texts", nullptr, "language"},
        {"GET",   "/api/language/{language}", kRead, getLanguage, "The texts of the pages", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/common/{language}", kRead, getCommon, "The texts that all pages share", nullptr, nullptr, "text/xml"},
        {"GET",   "/api/parameters", kRead, getParameters, "All keys: value, limits, what the scheme in force keeps", nullptr, "keys"},
        {"PATCH", "/api/parameters", kChange, patchParameters, "Apply values in order; ?keep=false does not remember them, ?dry-run=true only tells what would happen", "keyValues", "set"},
        {"GET",   "/api/parameters/{key}", kRead, getParameter, "One key: where its value comes from, what would change it", nullptr, "explainKey"},
        {"POST",  "/api/parameters/{key}/restore", kChange, restoreParameter, "Send the scheme's value to the sensor again", nullptr, "value"},
        {"POST",  "/api/parameters/{key}/default", kChange, defaultParameter, "Apply the factory value", nullptr, "set"},
        {"GET",   "/api/scheme", kRead, getScheme, "The scheme in force", nullptr, "schemeInForce"},
        {"PUT",   "/api/scheme", kChange, putScheme, "Put a scheme in force; the last is the default scheme", "newScheme", "scheme"},
        {"GET",   "/api/mode", kRead, getMode, "Whether the clock chooses the scheme", nullptr, "mode"},
        {"PUT",   "/api/mode", kChange, putMode, "auto: the clock chooses; manual: the scheme stays", "newMode", "mode"},
        {"GET",   "/api/schemes", kRead, getSchemes, "All windows and the day by the clock", nullptr, "schemes"},
        {"GET",   "/api/schemes/{scheme}", kRead, getOneScheme, "A scheme's values", nullptr, "schemeValues"},
        {"PUT",   "/api/schemes/{scheme}", kChange, putOneScheme, "Values of any scheme, to its file and to memory", "keyValues", "storedValues"},
        {"GET",   "/api/schemes/{scheme}/window", kRead, getWindow, "A scheme's daily window", nullptr, "window"},
        {"PUT",   "/api/schemes/{scheme}/window", kChange, putWindow, "Set a scheme's daily window, to its file and to memory", "newWindow", "window"},
        {"POST",  "/api/save", kChange, save, "Save the scheme in force", nullptr, "save"},
        {"POST",  "/api/reload", kChange, reload, "The scheme in force as it was saved last", nullptr, "reload"},
        {"POST",  "/api/reset", kChange, reset, "Factory values in all schemes", nullptr, "status"},
        {"GET",   "/api/lens", kRead, getLens, "Positions and what moves", nullptr, "lens"},
        {"PUT",   "/api/lens", kChange, putLens, "Move zoom or focus to a position, or choose the focus mode", "newLens", "lens"},
        {"POST",  "/api/lens/{step}", kChange, stepLens, "A step: focus-near, focus-far, zoom-in, zoom-out, iris-open, iris-close, focus-once, reset", nullptr, "lens"},
        {"GET",   "/api/explain", kRead, explain, "Which scheme holds and why, until when, what comes next", nullptr, "explainScheme"},
        {"GET",   "/api/events", kAside, getEvents, "Server-sent events of what happens", nullptr, nullptr, "text/event-stream"},
        {"GET",   "/api/world", kRead, getWorld, "What is around a simulated camera", nullptr, "world"},
        {"PUT",   "/api/world", kChange, putWorld, "Change the light or the distance", "newWorld", "world"},
        {"GET",   "/api/diagnostics", kAside, getDiagnostics, "The library's debug level", nullptr, "trace"},
        {"PUT",   "/api/diagnostics", kChange, putDiagnostics, "Set the debug level", "newDiagnostics", "trace"},
        {"GET",   "/api/log", kAside, getLog, "The error log", nullptr, "log"},
        {"GET",   "/api/openapi.json", kAside, getOpenApi, "This description", nullptr, nullptr, "application/json"},
    };
    // clang-format on
    return table;
}

}  // namespace web
