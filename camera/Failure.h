#pragma once

#include <stdexcept>
#include <string>

namespace camera {

enum class Problem
{
    machineInfo,     // subject: the file that cannot be read or names no device type
    noBoard,         // subject: the file without an entry for the board; detail: the board
    noModule,        // subject: the file that names a sensor module that does not exist; detail: its number
    noParameters,    // nothing came out of the style documents
    noSchemeFile,    // subject: the scheme file that a factory reset could not make
    noLanguages,     // subject: the index that cannot be read
    languageNumber,  // subject: the index with a language without a number
    noFile,          // subject: what is not there
    noPlainFile,     // subject: a folder, a device, a named pipe
    tooLong,         // subject: the file; detail: the most bytes that it may have
    unreadable,      // subject: the file; detail: what the system says
    noThread,        // the system has none to give
    boardFilesGone,  // a factory reset found no camera in the board's files: it is down
};

// Why there is no camera, or none any more. what() is for logs; a front end words its own.
class Failure : public std::runtime_error
{
public:
    explicit Failure(Problem problem, const std::string& subject = "", const std::string& detail = "")
        : std::runtime_error("camera problem " + std::to_string(static_cast<int>(problem)) + " " + subject),
          problem_(problem),
          subject_(subject),
          detail_(detail)
    {
    }

    Problem problem() const { return problem_; }
    const std::string& subject() const { return subject_; }
    const std::string& detail() const { return detail_; }

private:
    Problem problem_;
    std::string subject_;
    std::string detail_;
};

}  // namespace camera
