#include "tests/unit/controller/ShellCommands.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>

#include "sy_system.h"

namespace {

std::mutex g_objMutex;
std::vector<support::ShellCommand> g_commands;

}  // namespace

// In place of the host framework's, which it calls.
__attribute__((visibility("default"))) int sy_system(const char* command, int limitSeconds)
{
    {
        const std::lock_guard<std::mutex> lock(g_objMutex);
        g_commands.push_back({command, limitSeconds});
    }
    static void* const next = dlsym(RTLD_NEXT, "_Z9sy_systemPKci");
    if (next == nullptr)
    {
        std::abort();
    }
    return reinterpret_cast<int (*)(const char*, int)>(next)(command, limitSeconds);
}

namespace support {

std::vector<ShellCommand> shellCommands()
{
    const std::lock_guard<std::mutex> lock(g_objMutex);
    return g_commands;
}

void forgetShellCommands()
{
    const std::lock_guard<std::mutex> lock(g_objMutex);
    g_commands.clear();
}

}  // namespace support
