#include "fuzz/Session.h"

#include <algorithm>
#include <filesystem>

#include "fuzz/HostStandIns.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

namespace fs = std::filesystem;

namespace fuzz {
namespace {

std::string fileNumber(int number)
{
    switch (number)
    {
    case 4:
        return kVersionFile;
    case 5:
        return kMachineInfoFile;
    case 6:
        return kModuleConfigFile;
    case 7:
        return kStyleFile;
    case 8:
        return kDiversityFile;
    case 9:
        return kMergedStyleFile;
    case 10:
        return std::string(kConfigFolder) + "/sensor0.cfg.new";
    default:
        return schemeFile(number & 3);
    }
}

}  // namespace

void Session::driveLens(std::string_view words)
{
    const int value = takeNumber(words, 0);
    const Memory before = camera_.memory();
    ISensorController& c = controller();
    int number = -1;
    unsigned statistic = 0;
    std::string version = "before";
    c.focusFar();
    c.focusNear();
    c.irisUp();
    c.irisDown();
    c.zoomIn();
    c.zoomOut();
    c.setZoomValue(value);
    int ratio = -1;
    FUZZ_REQUIRE(!c.getZoomValue(number, ratio) || ratio == -1 || (ratio >= 1000 && ratio <= 16000));
    c.setPTZRunState(value);
    c.setFocusValue(value);
    c.getFocusValue(number);
    c.setFocusMode(value);
    c.getFocusMode(number);
    c.getAFStatistic(statistic);
    c.getWDR(number);
    c.getDNMode(number);
    c.getCmdExecStatus(value, number);
    FUZZ_REQUIRE(c.getCameraVerInf(version) ? version.size() < kCameraVersionSize : version == "before");
    requireNothingChanged(before);
}

void Session::scriptService(std::string_view words)
{
    std::string script(words);
    std::replace(script.begin(), script.end(), '|', '\n');
    service_.continueWith(script);
}

void Session::setRefusals(std::string_view words)
{
    refuseThreads(takeNumber(words, 0) != 0);
    refuseCommands(takeNumber(words, 0) != 0);
    camera_.video().status = takeNumber(words, 0);
}

// Never the assertion switch: a report would end the process, as it should.
void Session::setDebugLevel(std::string_view words)
{
    writeFile(kDebugMarkerFile, std::to_string(takeNumber(words, 1)) + "\n");
}

// Deeds: 0 new bytes, 1 cut to a length, 2 gone, 3 a folder in its place, 4 the configuration folder is gone,
// 5 and there again.
void Session::damageFile(std::string_view words)
{
    mayWriteConfiguration_ = true;
    const std::string file = fileNumber(takeNumber(words, 0));
    const int deed = takeNumber(words, 0);
    words.remove_prefix(words.empty() ? 0 : 1);
    std::error_code ignored;
    if (deed == 4)
    {
        fs::remove_all(kConfigFolder);
        return;
    }
    if (deed == 5)
    {
        fs::create_directories(kConfigFolder);
        return;
    }
    if (!fs::is_directory(fs::path(file).parent_path()))
    {
        return;
    }
    if (deed == 1 && fs::is_regular_file(file))
    {
        const int length = std::clamp(takeNumber(words, 0), 0, 4096);
        fs::resize_file(file, std::min<std::size_t>(fs::file_size(file), static_cast<std::size_t>(length)));
        return;
    }
    fs::remove_all(file, ignored);
    if (deed == 0)
    {
        writeFile(file, words);
    }
    if (deed == 3)
    {
        fs::create_directories(file + "/inside");
    }
}

}  // namespace fuzz
