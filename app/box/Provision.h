#pragma once

#include <string>

// Lays the documents of a model out in a camera's file tree. Host thread only.
namespace app {

enum class Documents
{
    refresh,      // replace those that differ: a private tree follows the installed documents
    keepExisting  // write only what is missing: a board has documents of its own
};

// Makes below root the folders that the library and its host write to, and copies the model's documents from
// share. Scheme files, the marker file and logs are never touched. Throws Failure.
void provision(const std::string& share, const std::string& model, const std::string& root, Documents documents);

// The documents' folder of the program that is installed below prefix: <prefix>/share/sensorcam. Throws Failure when it
// is not there.
std::string shareFolder(const std::string& prefix);

// The program file's absolute path. Throws Failure.
std::string programFile();

}  // namespace app
