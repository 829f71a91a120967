#include "app/Failure.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "SensorPaths.h"
#include "app/Output.h"

namespace app {

std::string failureText(const camera::Failure& failure)
{
    const std::string& subject = failure.subject();
    switch (failure.problem())
    {
    case camera::Problem::machineInfo:
        return subject + " cannot be read or names no device type";
    case camera::Problem::noBoard:
        return subject + " has no entry for the board " + failure.detail();
    case camera::Problem::noModule:
        return subject + " names sensor module " + failure.detail() + ", which does not exist";
    case camera::Problem::noParameters:
        return std::string(
                   "the camera has no parameters: the style documents in /hd1/moduleConfig/sensorConfig could not "
                   "be read, or not merged into ") +
               sensorpaths::kMergedStyleFile + "; is the disk full?";
    case camera::Problem::noSchemeFile:
        return "factory values are in force, but " + subject + " could not be made; is the disk full?";
    case camera::Problem::noLanguages:
        return "cannot read the languages in " + subject;
    case camera::Problem::languageNumber:
        return "a language without a number in " + subject;
    case camera::Problem::noFile:
        return "cannot read " + subject + ": there is no such file";
    case camera::Problem::noPlainFile:
        return "cannot read " + subject + ": it is not a regular file";
    case camera::Problem::tooLong:
        return "cannot read " + subject + ": it is longer than " + failure.detail() + " bytes";
    case camera::Problem::unreadable:
        return "cannot read " + subject + ": " + failure.detail();
    case camera::Problem::noThread:
        return "the system cannot start another thread";
    case camera::Problem::boardFilesGone:
        return std::string("the board's files no longer name this camera (") + sensorpaths::kMachineInfoFile + ", " +
               sensorpaths::kModuleConfigFile + "): the camera is down. It starts again as a new one";
    }
    return failure.what();
}

void reportFailure(const std::string& text, bool json, ErrorCode code)
{
    Answers answers(STDOUT_FILENO);
    if (json)
    {
        const Json document = {{"ok", false}, {"error", toJson(Error{code, text})}};
        answers.print(jsonLine(document));
    }
    if (!json || answers.broken())
    {
        notice(text);
    }
}

void notice(const std::string& text)
{
    writeAll(STDERR_FILENO, printable("sensorcam: " + text + "\n"));
}

std::string systemError(const std::string& what)
{
    return what + ": " + std::strerror(errno);
}

}  // namespace app
