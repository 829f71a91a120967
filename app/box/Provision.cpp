#include "app/box/Provision.h"

#include <filesystem>

#include "SensorPaths.h"
#include "app/Failure.h"
#include "app/box/DiskFiles.h"
#include "camera/TextFile.h"

namespace app {
namespace {

namespace fs = std::filesystem;

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
    makeFolders(root + "/tmp");
    for (const char* folder : sensorpaths::kFolders)
    {
        makeFolders(root + folder);
    }
    const fs::path from = share;
    copyDocument(from / "models" / model / "machineinfo.ini", root + sensorpaths::kMachineInfoFile, documents);
    copyDocument(from / "models" / model / "moduleConfig.xml", root + sensorpaths::kModuleConfigFile, documents);
    copyFolder(from / "style", root + sensorpaths::kStyleFolder, documents);
    copyFolder(from / "styleDiversity", root + sensorpaths::kDiversityFolder, documents);
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
