#include "services/ModuleFile.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "HostClock.h"

namespace services {
namespace {

// That of the host framework is one of them.
std::string libraryFolder()
{
    Dl_info library = {};
    if (dladdr(reinterpret_cast<void*>(&host::setClock), &library) == 0 || library.dli_fname == nullptr)
    {
        return "";
    }
    const std::string file = library.dli_fname;
    return file.substr(0, file.rfind('/') + 1);
}

}  // namespace

void* moduleEntry(const char* file, const char* entry)
{
    void* const module = dlopen((libraryFolder() + file).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const found = module == nullptr ? nullptr : dlsym(module, entry);
    if (found == nullptr)
    {
        throw std::runtime_error(dlerror());
    }
    return found;
}

}  // namespace services
