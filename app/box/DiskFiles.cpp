#include "app/box/DiskFiles.h"

#include <filesystem>

#include "app/Failure.h"
#include "services/DiskFiles.h"

namespace app {
namespace {

namespace fs = std::filesystem;

// And those on the way to it. The name of a folder that was there is on the disk, unless a start was killed right after
// making it: then it is empty, for nothing is put into a folder before.
void makeFolder(const fs::path& folder, const std::string& wanted)
{
    std::error_code error;
    if (fs::is_directory(folder, error))
    {
        if (fs::is_empty(folder, error))
        {
            // Whatever comes of it: what was there before any start may lie where nobody may read.
            services::bringToDisk(folder.parent_path());
        }
        return;
    }
    if (folder.has_parent_path())
    {
        makeFolder(folder.parent_path(), wanted);
    }
    const bool isNew = fs::create_directory(folder, error);
    if (error || !fs::is_directory(folder))
    {
        throw Failure("cannot make the folder " + wanted + ": " + (error ? error.message() : "it is a file"));
    }
    if (!services::bringToDisk(folder.parent_path()) && isNew)
    {
        throw Failure(systemError("cannot bring the folder " + wanted + " to the disk"));
    }
}

}  // namespace

void makeFolders(const std::string& path)
{
    makeFolder(path, path);
}

void replaceFile(const std::string& path, const std::string& content, mode_t mode)
{
    if (!services::replaceFile(path, content, mode))
    {
        throw Failure("cannot write " + path);
    }
}

}  // namespace app
