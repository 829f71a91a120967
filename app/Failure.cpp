#include "app/Failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

namespace app {

void reportFailure(const std::string& text, bool json)
{
    if (!json)
    {
        notice(text);
        return;
    }
    const nlohmann::ordered_json document = {{"ok", false}, {"error", text}};
    std::printf("%s\n", document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

void notice(const std::string& text)
{
    std::fprintf(stderr, "sensorcam: %s\n", text.c_str());
}

std::string systemError(const std::string& what)
{
    return what + ": " + std::strerror(errno);
}

}  // namespace app
