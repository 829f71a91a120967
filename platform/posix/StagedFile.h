#pragma once

#include <string>

namespace host {

// Creates and locks a file beside target and puts its path into staged. What crashed writers left under the name
// goes; a name that a living writer holds does not, and the next one is taken. target is no link.
// access: O_WRONLY or O_RDWR. -1 with errno on failure. The lock ends when the descriptor is closed.
int createStaged(const std::string& target, int access, std::string& staged);

// Puts staged, open as handle, in target's place, on the disk. False on failure: the old target stays and staged
// is gone, unless the last step alone failed, bringing the directory to the disk.
bool commitStaged(int handle, const std::string& staged, const std::string& target);

// The file at the end of a chain of links; path itself when it is no link or the link leads nowhere.
std::string followLinks(const std::string& path);

// True when path still names the open file.
bool isStillAt(int handle, const std::string& path);

}  // namespace host
