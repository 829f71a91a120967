#include "tests/unit/diag/MarkerReads.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

#include "tests/support/PrivateTree.h"

namespace {

std::atomic<bool> isWatching{false};

// Used while watching only.
std::vector<std::string> contents;
int error = 0;  // or none
std::size_t calls = 0;
long long bytes = 0;

bool isMarker(int handle)
{
    struct stat opened = {};
    struct stat marker = {};
    return fstat(handle, &opened) == 0 && stat(support::kDebugMarkerFile, &marker) == 0 &&
           opened.st_dev == marker.st_dev && opened.st_ino == marker.st_ino;
}

// In place, as a shell's redirection does it: whoever has the file open sees it.
void rewriteMarker(const std::string& text)
{
    const int handle = open(support::kDebugMarkerFile, O_WRONLY | O_TRUNC | O_CLOEXEC);
    EXPECT_EQ(write(handle, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(handle);
}

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) ssize_t read(int handle, void* buffer, size_t count)
{
    const bool isWatched = isWatching && isMarker(handle);
    if (isWatched && ++calls <= contents.size())
    {
        rewriteMarker(contents[calls - 1]);
    }
    if (isWatched && error != 0)
    {
        errno = error;
        return -1;
    }
    const ssize_t got = syscall(SYS_read, handle, buffer, count);
    if (isWatched && got > 0)
    {
        bytes += got;
    }
    return got;
}

namespace diag_tests {

MarkerReads::MarkerReads(std::vector<std::string> contents)
{
    ::contents = std::move(contents);
    ::error = 0;
    ::calls = 0;
    ::bytes = 0;
    isWatching = true;
}

MarkerReads::MarkerReads(int error) : MarkerReads()
{
    ::error = error;
}

MarkerReads::~MarkerReads()
{
    isWatching = false;
}

int MarkerReads::calls() const
{
    return static_cast<int>(::calls);
}

long long MarkerReads::bytes() const
{
    return ::bytes;
}

}  // namespace diag_tests
