#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SensorPaths.h"

// The camera's file system as a test sees it. Every path here is one of the library's own absolute paths, which
// lie in the private tree (Sandbox.h); outside of it everything below ends the program.
namespace support {

using namespace sensorpaths;

// Empties and recreates the camera's folders, and removes what the library leaves in /tmp.
void wipeTree();

bool fileExists(const std::string& path);
void removeFile(const std::string& path);

// Whole files, byte for byte; a failure ends the program. Folders on the way are made.
void writeFile(const std::string& path, const std::string& bytes);
std::string readFile(const std::string& path);

// Names in a folder, sorted.
std::vector<std::string> filesIn(const std::string& folder);

// The scheme files and the version file by name.
std::map<std::string, std::string> savedFiles();

// The marker file's two lines. Without the second argument the file has one line.
void setDebug(int level, std::optional<int> assertSwitch = std::nullopt);
void removeDebug();

struct LogRecord
{
    std::string prefix;
    std::string text;
};

// The records of the error log and its rotated predecessors, oldest first, without time stamps and line ends.
// Only for texts of one line.
std::vector<LogRecord> errorLog();

// Starts every test with an empty camera and leaves nothing behind.
class PrivateTreeTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
};

}  // namespace support
