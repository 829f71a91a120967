#pragma once

#include <string>

// What a camera must not find in its state folder. Host thread only.
namespace app {

// The sockets of a running camera, in its state folder: for HTTP, and for sessions of other processes.
constexpr char kHttpSocketFile[] = "camera.socket";
constexpr char kSessionSocketFile[] = "shell.socket";

// A symbolic link in the state folder of a device's camera, which leads to its documents in force: generations/NUMBER.
constexpr char kCurrentLink[] = "current";

// Throws Failure unless all below folder, at any depth, is a file or folder of this user's that leads nowhere else:
// neither a symbolic link but kCurrentLink nor one of several names of a file, neither a named pipe nor a device nor a socket but those of
// a camera, of no other owner. Nor may everybody put something into the folder or one of those in it, or a group if the folder is
// another user's, and it may be neither deeper nor fuller than a camera's can be.
void requireOwnFiles(const std::string& folder);

// The same of one file or folder. Nothing to say of one that is missing.
void requireOwnFile(const std::string& path);

}  // namespace app
