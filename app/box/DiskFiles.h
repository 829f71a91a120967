#pragma once

#include <sys/types.h>

#include <string>

// Files and folders that are on the disk for good when these return: what a user saves into a folder is lost with it
// if a power cut takes the folder back. Host thread only. Failure when the disk refuses.
namespace app {

// The folder and those on the way to it. Failure too if it is a file.
void makeFolders(const std::string& path);

// A reader, and the next start after a power cut, finds the old file or the new one, whole. A link in its place is
// replaced, not followed. mode: the umask takes from it.
void replaceFile(const std::string& path, const std::string& content, mode_t mode = 0666);

}  // namespace app
