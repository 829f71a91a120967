#include <cstdlib>
#include <ctime>

#include "KSDeviceTime.h"
#include "KestraTime.h"
#include "StringHandler.h"
#include "services/checks/Parts.h"

namespace portcheck {
namespace {

constexpr std::chrono::milliseconds kWait{100};
constexpr int kMinutesOfDay = 24 * 60;

std::string checkWait(Watch& watch)
{
    const auto begin = std::chrono::steady_clock::now();
    {
        const Step step(watch, "KestraTime::wait of 0.1 s");
        KestraTime::wait(KestraTime(0, std::chrono::microseconds(kWait).count()));
    }
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    return waited >= kWait ? "" : "a wait of 100 ms took " + std::to_string(waited.count()) + " ms";
}

std::string checkNoWait(Watch& watch)
{
    const Step step(watch, "KestraTime::wait of a negative span");
    KestraTime::wait(KestraTime(0, 0));
    KestraTime::wait(KestraTime(-1, 0));
    return "";
}

std::string checkClock(Watch& watch)
{
    const Step step(watch, "KSDeviceTime::getCurrentTime");
    const KSDeviceTime time = KSDeviceTime::getCurrentTime();
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);
    const int minutes = time.getHour() * 60 + time.getMinute();
    const int distance = std::abs(minutes - (local.tm_hour * 60 + local.tm_min));
    const bool isSame = distance <= 1 || distance == kMinutesOfDay - 1;  // the minute may just have changed
    return isSame ? ""
                  : std::to_string(time.getHour()) + ":" + std::to_string(time.getMinute()) + " at " +
                        std::to_string(local.tm_hour) + ":" + std::to_string(local.tm_min);
}

std::string checkSplit(Watch& watch)
{
    const Step step(watch, "StringHandler::split");
    std::vector<std::string> items;
    StringHandler::split("8,,1,", ",", items);
    return items == std::vector<std::string>{"8", "", "1", ""} ? "" : "\"8,,1,\" gave " + std::to_string(items.size());
}

}  // namespace

void checkTimeAndTexts(Report& report)
{
    report.begin("waiting and clock");
    report.check("KestraTime::wait takes at least its span", checkWait);
    report.check("KestraTime::wait of zero or less returns", checkNoWait);
    report.check("KSDeviceTime is the local time of the C library", checkClock);
    report.begin("texts");
    report.check("StringHandler::split keeps empty items", checkSplit);
}

}  // namespace portcheck
