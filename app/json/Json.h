#pragma once

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace app {

// Members stay in the order in which they were put in.
using Json = nlohmann::ordered_json;

// One line, with its end. Bytes that are no UTF-8 are replaced.
inline std::string jsonLine(const Json& document)
{
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

// However it is written: 60, 60.0, 6e1.
inline std::optional<std::int64_t> wholeOf(const Json& json)
{
    constexpr double kExact = 9007199254740992.0;  // up to it a double tells whole numbers apart
    const double number = json.is_number() ? json.get<double>() : 0.5;
    const bool isWhole = std::trunc(number) == number && std::abs(number) < kExact;
    return isWhole ? std::optional<std::int64_t>(static_cast<std::int64_t>(number)) : std::nullopt;
}

// The same, that an int can hold.
inline std::optional<int> intOf(const Json& json)
{
    const std::optional<std::int64_t> number = wholeOf(json);
    const bool fits = number && *number >= INT32_MIN && *number <= INT32_MAX;
    return fits ? std::optional<int>(static_cast<int>(*number)) : std::nullopt;
}

}  // namespace app
