#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/json/Json.h"
#include "camera/Failure.h"
#include "services/ImageService.h"

// The one form of an error, for every front end. Reentrant.
namespace app {

// What a program can tell apart. Words and hints stand in one table, Error.cpp; docs/JSON.md lists them.
enum class ErrorCode
{
    wrongUsage,
    unknownCommand,
    unknownKey,
    unknownScheme,
    badValue,
    badDocument,
    tooManyValues,
    refusedValue,
    notOnDevice,
    readOnly,
    busy,
    wrongMode,
    deviceRefused,
    noValue,
    windowRefused,
    noFile,
    notFound,
    unreadable,
    notWritten,
    notSettable,
    noPicture,
    interrupted,
    notRun,
    noCamera,
    internal,
};

struct Error
{
    ErrorCode code = ErrorCode::internal;
    std::string message = {};                              // in the front end's words; a sentence, or several lines
    std::optional<int> key = {};                           // of several the first
    std::optional<int> value = {};                         // that was refused
    std::optional<services::ParameterState> allowed = {};  // what the device allows instead
    std::optional<int> check = {};                         // 505, 506 or 507 of a refused window
    std::string hint = {};                                 // what to do, where the code's own hint does not fit
};

// "refused-value"
const char* codeWord(ErrorCode code);

// All words, in the order of the table.
std::vector<std::string> codeWords();

// Of a services::Status that is a refusal. Numbers of the service's own, and 0, with which the video module refuses,
// are deviceRefused.
ErrorCode codeOf(int status);
ErrorCode codeOf(camera::Problem problem);

// {"code":…,"message":…,"hint":…} and what else there is.
Json toJson(const Error& error);

}  // namespace app
