#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "KSFile.h"
#include "KSLogger.h"
#include "services/checks/Parts.h"
#include "sy_system.h"

namespace portcheck {
namespace {

namespace fs = std::filesystem;

using FolderCheck = std::string (*)(Watch& watch, const fs::path& folder);

constexpr unsigned char kReplace = KSFile::modeWrite | KSFile::modeTruncate;
constexpr char kOld[] = "the old contents, the longer ones";
constexpr char kNew[] = "the new contents";
constexpr std::size_t kLarge = 1024 * 1024;
constexpr int kWriters = 4;
constexpr int kRecords = 50;
constexpr int kLogSize = 1024;
constexpr int kShellSeconds = 2;

// Files as the checks themselves see them, without the framework.
std::string contentsOf(const fs::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void makeFile(const fs::path& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
}

std::size_t filesIn(const fs::path& folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

int count(const std::string& text)
{
    return static_cast<int>(text.size());
}

bool openFile(Watch& watch, KSFile& file, const fs::path& path, unsigned char mode)
{
    const Step step(watch, "KSFile::open");
    return file.open(path.c_str(), mode);
}

int writeText(Watch& watch, KSFile& file, const std::string& text)
{
    const Step step(watch, "KSFile::write");
    return file.write(text.data(), static_cast<unsigned>(text.size()));
}

bool closeFile(Watch& watch, KSFile& file)
{
    const Step step(watch, "KSFile::close");
    return file.close();
}

// ---- files -------------------------------------------------------------------------------------------------

std::string checkWhole(Watch& watch, const fs::path& folder)
{
    const std::string large(kLarge, 'x');
    KSFile out;
    const bool opened = openFile(watch, out, folder / "whole", kReplace);
    const int written = writeText(watch, out, large);
    if (!opened || written != count(large) || !closeFile(watch, out))
    {
        return "write gave " + std::to_string(written) + ", or open or close was false";
    }
    KSFile in;
    openFile(watch, in, folder / "whole", KSFile::modeRead);
    std::string read(kLarge + 1, '\0');
    const Step step(watch, "KSFile::read");
    const INT64 length = in.getLength();
    const int got = in.read(read.data(), static_cast<unsigned>(read.size()));
    read.resize(static_cast<std::size_t>(std::max(got, 0)));
    return length == count(large) && read == large && contentsOf(folder / "whole") == large
               ? ""
               : "length " + std::to_string(length) + ", read gave " + std::to_string(got);
}

std::string checkStaged(Watch& watch, const fs::path& folder)
{
    makeFile(folder / "scheme", kOld);
    KSFile file;
    openFile(watch, file, folder / "scheme", kReplace);
    writeText(watch, file, kNew);
    return contentsOf(folder / "scheme") == kOld
               ? ""
               : "the old contents are gone before close: a power cut would tear the file";
}

std::string checkReplaced(Watch& watch, const fs::path& folder)
{
    const fs::path own = folder / "replaced";
    fs::create_directory(own);
    makeFile(own / "scheme", kOld);
    KSFile file;
    openFile(watch, file, own / "scheme", kReplace);
    writeText(watch, file, kNew);
    if (!closeFile(watch, file))
    {
        return "close is false";
    }
    const std::size_t files = filesIn(own);
    return contentsOf(own / "scheme") != kNew ? "the contents are \"" + contentsOf(own / "scheme") + "\""
           : files != 1                       ? std::to_string(files) + " files are there instead of one"
                                              : "";
}

std::string checkUnfinished(Watch& watch, const fs::path& folder)
{
    const fs::path own = folder / "unfinished";
    fs::create_directory(own);
    makeFile(own / "scheme", kOld);
    auto file = std::make_unique<KSFile>();
    openFile(watch, *file, own / "scheme", kReplace);
    writeText(watch, *file, kNew);
    {
        const Step step(watch, "the destruction of a KSFile");
        file.reset();
    }
    return contentsOf(own / "scheme") == kOld ? "" : "the contents are \"" + contentsOf(own / "scheme") + "\"";
}

std::string checkNotOpen(Watch& watch, const fs::path& folder)
{
    Findings findings;
    KSFile file;
    char byte = 0;
    std::string line = "?";
    const Step step(watch, "a KSFile that is not open");
    const auto expect = [&](bool isGood, const char* finding) {
        if (!isGood)
        {
            findings.add(finding);
        }
    };
    expect(!file.open((folder / "missing").c_str(), KSFile::modeRead), "open of a missing file is true");
    expect(file.read(&byte, 1) == -1, "read is not -1");
    expect(file.write(&byte, 1) == -1, "write is not -1");
    expect(file.getLength() == 0, "getLength is not 0");
    expect(file.getFileHandle() == -1, "getFileHandle is not -1");
    expect(!file.ReadOneLine(line), "ReadOneLine is true");
    expect(!file.close(), "close is true");
    return findings.text();
}

std::string checkExists(Watch& watch, const fs::path& folder)
{
    Findings findings;
    makeFile(folder / "there", "");
    std::error_code noLinks;
    fs::create_symlink("loop", folder / "loop", noLinks);
    const Step step(watch, "KSFile::exists");
    if (!KSFile::exists((folder / "there").c_str()))
    {
        findings.add("false for an empty file");
    }
    if (KSFile::exists((folder / "missing").c_str()))
    {
        findings.add("true where nothing is");
    }
    if (!noLinks && !KSFile::exists((folder / "loop").c_str()))
    {
        findings.add("false where it cannot be found out, a link to itself");
    }
    return findings.text();
}

std::string checkFullDisk(Watch& watch, const fs::path& folder)
{
    std::error_code none;
    fs::create_symlink("/dev/full", folder / "full", none);
    if (none || !fs::exists("/dev/full"))
    {
        return "";
    }
    KSFile file;
    openFile(watch, file, folder / "full", kReplace);
    const bool written = writeText(watch, file, kNew) == count(kNew);
    return written && closeFile(watch, file) ? "write and close on /dev/full succeed" : "";
}

std::string checkLines(Watch& watch, const fs::path& folder)
{
    makeFile(folder / "lines", "one\ntwo\r\n\nlast");
    KSFile file;
    openFile(watch, file, folder / "lines", KSFile::modeRead);
    std::string lines;
    std::string line;
    const Step step(watch, "KSFile::ReadOneLine");
    for (int i = 0; i < 5 && file.ReadOneLine(line); ++i)
    {
        lines += "[" + line + "]";
    }
    return lines == "[one][two][][last]" ? "" : "lines " + lines;
}

// ---- the log -----------------------------------------------------------------------------------------------

std::string checkRecord(Watch& watch, const fs::path& folder)
{
    KSLogger logger;
    const Step step(watch, "KSLogger::writeLog");
    const bool isReady = logger.init((folder / "log").c_str(), kLogSize, 2);
    const int bytes = logger.writeLog("[port]", "checked");
    const std::string log = contentsOf(folder / "log");
    const bool isLine = log.find("[port] checked\n") != std::string::npos;
    return isReady && isLine && bytes == count(log) ? ""
                                                    : "writeLog gave " + std::to_string(bytes) + ", \"" + log + "\"";
}

std::string checkTogether(Watch& watch, const fs::path& folder)
{
    std::vector<std::thread> writers;
    std::atomic<int> written{0};  // a record may be lost to the others' lock, and then writeLog says so
    for (int writer = 0; writer < kWriters; ++writer)
    {
        writers.emplace_back([&] {
            for (int i = 0; i < kRecords; ++i)
            {
                const Step step(watch, "KSLogger::writeLog");
                KSLogger logger;
                logger.init((folder / "shared").c_str(), static_cast<int>(kLarge), 2);
                written += logger.writeLog("[port]", "a record from one of several threads") >= 0 ? 1 : 0;
            }
        });
    }
    for (std::thread& writer : writers)
    {
        writer.join();
    }
    std::istringstream log(contentsOf(folder / "shared"));
    int whole = 0;
    int torn = 0;
    for (std::string line; std::getline(log, line);)
    {
        const std::size_t record = line.find("[port] a record from one of several threads");
        const bool isWhole = record != std::string::npos && line.find("[port]", record + 1) == std::string::npos;
        const bool tellsOfLost = record == std::string::npos && line.find("lost records: ") != std::string::npos;
        whole += isWhole ? 1 : 0;
        torn += isWhole || tellsOfLost ? 0 : 1;
    }
    return whole == written && whole > 0 && torn == 0
               ? ""
               : std::to_string(whole) + " of " + std::to_string(written) + " records are whole";
}

std::string checkLogSize(Watch& watch, const fs::path& folder)
{
    const fs::path own = folder / "rotated";
    fs::create_directory(own);
    KSLogger logger;
    const Step step(watch, "KSLogger::writeLog");
    logger.init((own / "log").c_str(), kLogSize, 2);
    for (int i = 0; i < kLogSize / 10; ++i)
    {
        logger.writeLog("[port]", "a record to fill the log");
    }
    Findings findings;
    for (const fs::directory_entry& entry : fs::directory_iterator(own))
    {
        if (entry.file_size() > static_cast<std::uintmax_t>(kLogSize))
        {
            findings.add(entry.path().filename().string() + " has " + std::to_string(entry.file_size()) + " bytes");
        }
    }
    if (filesIn(own) > 2)
    {
        findings.add(std::to_string(filesIn(own)) + " files");
    }
    return findings.text();
}

// ---- the shell ---------------------------------------------------------------------------------------------

std::string checkWildcards(Watch& watch, const fs::path& folder)
{
    makeFile(folder / "sensor0.cfg", "");
    makeFile(folder / "sensor1.cfg", "");
    makeFile(folder / "snsversion.cfg", "");
    const std::string command = "cd '" + folder.string() + "' && rm -f sensor*.cfg";
    const Step step(watch, "sy_system(\"rm\")");
    const int status = sy_system(command.c_str(), kShellSeconds);
    const bool isGone = !fs::exists(folder / "sensor0.cfg") && !fs::exists(folder / "sensor1.cfg");
    return status == 0 && isGone && fs::exists(folder / "snsversion.cfg")
               ? ""
               : "\"rm -f sensor*.cfg\" gave " + std::to_string(status) +
                     (isGone ? " and removed more" : " and left them");
}

struct Entry
{
    const char* part;  // null for the part of the entry before
    const char* expected;
    FolderCheck check;
};

constexpr Entry kEntries[] = {
    {"files", "KSFile writes and reads a whole array in one call", checkWhole},
    {nullptr, "KSFile opened with modeTruncate leaves the old file in place until close", checkStaged},
    {nullptr, "KSFile::close puts the new file in place, whole and alone", checkReplaced},
    {nullptr, "a KSFile destroyed without close leaves the old file", checkUnfinished},
    {nullptr, "a KSFile that is not open gives -1, of its length 0", checkNotOpen},
    {nullptr, "KSFile::exists is false only where nothing is", checkExists},
    {nullptr, "KSFile tells of a full disk", checkFullDisk},
    {nullptr, "KSFile::ReadOneLine reads every line without its end", checkLines},
    {"log", "KSLogger writes a record and gives its bytes", checkRecord},
    {nullptr, "KSLogger keeps the records of several threads whole", checkTogether},
    {nullptr, "KSLogger keeps its files within their size and number", checkLogSize},
    {"shell and files", "sy_system expands wildcards", checkWildcards},
};

}  // namespace

void checkFolder(Report& report, const Options& options)
{
    const fs::path folder = fs::path(options.folder) / "portcheck-files";
    std::error_code failure;
    const bool isMade = !options.folder.empty() && fs::create_directory(folder, failure);
    for (const Entry& entry : kEntries)
    {
        if (entry.part != nullptr)
        {
            report.begin(entry.part);
        }
        if (options.folder.empty())
        {
            report.leaveOut(entry.expected, "no folder was given, --folder");
        }
        else if (isMade)
        {
            report.check(entry.expected, [&entry, folder](Watch& watch) { return entry.check(watch, folder); });
        }
        else
        {
            report.check(entry.expected,
                         [folder](Watch&) { return folder.string() + " is there already, or cannot be made"; });
        }
    }
    if (isMade)
    {
        fs::remove_all(folder, failure);
    }
}

}  // namespace portcheck
