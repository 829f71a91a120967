// A KSFile that writes into the file itself. It stands in front of the reference framework's.

#include <KSFile.h>

#include <fcntl.h>

bool KSFile::open(const char* path, unsigned char mode)
{
    const int access = (mode & modeWrite) == 0 ? O_RDONLY : (mode & modeRead) != 0 ? O_RDWR : O_WRONLY;
    const int make = (mode & modeWrite) == 0 ? 0 : O_CREAT;
    const int truncate = (mode & modeTruncate) == 0 ? 0 : O_TRUNC;
    handle_ = ::open(path, access | make | truncate | O_CLOEXEC, 0644);
    return handle_ >= 0;
}
