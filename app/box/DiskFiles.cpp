#include "app/box/DiskFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "app/Failure.h"
#include "app/Output.h"

namespace app {
namespace {

namespace fs = std::filesystem;

// A file's contents, or the names in a folder. True too on a file system that has nothing to bring to a disk.
bool bringToDisk(const fs::path& path)
{
    const int handle = open(path.empty() ? "." : path.c_str(), O_RDONLY | O_CLOEXEC);
    if (handle < 0)
    {
        return false;
    }
    const bool isOnDisk = fsync(handle) == 0 || errno == EINVAL;
    close(handle);
    return isOnDisk;
}

// And those on the way to it. The name of a folder that was there is on the disk, unless a start was killed right after
// making it: then it is empty, for nothing is put into a folder before.
void makeFolder(const fs::path& folder, const std::string& wanted)
{
    std::error_code error;
    if (fs::is_directory(folder, error))
    {
        if (fs::is_empty(folder, error))
        {
            bringToDisk(folder.parent_path());  // what was there before any start may lie where nobody may read
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
    if (!bringToDisk(folder.parent_path()) && isNew)
    {
        throw Failure(systemError("cannot bring the folder " + wanted + " to the disk"));
    }
}

// The new file, on the disk. False too when there is one already, which may be a link.
bool writeNewFile(const fs::path& path, const std::string& content, mode_t mode)
{
    const int handle = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (handle < 0)
    {
        return false;
    }
    const bool isWritten = writeAll(handle, content) && (fsync(handle) == 0 || errno == EINVAL);
    return close(handle) == 0 && isWritten;
}

}  // namespace

void makeFolders(const std::string& path)
{
    makeFolder(path, path);
}

void replaceFile(const std::string& path, const std::string& content, mode_t mode)
{
    const fs::path staged = path + ".new";
    std::error_code error;
    fs::remove(staged, error);  // left by an interrupted start, or a link
    bool good = writeNewFile(staged, content, mode);
    if (good)
    {
        fs::rename(staged, path, error);
        good = !error && bringToDisk(fs::path(path).parent_path());
    }
    if (!good)
    {
        throw Failure("cannot write " + path);
    }
}

}  // namespace app
