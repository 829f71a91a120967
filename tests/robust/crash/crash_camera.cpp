// A camera on the files it finds, without a test framework: what the crash runner records, breaks off and starts
// again. It runs the shared library as a host would, on the simulated service and a clock that stands still.
//
// Every action prints one JSON object, a line, on standard output. What the library prints is counted and, where it
// is a report, repeated in that object.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "HostPlatform.h"
#include "SensorPaths.h"
#include "sensordll.h"
#include "services/RecordingVideo.h"
#include "tests/support/Simulator.h"
#include "tests/support/TraceMark.h"

namespace {

using support::traceMark;

using namespace sensorpaths;

constexpr std::uintmax_t kErrorLogSize = 10240;
constexpr int kErrorLogCount = 3;
constexpr char kFiller[] = "/mnt/filler";
constexpr char kReport[] = "~~~Assertion failed.";
constexpr int kUnknownKey = 4000000;
constexpr int kBrightnessValues = 101;
constexpr int kReportsMax = 1000;  // more than a log holds

enum ExitStatus
{
    kExitOk = 0,
    kExitUsage = 2,
    kExitNoDocuments = 3,
};

// ---- output ------------------------------------------------------------------------------------------------

// Keeps what the library prints away from the answer. Host thread only.
class LibraryOutput
{
public:
    LibraryOutput() : answers_(fdopen(dup(STDOUT_FILENO), "w")), captured_(memfd_create("library", MFD_CLOEXEC))
    {
        if (answers_ == nullptr || captured_ < 0 || dup2(captured_, STDOUT_FILENO) < 0)
        {
            std::perror("crash_camera: cannot set the library's output aside");
            std::exit(kExitUsage);
        }
    }

    FILE* answers() const { return answers_; }

    // The expressions of the reports since the last call.
    std::vector<std::string> newReports()
    {
        std::fflush(stdout);
        struct stat status = {};
        fstat(captured_, &status);
        std::string text(static_cast<size_t>(status.st_size - read_), '\0');
        const ssize_t got = pread(captured_, text.data(), text.size(), read_);
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
        read_ = status.st_size;
        return expressionsIn(text);
    }

private:
    static std::vector<std::string> expressionsIn(const std::string& text)
    {
        std::vector<std::string> found;
        for (size_t at = text.find(kReport); at != std::string::npos; at = text.find(kReport, at + 1))
        {
            const size_t start = text.rfind('\n', at) + 1;
            found.push_back(text.substr(start, at - start));
        }
        return found;
    }

    FILE* answers_;
    int captured_;
    off_t read_ = 0;
};

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char letter : text)
    {
        if (letter == '"' || letter == '\\')
        {
            result += '\\';
        }
        result += static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
    }
    return result + "\"";
}

std::string listed(const std::vector<std::string>& values)
{
    std::string result;
    for (const std::string& value : values)
    {
        result += (result.empty() ? "" : ",") + value;
    }
    return "[" + result + "]";
}

std::string listedTexts(std::vector<std::string> texts)
{
    std::transform(texts.begin(), texts.end(), texts.begin(), quoted);
    return listed(texts);
}

std::string hexOf(const std::string& bytes)
{
    std::string result;
    for (const char byte : bytes)
    {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        result += digits;
    }
    return result;
}

// One object of the answer; fields in the order of the calls.
class Answer
{
public:
    void add(const std::string& name, const std::string& json)
    {
        text_ += (text_.empty() ? "" : ",") + quoted(name) + ":" + json;
    }
    void add(const std::string& name, long number) { add(name, std::to_string(number)); }

    void print(FILE* stream) const
    {
        std::fprintf(stream, "{%s}\n", text_.c_str());
        std::fflush(stream);
    }

private:
    std::string text_;
};

// ---- the camera --------------------------------------------------------------------------------------------

class CrashCamera
{
public:
    CrashCamera() { host::setClock(std::make_shared<host::ManualClock>(12, 0)); }

    // False when the board's own documents do not say which module it has.
    bool start()
    {
        MachineInfo machine;
        std::vector<ModuleConfigure> modules;
        SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine);
        ModuleConfigureParser::parse(kModuleConfigFile, machine.getHardwareModel(), machine.getHardwareCode(), modules);
        if (modules.empty() || !support::simulator().setModule(modules.front().getModuleId()))
        {
            return false;
        }
        controller_ = std::make_unique<ISensorController>();
        controller_->setVideoStreamModule(&video_);
        return controller_->init(modules.front());
    }

    void stop()
    {
        controller_->uinit();
        controller_.reset();
    }

    bool isUp() const { return controller_ != nullptr; }

    ISensorController* operator->() { return controller_.get(); }

    int schemes() const { return static_cast<int>(g_stSysConf.nSchemeSum); }

    void choose(int scheme)
    {
        controller_->setParamMode(0);
        controller_->setParamScheme(scheme);
    }

    int set(int key, int value)
    {
        return controller_->setParameters("(" + std::to_string(key) + "," + std::to_string(value) + ")", true);
    }

    int value(int key)
    {
        int word = -1;
        controller_->getParameter(key, word);
        return word;
    }

    // The result of the flush. The mark says that from here on nothing of this may be lost.
    int save()
    {
        const int result = controller_->flush();
        if (result == SNS_SUCCESS)
        {
            traceMark("saved");
        }
        return result;
    }

private:
    services::RecordingVideo video_;
    std::unique_ptr<ISensorController> controller_;
};

// In hexadecimal digits; null when there is none.
std::string contentOf(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        return "null";
    }
    return quoted(hexOf({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()}));
}

// ---- actions -----------------------------------------------------------------------------------------------

bool beginOnStartedCamera(CrashCamera& camera)
{
    const bool started = camera.start();
    traceMark("begin");
    return started;
}

bool firstStart(CrashCamera& camera)
{
    traceMark("begin");
    const bool started = camera.start();
    traceMark("saved");
    return started;
}

bool flushChangedValues(CrashCamera& camera)
{
    if (!beginOnStartedCamera(camera))
    {
        return false;
    }
    camera.choose(0);
    camera.set(KEY_BRIGHTNESS, 91);
    camera.set(KEY_CONTRAST, 92);
    return camera.save() == SNS_SUCCESS;
}

bool flushManyTimes(CrashCamera& camera)
{
    constexpr int kFlushes = 12;
    bool good = beginOnStartedCamera(camera);
    for (int i = 0; good && i < kFlushes; ++i)
    {
        camera.choose(i % camera.schemes());
        camera.set(KEY_BRIGHTNESS, 80 + i);
        good = camera.save() == SNS_SUCCESS;
    }
    return good;
}

bool resetToFactory(CrashCamera& camera)
{
    const bool good = beginOnStartedCamera(camera) && camera->resetParameters();
    traceMark("saved");
    return good;
}

ino_t logFile()
{
    struct stat status = {};
    return stat(kErrorLogFile, &status) == 0 ? status.st_ino : 0;
}

// Reports until the log has been rotated and some more; settings are saved in between.
bool rotateLog(CrashCamera& camera)
{
    constexpr int kReportsAfterwards = 3;
    if (!beginOnStartedCamera(camera))
    {
        return false;
    }
    camera.choose(0);
    const ino_t log = logFile();
    for (int i = 0; logFile() == log && i < kReportsMax; ++i)
    {
        camera->restore(kUnknownKey);
    }
    camera.set(KEY_BRIGHTNESS, 91);
    const bool good = camera.save() == SNS_SUCCESS && logFile() != log;
    for (int i = 0; i < kReportsAfterwards; ++i)
    {
        camera->restore(kUnknownKey);
    }
    return good;
}

// Different values in every scheme, saved.
bool prepare(CrashCamera& camera)
{
    bool good = beginOnStartedCamera(camera);
    for (int i = 0; good && i < camera.schemes(); ++i)
    {
        camera.choose(i);
        camera.set(KEY_BRIGHTNESS, 20 + i);
        camera.set(KEY_CONTRAST, 30 + i);
        good = camera.save() == SNS_SUCCESS;
    }
    return good;
}

const std::map<std::string, std::function<bool(CrashCamera&)>> kActions = {
    {"prepare", prepare},
    {"start", firstStart},
    {"flush", flushChangedValues},
    {"flushes", flushManyTimes},
    {"factory-reset", resetToFactory},
    {"log-rotation", rotateLog},
};

// ---- what every camera must be able to do ------------------------------------------------------------------

void addFiles(const CrashCamera& camera, Answer& answer)
{
    std::vector<std::string> files;
    for (int i = 0; i < camera.schemes(); ++i)
    {
        files.push_back(contentOf(schemeFile(i)));
    }
    answer.add("files", listed(files));
    answer.add("version", contentOf(kVersionFile));
}

// What broken saves of the scheme that was saved last have left, and logs beyond their limits.
void addRemains(Answer& answer)
{
    namespace fs = std::filesystem;
    std::vector<std::string> remains;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(kConfigFolder, error))
    {
        if (entry.path().filename().string().rfind("sensor0.cfg.", 0) == 0)
        {
            remains.push_back(entry.path());
        }
    }
    int logs = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(kLogFolder, error))
    {
        if (entry.file_size(error) > kErrorLogSize || ++logs > kErrorLogCount)
        {
            remains.push_back(entry.path());
        }
    }
    answer.add("remains", listedTexts(remains));
}

void addSchemes(CrashCamera& camera, Answer& answer)
{
    std::vector<std::string> values;
    for (int i = 0; i < camera.schemes(); ++i)
    {
        std::string pairs;
        camera.choose(i);
        camera->getAllParameters(pairs);
        values.push_back(pairs);
    }
    answer.add("schemes", listedTexts(values));
}

long parametersOf(CrashCamera& camera)
{
    std::string pairs;
    camera->getAllParameters(pairs);
    return std::count(pairs.begin(), pairs.end(), '(');
}

// Changes one value and saves it. The result of the flush; wanted becomes the value.
int changeAndSave(CrashCamera& camera, int& wanted)
{
    camera.choose(0);
    wanted = (camera.value(KEY_BRIGHTNESS) + 1) % kBrightnessValues;
    camera.set(KEY_BRIGHTNESS, wanted);
    return camera->flush();
}

// Starts, reads everything, changes and saves a value and looks for it after a restart.
int verify(CrashCamera& camera, LibraryOutput& output, Answer& answer)
{
    if (!camera.start())
    {
        answer.add("up", 0);
        return kExitNoDocuments;
    }
    answer.add("up", 1);
    answer.add("reports", listedTexts(output.newReports()));
    addFiles(camera, answer);
    addSchemes(camera, answer);
    int wanted = -1;
    answer.add("flush", changeAndSave(camera, wanted));
    answer.add("wanted", wanted);
    answer.add("flush_reports", listedTexts(output.newReports()));
    camera.stop();
    camera.start();
    camera.choose(0);
    answer.add("found", camera.value(KEY_BRIGHTNESS));
    answer.add("restart_reports", listedTexts(output.newReports()));
    addRemains(answer);
    camera.stop();
    return kExitOk;
}

// Writes until not a byte fits any more, then gives back so many pages.
void fillDisk(int freePages)
{
    const int file = open(kFiller, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const std::string page(static_cast<size_t>(sysconf(_SC_PAGESIZE)), 'x');
    off_t size = 0;
    while (pwrite(file, page.data(), page.size(), size) > 0)
    {
        size += static_cast<off_t>(page.size());
    }
    if (ftruncate(file, std::max<off_t>(0, size - static_cast<off_t>(page.size()) * freePages)) != 0)
    {
        std::perror("crash_camera: cannot give pages back");
    }
    close(file);
}

// Everything is done as on a healthy disk; afterwards it is one again.
int act(const std::string& name, CrashCamera& camera, LibraryOutput& output, Answer& answer)
{
    answer.add("good", kActions.at(name)(camera));
    traceMark("end");
    answer.add("reports", listedTexts(output.newReports()));
    unlink(kFiller);
    answer.add("up", camera.isUp());
    if (!camera.isUp())
    {
        return kExitNoDocuments;
    }
    addFiles(camera, answer);
    answer.add("parameters", parametersOf(camera));
    int wanted = -1;
    answer.add("flush", changeAndSave(camera, wanted));
    answer.add("wanted", wanted);
    answer.add("flush_reports", listedTexts(output.newReports()));
    camera.stop();
    return kExitOk;
}

int usage()
{
    std::fprintf(stderr, "usage: crash_camera verify | crash_camera ACTION [--free-pages N]\nactions:");
    for (const auto& [name, action] : kActions)
    {
        std::fprintf(stderr, " %s", name.c_str());
    }
    std::fprintf(stderr, "\n");
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string name = argc > 1 ? argv[1] : "";
    const bool fills = argc == 4 && std::strcmp(argv[2], "--free-pages") == 0;
    if ((argc != 2 && !fills) || (name != "verify" && kActions.count(name) == 0))
    {
        return usage();
    }
    LibraryOutput output;
    CrashCamera camera;
    Answer answer;
    if (fills)
    {
        fillDisk(std::atoi(argv[3]));
    }
    const int status = name == "verify" ? verify(camera, output, answer) : act(name, camera, output, answer);
    answer.print(output.answers());
    return status;
}
