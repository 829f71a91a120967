#include "app/cli/Parsing.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "camera/KeyNames.h"
#include "camera/Schedule.h"

namespace app {
namespace {

constexpr char kPrefix[] = "key_";
constexpr std::size_t kSuggestions = 4;  // more would not be read

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool allDigits(const std::string& text)
{
    for (char c : text)
    {
        if (c < '0' || c > '9')
        {
            return false;
        }
    }
    return !text.empty();
}

std::size_t skipBlanks(const std::string& text, std::size_t position)
{
    while (position < text.size() && isBlank(text[position]))
    {
        ++position;
    }
    return position;
}

// Reads one word beginning at position, quotes removed. False when a quotation is not closed.
bool readWord(const std::string& line, std::size_t& position, std::string& word)
{
    char quote = 0;
    for (; position < line.size() && (quote != 0 || !isBlank(line[position])); ++position)
    {
        const char c = line[position];
        if (c == '\\' && quote != '\'' && position + 1 < line.size())
        {
            word += line[++position];
        }
        else if (quote == 0 && (c == '\'' || c == '"'))
        {
            quote = c;
        }
        else if (c == quote)
        {
            quote = 0;
        }
        else
        {
            word += c;
        }
    }
    return quote == 0;
}

// "(34,60)"
std::optional<camera::Value> parsePair(const std::string& item)
{
    const std::size_t comma = item.find(',');
    if (comma == std::string::npos || item.front() != '(' || item.back() != ')')
    {
        return std::nullopt;
    }
    const std::optional<int> key = parseInt(item.substr(1, comma - 1));
    const std::optional<int> value = parseInt(item.substr(comma + 1, item.size() - comma - 2));
    if (!key || !value)
    {
        return std::nullopt;
    }
    return camera::Value{*key, *value};
}

std::string bareName(const std::string& text)
{
    const std::string lower = toLower(text);
    return lower.rfind(kPrefix, 0) == 0 ? lower.substr(std::strlen(kPrefix)) : lower;
}

std::string suggestion(const std::string& bare)
{
    Words near;
    for (const camera::KeyName& row : camera::keyNames())
    {
        if (!bare.empty() && bareName(row.name).find(bare) != std::string::npos && near.size() < kSuggestions)
        {
            near.push_back(row.name);
        }
    }
    return near.empty() ? "'keys' lists all names" : "near it: " + joinWords(near);
}

}  // namespace

std::optional<Words> splitWords(const std::string& line, std::string& error)
{
    Words words;
    std::size_t position = 0;
    while ((position = skipBlanks(line, position)) < line.size())
    {
        std::string word;
        if (!readWord(line, position, word))
        {
            error = "a quotation mark is not closed: " + line;
            return std::nullopt;
        }
        words.push_back(word);
    }
    return words;
}

TypedLine splitTyped(const std::string& typed)
{
    Words before;
    std::size_t position = 0;
    while (true)
    {
        const std::size_t begin = skipBlanks(typed, position);
        std::string word;
        position = begin;
        readWord(typed, position, word);
        if (position == typed.size())
        {
            return {before, word, begin};
        }
        before.push_back(word);
    }
}

std::string quotedWord(const std::string& word)
{
    if (!word.empty() && word.find_first_of(" \t\r\n'\"\\") == std::string::npos)
    {
        return word;
    }
    std::string quoted = "'";
    for (char c : word)
    {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::optional<int> parseInt(const std::string& text)
{
    const bool isSigned = !text.empty() && (text[0] == '-' || text[0] == '+');
    if (!allDigits(isSigned ? text.substr(1) : text))
    {
        return std::nullopt;
    }
    errno = 0;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    if (errno != 0 || number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
    {
        return std::nullopt;
    }
    return static_cast<int>(number);
}

std::optional<double> parseNumber(const std::string& text)
{
    const std::size_t point = text.find('.');
    const std::string whole = text.substr(0, point);
    const std::string fraction = point == std::string::npos ? "0" : text.substr(point + 1);
    if (!allDigits(whole) || !allDigits(fraction))
    {
        return std::nullopt;
    }
    const double number = std::strtod(text.c_str(), nullptr);
    if (!std::isfinite(number))
    {
        return std::nullopt;
    }
    return number;
}

std::optional<int> parseTimeOfDay(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon < 1 || colon > 2 || text.size() != colon + 3)
    {
        return std::nullopt;
    }
    const std::string hourText = text.substr(0, colon);
    const std::string minuteText = text.substr(colon + 1);
    if (!allDigits(hourText) || !allDigits(minuteText))
    {
        return std::nullopt;
    }
    const int minute = std::atoi(minuteText.c_str());
    const int total = std::atoi(hourText.c_str()) * 60 + minute;
    if (minute > 59 || total > camera::kMinutesPerDay)
    {
        return std::nullopt;
    }
    return total;
}

std::string formatTimeOfDay(int minutes)
{
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d", minutes / 60, minutes % 60);
    return text;
}

std::optional<TimeSpanOfDay> parseTimeSpan(const std::string& text)
{
    const std::size_t dash = text.find('-');
    if (dash == std::string::npos)
    {
        return std::nullopt;
    }
    const std::optional<int> start = parseTimeOfDay(text.substr(0, dash));
    const std::optional<int> end = parseTimeOfDay(text.substr(dash + 1));
    if (!start || !end)
    {
        return std::nullopt;
    }
    return TimeSpanOfDay{*start, *end};
}

std::optional<int> parseKey(const std::string& text, std::string& error)
{
    const std::string bare = bareName(text);
    for (const camera::KeyName& row : camera::keyNames())
    {
        if (bareName(row.name) == bare)
        {
            return row.key;
        }
    }
    const std::optional<int> number = parseInt(text);
    if (number && *number > 0)
    {
        return number;
    }
    error = number ? text + " is not a key number; key numbers are above 0"
                   : "there is no key " + text + "; " + suggestion(bare);
    return std::nullopt;
}

std::optional<Assignment> parseAssignment(const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size())
    {
        return std::nullopt;
    }
    return Assignment{text.substr(0, equals), text.substr(equals + 1)};
}

std::optional<std::vector<camera::Value>> parsePairs(const std::string& text, std::string& error)
{
    std::vector<camera::Value> pairs;
    std::size_t position = 0;
    while (position < text.size())
    {
        if (isBlank(text[position]))
        {
            ++position;
            continue;
        }
        const std::size_t close = std::min(text.find(')', position), text.size() - 1);
        const std::string item = text.substr(position, close - position + 1);
        const std::optional<camera::Value> pair = parsePair(item);
        if (!pair)
        {
            error = "'" + item + "' is not a pair (KEY,VALUE) of whole numbers";
            return std::nullopt;
        }
        pairs.push_back(*pair);
        position = close + 1;
    }
    if (pairs.empty())
    {
        error = "there is no pair (KEY,VALUE) in it";
        return std::nullopt;
    }
    return pairs;
}

std::string toLower(std::string text)
{
    for (char& c : text)
    {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string joinWords(const Words& words)
{
    std::string joined;
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        const char* separator = i == 0 ? "" : i + 1 == words.size() ? " and " : ", ";
        joined += separator + words[i];
    }
    return joined;
}

std::string counted(std::size_t count, const std::string& one, const std::string& many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace app
