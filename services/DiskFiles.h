#pragma once

#include <sys/types.h>

#include <string>

// What is on the disk for good when these return. False, with errno, when the disk refuses. Reentrant.
namespace services {

// A file's contents, or the names in a folder. True too on a file system that has nothing to bring to a disk.
bool bringToDisk(const std::string& path);

// The contents of a new file; its name is not on the disk. False too when there is one already, which may be a link.
// mode: the umask takes from it, here and below.
bool writeNewFile(const std::string& path, const std::string& content, mode_t mode = 0666);

// A reader, and the next start after a power cut, finds the old file or the new one, whole. A link in its place is
// replaced, not followed.
bool replaceFile(const std::string& path, const std::string& content, mode_t mode = 0666);

}  // namespace services
