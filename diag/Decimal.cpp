#include "Decimal.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace diag {

int decimal(const char* text)
{
    const long long number = std::strtoll(text, nullptr, 10);
    return static_cast<int>(std::clamp(number, static_cast<long long>(INT_MIN), static_cast<long long>(INT_MAX)));
}

}  // namespace diag
