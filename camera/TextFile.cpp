#include "camera/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "camera/Descriptor.h"
#include "camera/Failure.h"

namespace camera {
namespace {

void requireReadable(const std::string& path, const struct stat& facts, std::size_t longest)
{
    if (!S_ISREG(facts.st_mode))
    {
        throw Failure(Problem::noPlainFile, path);
    }
    if (static_cast<std::uintmax_t>(facts.st_size) >
        longest)  // a file may be longer than a std::size_t of 32 bits says
    {
        throw Failure(Problem::tooLong, path, std::to_string(longest));
    }
}

[[noreturn]] void fail(const std::string& path)
{
    throw Failure(Problem::unreadable, path, std::strerror(errno));
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t longest)
{
    struct stat facts;
    if (stat(path.c_str(), &facts) != 0)
    {
        if (errno == ENOENT)
        {
            return std::nullopt;
        }
        fail(path);
    }
    requireReadable(path, facts, longest);  // a device would notice that it is opened
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.number() < 0 || fstat(file.number(), &facts) != 0)
    {
        fail(path);
    }
    requireReadable(path, facts, longest);  // it may be another one by now
    std::string content;
    char buffer[16 * 1024];
    ssize_t count = 0;
    while (content.size() <= longest && (count = read(file.number(), buffer, sizeof buffer)) > 0)
    {
        content.append(buffer, static_cast<std::size_t>(count));
    }
    if (count < 0)
    {
        fail(path);
    }
    if (content.size() > longest)  // it grew meanwhile
    {
        throw Failure(Problem::tooLong, path, std::to_string(longest));
    }
    return content;
}

std::string readExistingFile(const std::string& path, std::size_t longest)
{
    const std::optional<std::string> content = readFile(path, longest);
    if (!content)
    {
        throw Failure(Problem::noFile, path);
    }
    return *content;
}

}  // namespace camera
