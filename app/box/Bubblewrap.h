#pragma once

#include <string>
#include <vector>

// The private file tree: programs and libraries read-only, the camera's /mnt, /hd1 and /tmp from its state folder, a
// /dev and a /proc of its own.
namespace app {

// Where the program finds itself, its state folder and the folder of its users' file inside the tree.
constexpr char kInsidePrefix[] = "/app";
constexpr char kInsideState[] = "/state";
constexpr char kInsideUsers[] = "/users";

// What the tree shows of the state folder.
enum class Tree
{
    ofModel,   // /mnt, /hd1 and /tmp are folders in it
    ofDevice,  // /mnt and /hd1 are links to those of its documents in force, /state/current; /tmp is a folder in it
};

// The command that runs program (an absolute path on the real machine) with arguments inside the tree of stateFolder.
// Tries first what this machine allows. Throws Failure, with the remedy, when there is no way.
// usersFolder: read-only inside, whatever changes in it outside; empty: none.
std::vector<std::string> sandboxCommand(const std::string& stateFolder, const std::string& program,
                                        const std::vector<std::string>& arguments, const std::string& usersFolder = "",
                                        Tree tree = Tree::ofModel);

// True in a tree that sandboxCommand, or a service manager, made: what the camera writes to is its state folder's.
bool insideSandbox(Tree tree);

// True where the links of Tree::ofDevice are, whether they lead somewhere yet or not.
bool hasDeviceLinks();

}  // namespace app
