#include "tests/support/CapturedOutput.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace support {

CapturedOutput::CapturedOutput() : file_(memfd_create("captured-output", 0)), saved_(dup(STDOUT_FILENO))
{
    std::fflush(stdout);
    dup2(file_, STDOUT_FILENO);
}

CapturedOutput::~CapturedOutput()
{
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    close(file_);
}

std::string CapturedOutput::take()
{
    std::fflush(stdout);
    const off_t end = lseek(file_, 0, SEEK_END);
    std::string text(static_cast<size_t>(end), '\0');
    size_t done = 0;
    while (done < text.size())
    {
        const ssize_t count = pread(file_, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (count <= 0)
        {
            break;
        }
        done += static_cast<size_t>(count);
    }
    // Standard output shares this file's position.
    if (ftruncate(file_, 0) == 0)
    {
        lseek(file_, 0, SEEK_SET);
    }
    return text;
}

}  // namespace support
