#include "base/Decimal.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace base {
namespace {

constexpr int kDigitsThatFit = 9;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

}  // namespace

int decimal(const char* text)
{
    // Nearly every text is a few digits with nothing before them, which need no call of the C library.
    int value = 0;
    int digits = 0;
    for (; digits < kDigitsThatFit && isDigit(text[digits]); ++digits)
    {
        value = value * 10 + (text[digits] - '0');
    }
    if (digits > 0 && !isDigit(text[digits]))
    {
        return value;
    }
    const long long number = std::strtoll(text, nullptr, 10);
    return static_cast<int>(std::clamp(number, static_cast<long long>(INT_MIN), static_cast<long long>(INT_MAX)));
}

}  // namespace base
