#include "DiskFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Failure.h"

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

bool writeFile(const fs::path& path, const std::string& content)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    return static_cast<bool>(stream);
}

}  // namespace

void makeFolders(const std::string& path)
{
    std::error_code error;
    fs::path made;
    for (const fs::path& part : fs::path(path))
    {
        made /= part;
        const bool isNew = fs::create_directory(made, error);
        if (error || !fs::is_directory(made))
        {
            throw Failure("cannot make the folder " + path + ": " + (error ? error.message() : "it is a file"));
        }
        // Also the name of a folder that was there: a start that was killed may have made it. What was there before any
        // start may lie in a folder that must not be read.
        if (!bringToDisk(made.parent_path()) && isNew)
        {
            throw Failure(systemError("cannot bring the folder " + path + " to the disk"));
        }
    }
}

void replaceFile(const std::string& path, const std::string& content)
{
    const fs::path staged = path + ".new";
    std::error_code error;
    fs::remove(staged, error);  // left by an interrupted start, or a link
    bool good = writeFile(staged, content) && bringToDisk(staged);
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
