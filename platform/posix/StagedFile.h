#pragma once

#include <string>

namespace host {

// Creates and locks a file beside target and puts its path into staged. What crashed writers left under any of its
// names goes; a name that a living writer holds does not, and the next one is taken. target is not a link.
// access: O_WRONLY or O_RDWR. -1 with errno on failure, also on a file system without locks; nothing is left then.
// The lock ends when the descriptor is closed.
int createStaged(const std::string& target, int access, std::string& staged);

// Puts staged, open as handle, in target's place, on the disk. False on failure: the old target stays and staged
// is gone, unless the last step alone failed, bringing the directory to the disk: then the new file is in place.
bool commitStaged(int handle, const std::string& staged, const std::string& target);

// Puts the file at the end of a chain of links into target, which need not exist; path itself when it is no link.
// False when the chain has no end or cannot be read.
bool followLinks(const std::string& path, std::string& target);

// True when path still names the open file.
bool isStillAt(int handle, const std::string& path);

}  // namespace host
