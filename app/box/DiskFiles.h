#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "camera/TextFile.h"

// Files and folders that are on the disk for good when these return: what a user saves into a folder is lost with it
// if a power cut takes the folder back. Host thread only. Failure when the disk refuses.
namespace app {

using camera::kDocumentMax;

// The folder and those on the way to it. Failure too if it is a file.
void makeFolders(const std::string& path);

// A reader, and the next start after a power cut, finds the old file or the new one, whole. A link in its place is
// replaced, not followed.
void replaceFile(const std::string& path, const std::string& content);

// As camera::readFile and readExistingFile, with a Failure in words.
std::optional<std::string> readFile(const std::string& path, std::size_t longest);
std::string readExistingFile(const std::string& path, std::size_t longest);

}  // namespace app
