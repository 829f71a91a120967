#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace app {

// Members stay in the order in which they were put in.
using Json = nlohmann::ordered_json;

// One line, with its end. Bytes that are no UTF-8 are replaced.
inline std::string jsonLine(const Json& document)
{
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace app
