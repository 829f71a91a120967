#include "tests/support/Reports.h"

#include <cctype>
#include <cstring>

namespace support {
namespace {

constexpr char kReset[] = "\033[0m";
constexpr char kWhite[] = "\033[0m\033[0m";
constexpr char kRed[] = "\033[0m\033[31m";

// The end of the match that begins at start, or npos.
size_t matchEnd(const std::string& output, size_t start, const std::string& pattern)
{
    size_t at = start;
    for (size_t i = 0; i < pattern.size();)
    {
        if (pattern.compare(i, std::strlen(kAnyLine), kAnyLine) == 0)
        {
            const size_t digits = at;
            while (at < output.size() && std::isdigit(static_cast<unsigned char>(output[at])) != 0)
            {
                ++at;
            }
            if (at == digits)
            {
                return std::string::npos;
            }
            i += std::strlen(kAnyLine);
            continue;
        }
        if (at >= output.size() || output[at] != pattern[i])
        {
            return std::string::npos;
        }
        ++at;
        ++i;
    }
    return at;
}

std::string header(const std::string& kind, const std::string& unit, const std::string& function,
                   const std::string& line)
{
    return "[sensor " + kind + "] file:" + unit + " fun:" + function + " line:" + line + "\n";
}

}  // namespace

std::string plain(const std::string& message)
{
    return kWhite + message + kReset;
}

std::string traced(const std::string& kind, const std::string& unit, const std::string& function,
                   const std::string& message, const std::string& line)
{
    return kWhite + header(kind, unit, function, line) + message + kReset;
}

std::string asserted(const std::string& unit, const std::string& function, const std::string& expression,
                     const std::string& detail, const std::string& line)
{
    return kRed + header("assert", unit, function, line) + expression + "   ~~~Assertion failed.\n" + kReset + kRed +
           detail + kReset;
}

testing::AssertionResult says(const std::string& output, const std::string& pattern)
{
    if (timesSaid(output, pattern) > 0)
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "missing: " << testing::PrintToString(pattern)
                                       << "\nin: " << testing::PrintToString(output);
}

int timesSaid(const std::string& output, const std::string& pattern)
{
    int times = 0;
    for (size_t start = 0; start < output.size(); ++start)
    {
        if (matchEnd(output, start, pattern) != std::string::npos)
        {
            ++times;
        }
    }
    return times;
}

testing::AssertionResult saysOnly(const std::string& output, const std::string& pattern)
{
    if (matchEnd(output, 0, pattern) == output.size())
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "expected: " << testing::PrintToString(pattern)
                                       << "\n  actual: " << testing::PrintToString(output);
}

}  // namespace support
