#include "services/linux/NumberFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>

namespace devices {
namespace {

constexpr std::size_t kMaxText = 64;

class SysfsFile : public NumberFile
{
public:
    explicit SysfsFile(std::string path) : path_(std::move(path)) {}

    int read(double& value) override
    {
        char text[kMaxText];
        ssize_t length = 0;
        const int error = withFile(O_RDONLY, [&](int file) { return length = ::read(file, text, sizeof text); });
        if (error != 0)
        {
            return error;
        }
        // What fills the buffer may go on.
        const auto size = static_cast<std::size_t>(length);
        const std::optional<double> number = size < sizeof text ? parseNumber({text, size}) : std::nullopt;
        value = number.value_or(value);
        return number ? 0 : EBADMSG;
    }

    int write(std::int64_t value) override
    {
        const std::string text = std::to_string(value);
        return withFile(O_WRONLY, [&](int file) { return ::write(file, text.data(), text.size()); });
    }

private:
    template <typename Call>
    int withFile(int mode, Call call)
    {
        const int file = open(path_.c_str(), mode | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        if (file < 0)
        {
            return errno;
        }
        // A pipe or another device would give something else, or nothing.
        struct stat status;
        int error = fstat(file, &status) != 0 ? errno : S_ISREG(status.st_mode) ? 0 : EBADMSG;
        if (error == 0 && call(file) < 0)
        {
            error = errno;
        }
        close(file);
        return error;
    }

    const std::string path_;
};

bool isSpace(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

}  // namespace

std::unique_ptr<NumberFile> sysfsFile(const std::string& path)
{
    return std::make_unique<SysfsFile>(path);
}

std::optional<double> parseNumber(std::string_view text)
{
    while (!text.empty() && isSpace(text.front()))
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back()))
    {
        text.remove_suffix(1);
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

}  // namespace devices
