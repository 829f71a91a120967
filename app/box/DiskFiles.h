#pragma once

#include <cstddef>
#include <optional>
#include <string>

// Files and folders that are on the disk for good when these return: what a user saves into a folder is lost with it
// if a power cut takes the folder back. Host thread only. Failure when the disk refuses.
namespace app {

constexpr std::size_t kDocumentMax = 4 * 1024 * 1024;  // bytes; what is longer does not get through to the XML parser

// The folder and those on the way to it. Failure too if it is a file.
void makeFolders(const std::string& path);

// A reader, and the next start after a power cut, finds the old file or the new one, whole. A link in its place is
// replaced, not followed.
void replaceFile(const std::string& path, const std::string& content);

// The whole file; nothing when there is none. Failure too when it is no plain file, or longer than that many bytes:
// neither a named pipe nor an endless file holds the program up.
std::optional<std::string> readFile(const std::string& path, std::size_t longest);

// The same of a file that must be there.
std::string readExistingFile(const std::string& path, std::size_t longest);

}  // namespace app
