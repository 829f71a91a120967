#pragma once

#include <string>
#include <vector>

// The private file tree: the system read-only, the camera's /mnt, /hd1 and /tmp from its state folder.
namespace app {

// Where the program finds itself and its state folder inside the tree.
constexpr char kInsidePrefix[] = "/app";
constexpr char kInsideState[] = "/state";

// The command that runs program (a path below prefix on the real machine) with arguments inside the tree of
// stateFolder; bubblewrap writes what it started as a document to infoDescriptor.
// Tries first what this machine allows. Throws Failure, with the remedy, when there is no way.
std::vector<std::string> sandboxCommand(const std::string& stateFolder, const std::string& program,
                                        const std::vector<std::string>& arguments, int infoDescriptor);

}  // namespace app
