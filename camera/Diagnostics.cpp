#include "camera/Diagnostics.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include "KSFile.h"
#include "KSLogger.h"
#include "SensorDebug.h"
#include "SensorPaths.h"
#include "camera/TextFile.h"

namespace camera {
namespace {

using sensorpaths::kDebugMarkerFile;
using sensorpaths::kErrorLogFile;

constexpr std::size_t kMarkerMax = 4096;  // bytes; two numbers
constexpr int kErrorLogSize = 10240;      // of the error log and how many of them there are, as the library has it
constexpr int kErrorLogCount = 3;
constexpr std::size_t kLogMax = 1024 * 1024;  // bytes; the library begins a new one much earlier

constexpr std::uintmax_t kTailMax = 64 * 1024;  // bytes of new lines at once

// 0 without one.
std::uintmax_t logSize()
{
    std::error_code error;
    const bool isFile = std::filesystem::is_regular_file(kErrorLogFile, error);
    const std::uintmax_t size = isFile ? std::filesystem::file_size(kErrorLogFile, error) : 0;
    return error ? 0 : size;
}

std::mutex writing;  // of the marker file: its second line is read and written back

std::vector<std::string> linesOf(const std::string& path, std::size_t longest)
{
    std::istringstream stream(readFile(path, longest).value_or(""));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

std::optional<int> debugLevel()
{
    if (!readFile(kDebugMarkerFile, kMarkerMax))
    {
        return std::nullopt;
    }
    updateDebugLevel();
    return __atomic_load_n(&g_nDebugLevel, __ATOMIC_RELAXED);
}

bool assertionsEnd()
{
    updateDebugLevel();
    return __atomic_load_n(&g_bEnAssert, __ATOMIC_RELAXED);
}

bool setDiagnostics(std::optional<int> level, std::optional<bool> assertionsEnd)
{
    const std::lock_guard<std::mutex> lock(writing);
    std::vector<std::string> lines = linesOf(kDebugMarkerFile, kMarkerMax);
    lines.resize(std::max<std::size_t>(lines.size(), assertionsEnd ? 2 : 1));
    lines[0] = level ? std::to_string(*level) : lines[0];
    if (assertionsEnd)
    {
        lines[1] = *assertionsEnd ? "1" : "0";
    }
    const std::string text = lines[0] + "\n" + (lines.size() > 1 ? lines[1] + "\n" : "");
    KSFile file;
    return file.open(kDebugMarkerFile, KSFile::modeWrite | KSFile::modeTruncate) &&
           file.write(text.data(), static_cast<unsigned>(text.size())) >= 0 && file.close();
}

bool clearDebugLevel()
{
    const std::lock_guard<std::mutex> lock(writing);
    return std::remove(kDebugMarkerFile) == 0 || !KSFile::exists(kDebugMarkerFile);
}

std::vector<std::string> errorLog()
{
    std::vector<std::string> lines;
    for (const char* suffix : {".2", ".1", ""})
    {
        const std::vector<std::string> more = linesOf(kErrorLogFile + std::string(suffix), kLogMax);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    return lines;
}

void logError(const std::string& line)
{
    KSLogger logger;
    logger.init(kErrorLogFile, kErrorLogSize, kErrorLogCount);
    logger.writeLog("[sensor warn]", line.c_str());
}

LogTail::LogTail() : seen_(logSize()) {}

std::vector<std::string> LogTail::take()
{
    const std::uintmax_t size = logSize();
    if (size < seen_)
    {
        seen_ = 0;  // the library has begun a new one
    }
    if (size == seen_)
    {
        return {};
    }
    const std::uintmax_t begin = size - seen_ > kTailMax ? size - kTailMax : seen_;
    std::ifstream file(kErrorLogFile, std::ios::binary);
    std::string text(static_cast<std::size_t>(size - begin), '\0');
    file.seekg(static_cast<std::streamoff>(begin));
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    text.erase(text.rfind('\n') + 1);  // a line that is being written comes next time
    seen_ = begin + text.size();
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace camera
