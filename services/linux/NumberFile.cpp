#include "services/linux/NumberFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>

namespace devices {
namespace {

constexpr std::size_t kMaxText = 64;

class OpenedFile : public NumberFile
{
public:
    OpenedFile(DeviceSource& source, Role role, std::string name) : source_(source), role_(role), name_(std::move(name))
    {
    }
    ~OpenedFile() override { close(); }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    int read(double& value) override
    {
        char text[kMaxText];
        ssize_t length = 0;
        const int error = withFile([&](int file) { return length = pread(file, text, sizeof text, 0); });
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
        return withFile([&](int file) { return pwrite(file, text.data(), text.size(), 0); });
    }

    bool isThere() override
    {
        char text[kMaxText];
        return file_ < 0 || pread(file_, text, sizeof text, 0) >= 0 || errno != ENODEV;
    }

private:
    template <typename Call>
    int withFile(Call call)
    {
        const bool wasOpen = file_ >= 0;
        int error = open();
        if (error == 0 && call(file_) < 0)
        {
            error = errno;
        }
        if (error != ENODEV)
        {
            return error;
        }
        // The device has gone, and may be back.
        close();
        return wasOpen ? withFile(call) : ENODEV;
    }

    int open()
    {
        if (file_ >= 0)
        {
            return 0;
        }
        const int file = source_.open(role_, name_);
        if (file < 0)
        {
            return -file;
        }
        // A pipe or another device would give something else, or nothing.
        struct stat status;
        const int error = fstat(file, &status) != 0 ? errno : S_ISREG(status.st_mode) ? 0 : EBADMSG;
        file_ = file;
        if (error != 0)
        {
            close();
        }
        return error;
    }

    void close()
    {
        if (file_ >= 0)
        {
            ::close(file_);
        }
        file_ = -1;
    }

    DeviceSource& source_;
    const Role role_;
    const std::string name_;
    int file_ = -1;
};

bool isSpace(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

}  // namespace

NumberFiles filesOf(DeviceSource& source)
{
    return [&source](Role role, const std::string& name) { return std::make_unique<OpenedFile>(source, role, name); };
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
