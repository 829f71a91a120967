#pragma once

#include <cerrno>

namespace host {

// Calls again when a signal interrupted it.
template <typename Call>
auto uninterrupted(Call call) -> decltype(call())
{
    auto result = call();
    while (result == -1 && errno == EINTR)
    {
        result = call();
    }
    return result;
}

}  // namespace host
