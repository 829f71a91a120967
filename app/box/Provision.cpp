#include "app/box/Provision.h"

#include <filesystem>

#include "app/Failure.h"
#include "app/box/DiskFiles.h"
#include "camera/TextFile.h"

namespace app {
namespace {

namespace fs = std::filesystem;

const char* const kFolders[] = {
    "/mnt/mtd/code/config_file",
    "/mnt/mtd/code/factory_setting",
    "/mnt/mtd/sign",
    "/mnt/mtd/log",
    "/hd1/moduleConfig/sensorConfig/style",
    "/hd1/moduleConfig/sensorConfig/styleDiversity",
    "/tmp",
};

bool holds(const fs::path& file, const std::string& content)
{
    std::error_code error;
    return fs::is_regular_file(file, error) && fs::file_size(file, error) == content.size() &&
           camera::readFile(file.string(), content.size()) == content;
}

void copyDocument(const fs::path& source, const fs::path& target, Documents documents)
{
    const std::string content = camera::readExistingFile(source.string(), camera::kDocumentMax);
    if (documents == Documents::keepExisting ? fs::exists(target) : holds(target, content))
    {
        return;
    }
    replaceFile(target.string(), content);
}

void copyFolder(const fs::path& source, const fs::path& target, Documents documents)
{
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(source, error))
    {
        if (entry.is_regular_file() && entry.path().extension() == ".xml")
        {
            copyDocument(entry.path(), target / entry.path().filename(), documents);
        }
    }
    if (error)
    {
        throw Failure("cannot read " + source.string() + ": " + error.message());
    }
}

}  // namespace

void provision(const std::string& share, const std::string& model, const std::string& root, Documents documents)
{
    for (const char* folder : kFolders)
    {
        makeFolders(root + folder);
    }
    const fs::path from = share;
    const fs::path factory = root + "/mnt/mtd/code/factory_setting";
    const fs::path config = root + "/hd1/moduleConfig";
    copyDocument(from / "models" / model / "machineinfo.ini", factory / "machineinfo.ini", documents);
    copyDocument(from / "models" / model / "moduleConfig.xml", config / "moduleConfig.xml", documents);
    copyFolder(from / "style", config / "sensorConfig/style", documents);
    copyFolder(from / "styleDiversity", config / "sensorConfig/styleDiversity", documents);
}

std::string programFile()
{
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (error)
    {
        throw Failure("cannot find out where this program lies: /proc/self/exe: " + error.message());
    }
    return program.string();
}

std::string shareFolder(const std::string& prefix)
{
    const fs::path share = fs::path(prefix) / "share/sensorcam";
    if (!fs::is_directory(share))
    {
        throw Failure("the camera's documents are missing: there is no folder " + share.string());
    }
    return share.string();
}

}  // namespace app
