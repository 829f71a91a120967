#include "tests/support/PrivateTree.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/Sandbox.h"
#include "tests/support/TraceMark.h"

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr size_t kTimeStampLength = 20;  // "2026-11-20 08:00:00 "

// While it lives, this thread is the host that lays out files, and not what is tested.
class FixtureMark
{
public:
    FixtureMark() { traceMark("fixture-begin"); }
    ~FixtureMark() { traceMark("fixture-end"); }
    FixtureMark(const FixtureMark&) = delete;
    FixtureMark& operator=(const FixtureMark&) = delete;
};

[[noreturn]] void fail(const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    std::abort();
}

void requirePrivateTree()
{
    static const bool inside = insidePrivateTree();
    if (!inside)
    {
        fail("not inside the private file tree: nothing is touched");
    }
}

}  // namespace

void wipeTree()
{
    requirePrivateTree();
    const FixtureMark mark;
    fs::remove_all("/mnt/mtd");
    fs::remove_all(kModuleFolder);
    fs::remove(kMergedStyleFile);
    for (const char* folder : kFolders)
    {
        fs::create_directories(folder);
    }
}

bool fileExists(const std::string& path)
{
    return fs::exists(path);
}

void removeFile(const std::string& path)
{
    requirePrivateTree();
    const FixtureMark mark;
    fs::remove(path);
}

void writeFile(const std::string& path, const std::string& bytes)
{
    requirePrivateTree();
    const FixtureMark mark;
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    stream.close();
    if (!stream)
    {
        fail("cannot write " + path);
    }
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        fail("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<std::string> filesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::map<std::string, std::string> savedFiles()
{
    std::map<std::string, std::string> files;
    for (const std::string& file : filesIn(kConfigFolder))
    {
        files[file] = readFile(std::string(kConfigFolder) + "/" + file);
    }
    return files;
}

void setDebug(int level, std::optional<int> assertSwitch)
{
    // Renamed into place: a reader on another thread sees the old file or the new one.
    const std::string staged = std::string(kDebugMarkerFile) + ".new";
    writeFile(staged,
              std::to_string(level) + "\n" + (assertSwitch ? std::to_string(*assertSwitch) + "\n" : std::string()));
    const FixtureMark mark;
    fs::rename(staged, kDebugMarkerFile);
}

void removeDebug()
{
    removeFile(kDebugMarkerFile);
}

std::vector<LogRecord> errorLog()
{
    std::vector<LogRecord> records;
    for (const char* suffix : {".2", ".1", ""})
    {
        std::ifstream stream(std::string(kErrorLogFile) + suffix);
        std::string line;
        while (std::getline(stream, line))
        {
            const size_t end = line.find("] ", kTimeStampLength);
            if (end == std::string::npos)
            {
                fail("a log record without prefix: " + line);
            }
            records.push_back({line.substr(kTimeStampLength, end + 1 - kTimeStampLength), line.substr(end + 2)});
        }
    }
    return records;
}

void PrivateTreeTest::SetUp()
{
    wipeTree();
}

void PrivateTreeTest::TearDown()
{
    wipeTree();
}

}  // namespace support
