#include "services/linux/Conversion.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace devices {
namespace {

constexpr int kShutters[] = {3,   6,   12,  15,  25,  30,   50,   60,   100,  120,  150,  180,   200,
                             240, 250, 300, 500, 750, 1000, 1500, 2000, 3000, 4000, 5000, 10000, 20000};
constexpr int kExposureUnits = 10000;  // in a second

std::int64_t exposure(int shutter)
{
    return std::max<std::int64_t>(1, std::llround(static_cast<double>(kExposureUnits) / kShutters[shutter]));
}

// Where a part of the way from a to b lies. Both may be far apart, hence no subtraction of integers.
double along(double part, double a, double b)
{
    return a + part * (b - a);
}

double partOf(double value, double a, double b)
{
    return a == b ? 0 : (value - a) / (b - a);
}

bool isBent(const Row& row, const Control& control)
{
    return row.conversion == Conversion::percent && control.defaultValue > control.minimum &&
           control.defaultValue < control.maximum;
}

// Beyond the range nothing is lost: nearest() clamps it.
std::int64_t rounded(double value)
{
    constexpr double kBeyond = 9.2e18;
    return std::llround(std::clamp(value, -kBeyond, kBeyond));
}

std::int64_t proportional(const Row& row, int word, const Control& control)
{
    const auto least = static_cast<double>(control.minimum);
    const auto greatest = static_cast<double>(control.maximum);
    const auto middle = static_cast<double>(control.defaultValue);
    // The ends exactly, where a double could not hold them.
    if (word <= row.least)
    {
        return control.minimum;
    }
    if (word >= row.greatest)
    {
        return control.nearest(control.maximum);
    }
    if (!isBent(row, control))
    {
        return control.nearest(rounded(along(partOf(word, row.least, row.greatest), least, greatest)));
    }
    if (word == row.middle)
    {
        return control.nearest(control.defaultValue);
    }
    const double value = word < row.middle ? along(partOf(word, row.least, row.middle), least, middle)
                                           : along(partOf(word, row.middle, row.greatest), middle, greatest);
    return control.nearest(rounded(value));
}

int proportionalWord(const Row& row, std::int64_t value, const Control& control)
{
    const auto least = static_cast<double>(control.minimum);
    const auto greatest = static_cast<double>(control.maximum);
    const auto middle = static_cast<double>(control.defaultValue);
    const auto wanted = static_cast<double>(std::clamp(value, control.minimum, control.maximum));
    double word;
    if (!isBent(row, control))
    {
        word = along(partOf(wanted, least, greatest), row.least, row.greatest);
    }
    else if (wanted < middle)
    {
        word = along(partOf(wanted, least, middle), row.least, row.middle);
    }
    else
    {
        word = along(partOf(wanted, middle, greatest), row.middle, row.greatest);
    }
    return static_cast<int>(std::lround(word));
}

// What an entry's value is on this control; nothing where the control does not take it.
std::optional<std::int64_t> resolve(std::int64_t value, const Control& control)
{
    switch (value)
    {
    case kNone:
    case kPass:
        return std::nullopt;
    case kLeast:
        return control.minimum;
    case kGreatest:
        return control.nearest(control.maximum);
    case kDefault:
        return control.nearest(control.defaultValue);
    default:
        // A number next to the one that is meant will do, an item of a menu will not.
        if (control.type == ControlType::menu ? control.contains(value)
                                              : value >= control.minimum && value <= control.maximum)
        {
            return control.nearest(value);
        }
        return std::nullopt;
    }
}

std::optional<std::int64_t> valueOf(const Entry& entry, const Control& control)
{
    const std::optional<std::int64_t> value = resolve(entry.value, control);
    return value ? value : resolve(entry.instead, control);
}

const Entry* findEntry(const Row& row, int word)
{
    const Entry* const end = row.entries + row.entryCount;
    const Entry* const found =
        std::find_if(row.entries, end, [word](const Entry& entry) { return entry.word == word; });
    return found == end ? nullptr : found;
}

std::optional<int> wordOfEntry(const Row& row, std::int64_t value, const Control& control)
{
    std::optional<int> next;
    std::uint64_t nextDistance = 0;
    std::optional<int> other;  // whatever no entry stands for
    for (int i = 0; i < row.entryCount; ++i)
    {
        const Entry& entry = row.entries[i];
        if (entry.value == kPass && !other)
        {
            other = entry.word;
        }
        const std::optional<std::int64_t> known = valueOf(entry, control);
        if (!known)
        {
            continue;
        }
        const auto a = static_cast<std::uint64_t>(*known);
        const auto b = static_cast<std::uint64_t>(value);
        const std::uint64_t distance = *known < value ? b - a : a - b;
        if (!next || distance < nextDistance)
        {
            next = entry.word;
            nextDistance = distance;
        }
    }
    const bool isExact = next && nextDistance == 0;
    const bool isNumber = control.type == ControlType::number;
    return isExact ? next : other ? other : isNumber ? next : std::nullopt;
}

int nearestShutter(std::int64_t value)
{
    int nearest = 0;
    for (int i = 1; i < static_cast<int>(std::size(kShutters)); ++i)
    {
        // Times are compared by their ratio: between 1/3 and 1/6 lies a stop, as between 1/3000 and 1/6000.
        const double wanted = std::log(static_cast<double>(std::max<std::int64_t>(value, 1)));
        const auto away = [&](int shutter) {
            return std::abs(std::log(static_cast<double>(exposure(shutter))) - wanted);
        };
        if (away(i) < away(nearest))
        {
            nearest = i;
        }
    }
    return nearest;
}

bool isWithin(const Control& control, std::int64_t value)
{
    return value >= control.minimum && value <= control.maximum;
}

std::optional<std::int64_t> ifTaken(const Control& control, std::int64_t value)
{
    return control.contains(value) ? std::optional<std::int64_t>(value) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> valueOf(const Row& row, int word, const Control& control)
{
    switch (row.conversion)
    {
    case Conversion::percent:
    case Conversion::share:
        return proportional(row, word, control);
    case Conversion::list:
    {
        const Entry* const entry = findEntry(row, word);
        return entry == nullptr ? std::nullopt : valueOf(*entry, control);
    }
    case Conversion::shutter:
        if (word < 0 || word >= static_cast<int>(std::size(kShutters)) || !isWithin(control, exposure(word)))
        {
            return std::nullopt;
        }
        return ifTaken(control, control.nearest(exposure(word)));
    case Conversion::bit:
        return ifTaken(control, (static_cast<unsigned>(word) >> row.least) & 1u);
    case Conversion::same:
        return ifTaken(control, word);
    default:
        return std::nullopt;  // what is pressed is no state
    }
}

std::optional<int> wordOf(const Row& row, std::int64_t value, const Control& control)
{
    switch (row.conversion)
    {
    case Conversion::percent:
    case Conversion::share:
        return proportionalWord(row, value, control);
    case Conversion::list:
        return wordOfEntry(row, value, control);
    case Conversion::shutter:
        return nearestShutter(value);
    case Conversion::bit:
        return value == 0 ? 0 : 1 << row.least;
    case Conversion::same:
        return static_cast<int>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
    default:
        return 0;
    }
}

bool isRange(const Row& row)
{
    return row.conversion == Conversion::percent || row.conversion == Conversion::share;
}

std::set<int> wordsOf(const Row& row, const Control& control)
{
    std::set<int> words;
    const auto addIfTaken = [&](int word) {
        if (valueOf(row, word, control))
        {
            words.insert(word);
        }
    };
    switch (row.conversion)
    {
    case Conversion::list:
        for (int i = 0; i < row.entryCount; ++i)
        {
            row.entries[i].value == kPass ? static_cast<void>(words.insert(row.entries[i].word))
                                          : addIfTaken(row.entries[i].word);
        }
        break;
    case Conversion::shutter:
        for (int word = 0; word < static_cast<int>(std::size(kShutters)); ++word)
        {
            addIfTaken(word);
        }
        break;
    case Conversion::bit:
        addIfTaken(0);
        addIfTaken(1 << row.least);
        break;
    case Conversion::same:
        for (const auto& [value, text] : control.items)
        {
            words.insert(static_cast<int>(value));
        }
        break;
    case Conversion::press:
        words = {0, 1};
        break;
    default:
        break;  // a range
    }
    return words;
}

}  // namespace devices
