// Loaded into a program it makes its store a bad one, as CRASH_BAD_STORE says. The crash runner must find every one:
//   no-file-sync    the new file is renamed into place before its data is on the disk
//   no-folder-sync  nothing brings the new name to the disk
//   in-place        the old file is overwritten instead of replaced
//   delete-first    the old file goes before the new one has its name
//   blind           writes that fail or fall short pass for complete
//   mute            a rename that fails passes for done

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool isChosen(const char* store)
{
    const char* const chosen = std::getenv("CRASH_BAD_STORE");
    return chosen != nullptr && std::strcmp(chosen, store) == 0;
}

template <typename Function>
Function original(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool isFolder(int handle)
{
    struct stat status = {};
    return fstat(handle, &status) == 0 && S_ISDIR(status.st_mode);
}

int overwrite(const char* from, const char* to)
{
    char bytes[65536];
    const int source = open(from, O_RDONLY | O_CLOEXEC);
    const int target = open(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const ssize_t got = read(source, bytes, sizeof bytes);
    const bool good = got >= 0 && write(target, bytes, static_cast<size_t>(got)) == got && fsync(target) == 0;
    close(source);
    close(target);
    return good ? unlink(from) : -1;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int handle)
{
    if (isChosen(isFolder(handle) ? "no-folder-sync" : "no-file-sync"))
    {
        return 0;
    }
    return original<int (*)(int)>("fsync")(handle);
}

extern "C" __attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept
{
    if (isChosen("in-place"))
    {
        return overwrite(from, to);
    }
    if (isChosen("delete-first"))
    {
        unlink(to);
    }
    const int result = original<int (*)(const char*, const char*)>("rename")(from, to);
    return isChosen("mute") ? 0 : result;
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int handle, const void* data, size_t count)
{
    const ssize_t put = original<ssize_t (*)(int, const void*, size_t)>("write")(handle, data, count);
    return isChosen("blind") ? static_cast<ssize_t>(count) : put;
}
