#include "app/cli/ScheduleChart.h"

#include <cstdio>

#include "app/cli/Parsing.h"

namespace app {
namespace {

constexpr int kColumnMinutes = 30;  // 48 columns leave room for the labels in 80
constexpr int kColumns = camera::kMinutesPerDay / kColumnMinutes;
constexpr int kLabelWidth = 13;

std::string label(const std::string& text)
{
    std::string padded = "  " + text;
    padded.resize(kLabelWidth, ' ');
    return padded;
}

std::string hourRuler()
{
    std::string line = label("");
    for (int hour = 0; hour < 24; hour += 3)
    {
        char mark[16];
        std::snprintf(mark, sizeof mark, "%02d    ", hour);
        line += mark;
    }
    return line + "24\n";
}

std::string timeMark(int minutes)
{
    std::string line(static_cast<std::size_t>(kLabelWidth + minutes / kColumnMinutes), ' ');
    const std::string text = "^ " + formatTimeOfDay(minutes);
    // Near the end of the day the text goes to the left of the mark.
    if (minutes / kColumnMinutes > kColumns - 8)
    {
        line.resize(line.size() - 6);
        return line + formatTimeOfDay(minutes) + " ^\n";
    }
    return line + text + "\n";
}

std::string windowRow(std::size_t index, const SchemeWindow& window)
{
    std::string line = label("scheme " + std::to_string(index));
    SchemeWindow always = window;
    always.enabled = true;
    for (int column = 0; column < kColumns; ++column)
    {
        bool holds = false;
        for (int minute = 0; minute < kColumnMinutes; ++minute)
        {
            holds = holds || camera::windowHolds(always, column * kColumnMinutes + minute);
        }
        line += !holds ? '.' : window.enabled ? '#' : '-';
    }
    return line + "  " + windowText(window) + (window.enabled ? " on" : " off") + "\n";
}

char schemeSign(const camera::Schedule& schedule, int scheme)
{
    if (scheme == camera::kByDayAndNight)
    {
        return '*';
    }
    if (scheme == static_cast<int>(schedule.windows.size()) && !schedule.windows.empty())
    {
        return 'd';
    }
    return scheme < 10 ? static_cast<char>('0' + scheme) : '+';
}

std::string inForceRow(const camera::Schedule& schedule)
{
    std::string line = label("by clock");
    for (int column = 0; column < kColumns; ++column)
    {
        line += schemeSign(schedule, camera::schemeAt(schedule, column * kColumnMinutes));
    }
    return line + "\n";
}

std::string titleOf(const camera::Schedule& schedule, int scheme)
{
    return scheme == camera::kByDayAndNight ? "scheme 0 by day, scheme 1 by night"
                                            : schemeName(scheme, static_cast<int>(schedule.windows.size()));
}

std::string stretchList(const camera::Schedule& schedule)
{
    std::string list;
    for (const camera::Stretch& stretch : camera::stretchesOfDay(schedule))
    {
        list += "  " + formatTimeOfDay(stretch.startMinutes) + "-" + formatTimeOfDay(stretch.endMinutes) + "  " +
                titleOf(schedule, stretch.scheme) + "\n";
    }
    return list;
}

// Why it never holds, with its line end and, where there is any, advice.
std::string flaw(const SchemeWindow& window)
{
    const unsigned start = schemeTime(window.startHour, window.startMinute);
    const unsigned end = schemeTime(window.endHour, window.endMinute);
    if (start >= schemeTime(24, 0))
    {
        return " starts when the day is over.\n";
    }
    if (start == end)
    {
        return " is empty.\n";
    }
    if (start < end)
    {
        return " holds no minute of the day.\n";
    }
    return " does not end after its start.\n"
           "  No window runs over midnight; use two schemes, up to 24:00 and from 00:00.\n";
}

std::string warnings(const camera::Schedule& schedule)
{
    std::string text;
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        const SchemeWindow& window = schedule.windows[i];
        if (windowNeverHolds(window))
        {
            text +=
                "! scheme " + std::to_string(i) + " can never hold: its window " + windowText(window) + flaw(window);
        }
    }
    return text;
}

std::string headLine(const camera::Schedule& schedule)
{
    const std::string scheme =
        schedule.currentScheme < 0 ? "no scheme yet" : titleOf(schedule, schedule.currentScheme) + " in force";
    const std::string mode = schedule.automatic ? "auto" : "manual (the clock chooses nothing)";
    return "time " + formatTimeOfDay(schedule.minutes) + ", mode " + mode + ", " + scheme + "\n";
}

}  // namespace

std::string schemeName(int scheme, int schemeCount)
{
    if (scheme < 0)
    {
        return "no scheme";
    }
    const std::string number = std::to_string(scheme);
    return scheme == schemeCount && scheme > 0 ? "the default scheme (" + number + ")" : "scheme " + number;
}

std::string windowText(const SchemeWindow& window)
{
    char text[64];
    std::snprintf(text, sizeof text, "%02u:%02u-%02u:%02u", window.startHour, window.startMinute, window.endHour,
                  window.endMinute);
    return text;
}

std::string drawSchedule(const camera::Schedule& schedule)
{
    std::string text = headLine(schedule) + "\n" + hourRuler();
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        text += windowRow(i, schedule.windows[i]);
    }
    text += inForceRow(schedule) + timeMark(schedule.minutes) + "\n";
    text += "  # window on   - window off   d default scheme";
    text += schedule.byDayAndNight ? "   * day or night chooses\n" : "\n";
    text += "  Where windows overlap, the lowest scheme wins.\n";
    if (schedule.byDayAndNight)
    {
        text += "  Outside all windows: scheme 0 by day, scheme 1 by night, sent with KEY_DN_MODE 0.\n";
    }
    return text + "\nby the clock:\n" + stretchList(schedule) + warnings(schedule);
}

}  // namespace app
