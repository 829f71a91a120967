#include "app/json/Error.h"

#include <algorithm>

#include "app/json/Results.h"
#include "services/Status.h"

namespace app {
namespace {

struct CodeRow
{
    ErrorCode code;
    const char* word;  // never changed: programs compare it
    const char* hint;  // what to do
};

constexpr CodeRow kCodes[] = {
    {ErrorCode::wrongUsage, "wrong-usage", "'help' and the command's name, or sensorcam --help, show the usage"},
    {ErrorCode::unknownCommand, "unknown-command", "'help' lists the commands"},
    {ErrorCode::unknownKey, "unknown-key", "'keys' lists the keys"},
    {ErrorCode::unknownScheme, "unknown-scheme", "'schemes' lists the schemes"},
    {ErrorCode::badValue, "bad-value", "write the value in the form that is named"},
    {ErrorCode::badDocument, "bad-document", "correct the text; none of it was applied"},
    {ErrorCode::tooManyValues, "too-many-values", "send fewer values at once; nothing was applied"},
    {ErrorCode::refusedValue, "refused-value", "choose one of the allowed values"},
    {ErrorCode::notOnDevice, "not-on-device", "do without it: this camera does not have it"},
    {ErrorCode::readOnly, "read-only", "read it; it cannot be set"},
    {ErrorCode::busy, "busy", "try again when the lens is at rest"},
    {ErrorCode::wrongMode, "wrong-mode", "first choose the mode that is named"},
    {ErrorCode::deviceRefused, "device-refused", "the error log may say more"},
    {ErrorCode::noValue, "no-value", "ask for a key that the scheme in force or the sensor has"},
    {ErrorCode::windowRefused, "window-refused", "choose a window that ends after it starts, at 24:00 at the latest"},
    {ErrorCode::noFile, "no-file", "put a scheme in force that has a file"},
    {ErrorCode::notFound, "not-found", "a factory reset makes missing scheme files anew"},
    {ErrorCode::unreadable, "unreadable", "put a plain file of sensible length in its place"},
    {ErrorCode::notWritten, "not-written", "see whether the disk is full, then try again"},
    {ErrorCode::notSettable, "not-settable", "leave it as it is on this camera"},
    {ErrorCode::noPicture, "no-picture", "remove the cause that is named, then try again"},
    {ErrorCode::interrupted, "interrupted", "try again"},
    {ErrorCode::notRun, "not-run",
     "something before it failed, or the program was told to end; run it again after that"},
    {ErrorCode::noCamera, "no-camera", "remove the cause that is named and start the camera again"},
    {ErrorCode::internal, "internal", "this is a mistake in the program: report it"},
};

const CodeRow& rowOf(ErrorCode code)
{
    return *std::find_if(std::begin(kCodes), std::end(kCodes), [code](const CodeRow& row) { return row.code == code; });
}

}  // namespace

const char* codeWord(ErrorCode code)
{
    return rowOf(code).word;
}

std::vector<std::string> codeWords()
{
    std::vector<std::string> words;
    for (const CodeRow& row : kCodes)
    {
        words.emplace_back(row.word);
    }
    return words;
}

ErrorCode codeOf(int status)
{
    switch (status)
    {
    case services::kUnknownCommand:
        return ErrorCode::notOnDevice;
    case services::kNotSupported:
        return ErrorCode::readOnly;
    case services::kOutOfRange:
        return ErrorCode::refusedValue;
    case services::kLensBusy:
        return ErrorCode::busy;
    case services::kWrongMode:
        return ErrorCode::wrongMode;
    default:
        return ErrorCode::deviceRefused;
    }
}

ErrorCode codeOf(camera::Problem problem)
{
    switch (problem)
    {
    case camera::Problem::noFile:
        return ErrorCode::notFound;
    case camera::Problem::noPlainFile:
    case camera::Problem::tooLong:
    case camera::Problem::unreadable:
    case camera::Problem::noLanguages:
    case camera::Problem::languageNumber:
        return ErrorCode::unreadable;
    case camera::Problem::noParameters:
    case camera::Problem::noSchemeFile:
        return ErrorCode::notWritten;
    case camera::Problem::machineInfo:
    case camera::Problem::noBoard:
    case camera::Problem::noModule:
    case camera::Problem::boardFilesGone:
    case camera::Problem::noThread:
        break;
    }
    return ErrorCode::noCamera;
}

Json toJson(const Error& error)
{
    const std::string hint = error.hint.empty() ? rowOf(error.code).hint : error.hint;
    Json json = {{"code", codeWord(error.code)}, {"message", error.message}, {"hint", hint}};
    if (error.key)
    {
        json.update(keyJson(*error.key));
    }
    if (error.value)
    {
        json["value"] = *error.value;
    }
    if (error.allowed)
    {
        json["allowed"] = toJson(*error.allowed);
    }
    if (error.check)
    {
        json["check"] = *error.check;
    }
    return json;
}

}  // namespace app
