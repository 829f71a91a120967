#pragma once

#include <optional>
#include <string>

#include "app/json/Json.h"
#include "camera/Transfer.h"

// The document that holds all schemes of a camera. Reentrant.
namespace app {

// {"format":"sensorcam-schemes","version":1,"model":…,"mode":…,"schemes":[{"scheme":0,"window":{…},"values":{…}}, …]}
Json toJson(const camera::Export& all);

// Nothing, and error says why, when it is no such document, or larger than any camera's.
std::optional<camera::Import> importOf(const Json& document, std::string& error);

Json toJson(const camera::ImportResult& result);

}  // namespace app
