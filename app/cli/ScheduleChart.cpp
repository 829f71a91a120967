#include "app/cli/ScheduleChart.h"

#include <cstdio>
#include <iterator>
#include <sstream>

#include "app/cli/Parsing.h"

namespace app {
namespace {

constexpr int kLabelWidth = 13;
constexpr int kWindowWidth = 17;  // "  08:00-18:00 off"
constexpr int kMinutesPerHour = 60;
constexpr int kNarrowest = 40;  // an hour a column and its ruler

// The day in columns, as many as have room.
struct Shape
{
    int columnMinutes;
    int columns;
    bool windowsBeside;  // else below their row
};

Shape shapeFor(int width)
{
    const int halfHours = 2 * 24;
    const bool isWide = width >= kLabelWidth + halfHours + kWindowWidth;
    const int columns = isWide ? halfHours : 24;
    return {camera::kMinutesPerDay / columns, columns, width >= kLabelWidth + columns + kWindowWidth};
}

// Items one after the other, in as many lines as it takes.
std::string flowing(const std::string& beginning, const Words& items, const std::string& gap,
                    const std::string& continuation, int width)
{
    std::string text;
    std::string line = beginning;
    std::string before;
    for (const std::string& item : items)
    {
        if (!before.empty() && line.size() + gap.size() + item.size() > static_cast<std::size_t>(width))
        {
            text += line + "\n";
            line = continuation;
            before.clear();
        }
        line += before + item;
        before = gap;
    }
    return text + line + "\n";
}

std::string prose(const std::string& beginning, const std::string& sentence, const std::string& continuation, int width)
{
    std::istringstream stream(sentence);
    return flowing(beginning, Words(std::istream_iterator<std::string>(stream), {}), " ", continuation, width);
}

std::string label(const std::string& text)
{
    std::string padded = "  " + text;
    padded.resize(kLabelWidth, ' ');
    return padded;
}

std::string hourRuler(const Shape& shape)
{
    std::string line = label("");
    for (int hour = 0; hour < 24; hour += 3)
    {
        char mark[16];
        std::snprintf(mark, sizeof mark, "%02d", hour);
        line += mark + std::string(static_cast<std::size_t>(3 * kMinutesPerHour / shape.columnMinutes - 2), ' ');
    }
    return line + "24\n";
}

std::string timeMark(const Shape& shape, int minutes)
{
    const int column = minutes / shape.columnMinutes;
    std::string line(static_cast<std::size_t>(kLabelWidth + column), ' ');
    // Near the end of the day the text goes to the left of the mark.
    if (column > shape.columns - 8)
    {
        line.resize(line.size() - 6);
        return line + formatTimeOfDay(minutes) + " ^\n";
    }
    return line + "^ " + formatTimeOfDay(minutes) + "\n";
}

std::string stateText(const SchemeWindow& window)
{
    return windowText(window) + (window.enabled ? " on\n" : " off\n");
}

std::string windowRow(const Shape& shape, std::size_t index, const SchemeWindow& window)
{
    std::string line = label("scheme " + std::to_string(index));
    SchemeWindow always = window;
    always.enabled = true;
    for (int column = 0; column < shape.columns; ++column)
    {
        bool holds = false;
        for (int minute = 0; minute < shape.columnMinutes; ++minute)
        {
            holds = holds || camera::windowHolds(always, column * shape.columnMinutes + minute);
        }
        line += !holds ? '.' : window.enabled ? '#' : '-';
    }
    return line + (shape.windowsBeside ? "  " : "\n" + label("")) + stateText(window);
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

int countOf(const camera::Schedule& schedule)
{
    return static_cast<int>(schedule.windows.size());
}

std::string inForceRow(const Shape& shape, const camera::Schedule& schedule)
{
    std::string line = label("by clock");
    for (int column = 0; column < shape.columns; ++column)
    {
        line += schemeSign(schedule, camera::schemeAt(schedule, column * shape.columnMinutes));
    }
    return line + "\n";
}

std::string stretchList(const camera::Schedule& schedule, int width)
{
    std::string list;
    for (const camera::Stretch& stretch : camera::stretchesOfDay(schedule))
    {
        const std::string span = formatTimeOfDay(stretch.startMinutes) + "-" + formatTimeOfDay(stretch.endMinutes);
        list += prose("  " + span + "  ", chosenName(stretch.scheme, countOf(schedule)),
                      std::string(span.size() + 4, ' '), width);
    }
    return list;
}

bool runsOverMidnight(const SchemeWindow& window)
{
    const unsigned start = schemeTime(window.startHour, window.startMinute);
    return start < schemeTime(24, 0) && start > schemeTime(window.endHour, window.endMinute);
}

// Why it never holds.
std::string flaw(const SchemeWindow& window)
{
    const unsigned start = schemeTime(window.startHour, window.startMinute);
    return runsOverMidnight(window)                                ? " does not end after its start."
           : start >= schemeTime(24, 0)                            ? " starts when the day is over."
           : start == schemeTime(window.endHour, window.endMinute) ? " is empty."
                                                                   : " holds no minute of the day.";
}

std::string warnings(const camera::Schedule& schedule, int width)
{
    std::string text;
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        const SchemeWindow& window = schedule.windows[i];
        if (!windowNeverHolds(window))
        {
            continue;
        }
        text += prose(
            "! ", "scheme " + std::to_string(i) + " can never hold: its window " + windowText(window) + flaw(window),
            "  ", width);
        if (runsOverMidnight(window))
        {
            text +=
                prose("  ", "No window runs over midnight; use two schemes, up to 24:00 and from 00:00.", "  ", width);
        }
    }
    return text;
}

std::string headLine(const camera::Schedule& schedule, int width)
{
    const std::string scheme = schedule.currentScheme < 0
                                   ? "no scheme yet"
                                   : schemeName(schedule.currentScheme, countOf(schedule)) + " in force";
    const std::string mode = schedule.automatic ? "auto" : "manual (the clock chooses nothing)";
    return prose("", "time " + formatTimeOfDay(schedule.minutes) + ", mode " + mode + ", " + scheme, "  ", width);
}

std::string chart(const camera::Schedule& schedule, int width)
{
    const Shape shape = shapeFor(width);
    std::string text = hourRuler(shape);
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        text += windowRow(shape, i, schedule.windows[i]);
    }
    Words legend = {"# window on", "- window off", "d default scheme"};
    if (schedule.byDayAndNight)
    {
        legend.emplace_back("* day or night chooses");
    }
    return text + inForceRow(shape, schedule) + timeMark(shape, schedule.minutes) + "\n" +
           flowing("  ", legend, "   ", "  ", width);
}

std::string listOfWindows(const camera::Schedule& schedule, int width)
{
    std::string text =
        prose("", "The chart needs a terminal of " + std::to_string(kNarrowest) + " columns.", "", width);
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        text += label("scheme " + std::to_string(i)) + stateText(schedule.windows[i]);
    }
    return text;
}

}  // namespace

std::string chosenName(int scheme, int schemeCount)
{
    return scheme == camera::kByDayAndNight ? "scheme 0 by day, scheme 1 by night" : schemeName(scheme, schemeCount);
}

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

std::string drawSchedule(const camera::Schedule& schedule, int width)
{
    std::string text = headLine(schedule, width) + "\n";
    text += width < kNarrowest ? listOfWindows(schedule, width) : chart(schedule, width);
    text += prose("  ", "Where windows overlap, the lowest scheme wins.", "  ", width);
    if (schedule.byDayAndNight)
    {
        text += prose("  ", "Outside all windows: scheme 0 by day, 1 by night, sent with KEY_DN_MODE 0.", "  ", width);
    }
    return text + "\nby the clock:\n" + stretchList(schedule, width) + warnings(schedule, width);
}

}  // namespace app
