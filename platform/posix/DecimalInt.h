#pragma once

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

namespace host {

constexpr const char* kBlanks = " \t\r\n\v\f";

// text without the blanks at both ends.
inline std::string trimmed(const std::string& text)
{
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// False, with value untouched, unless the whole text, blanks at the ends aside, is a decimal int.
inline bool readDecimalInt(const std::string& text, int& value)
{
    const std::string digits = trimmed(text);
    if (digits.empty() || digits.find_first_not_of("+-0123456789") != std::string::npos)
    {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(digits.c_str(), &end, 10);
    if (*end != '\0' || end == digits.c_str() || errno != 0 || number < INT_MIN || number > INT_MAX)
    {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

}  // namespace host
