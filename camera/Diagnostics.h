#pragma once

#include <optional>
#include <string>
#include <vector>

// The files by which the library's own messages are switched and kept. Thread-safe. Failure where such a file is none
// that can be read.
namespace camera {

// The level as the library reads it from the marker file, at which it looks before every message; nothing without one,
// which is level 1: assertions only.
std::optional<int> debugLevel();

// Whether a failed assertion of the library ends the process.
bool assertionsEnd();

// What is not given stays as it is. False, with errno, when the file could not be written.
bool setDiagnostics(std::optional<int> level, std::optional<bool> assertionsEnd = {});

// Removes the file. False, with errno, when it is still there.
bool clearDebugLevel();

// The error log with its rotated predecessors, oldest line first.
std::vector<std::string> errorLog();

// A line to the error log, under the same limits as the library's own.
void logError(const std::string& line);

// What comes to the error log from now on. Reentrant.
class LogTail
{
public:
    LogTail();

    // The lines since the last call; of very many the last.
    std::vector<std::string> take();

private:
    std::uintmax_t seen_;  // bytes
};

}  // namespace camera
