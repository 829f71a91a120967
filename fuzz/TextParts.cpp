#include "fuzz/TextParts.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>

namespace fuzz {
namespace {

constexpr std::string_view kBetweenParts = "\n%%\n";
constexpr char kBlanks[] = " \t\r\n\v\f";

}  // namespace

std::vector<std::string> partsOf(const uint8_t* data, std::size_t size, std::size_t count)
{
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> parts;
    while (parts.size() + 1 < count)
    {
        parts.emplace_back(takeUpTo(rest, kBetweenParts));
    }
    parts.emplace_back(rest);
    return parts;
}

std::string_view takeUpTo(std::string_view& text, std::string_view separator)
{
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    return taken;
}

int takeNumber(std::string_view& text, int other)
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isBlank(text.front()))
    {
        text.remove_prefix(1);
    }
    const auto isPart = [](char c) { return c == '-' || c == '+' || std::isdigit(static_cast<unsigned char>(c)); };
    const std::size_t length =
        static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPart) - text.begin());
    if (length == 0)
    {
        return other;
    }
    const int number = decimalOf(std::string(text.substr(0, length)));
    text.remove_prefix(length);
    return number;
}

int decimalOf(const std::string& text)
{
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
}

std::string trimmed(const std::string& text)
{
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool isDecimalInt(const std::string& text)
{
    const std::string number = trimmed(text);
    const std::size_t digits = !number.empty() && (number[0] == '-' || number[0] == '+') ? 1 : 0;
    if (digits == number.size() || number.find_first_not_of("0123456789", digits) != std::string::npos)
    {
        return false;
    }
    const long long value = std::strtoll(number.c_str(), nullptr, 10);
    return value >= INT_MIN && value <= INT_MAX;
}

}  // namespace fuzz
