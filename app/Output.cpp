#include "app/Output.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <locale>

#include "app/Failure.h"
#include "app/Options.h"

namespace app {
namespace {

constexpr char32_t kDelete = 0x7f;
constexpr char32_t kLastControl = 0x9f;  // from kDelete on

std::string escape(const char* format, unsigned value)
{
    char text[8];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

bool writeAll(int descriptor, const std::string& text)
{
    std::size_t written = 0;
    while (written < text.size())
    {
        const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count > 0)
        {
            written += static_cast<std::size_t>(count);
        }
        else if (errno == EAGAIN)
        {
            pollfd room = {descriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        }
        else if (errno != EINTR)
        {
            return false;
        }
    }
    return true;
}

std::string printable(const std::string& text)
{
    const auto& utf8 = std::use_facet<std::codecvt<char32_t, char, std::mbstate_t>>(std::locale::classic());
    const char* const end = text.data() + text.size();
    std::string shown;
    for (const char* next = text.data(); next != end;)
    {
        std::mbstate_t state = {};
        const char* after = next;
        char32_t point = 0;
        char32_t* decoded = &point;
        utf8.in(state, next, end, after, &point, &point + 1, decoded);
        if (decoded == &point)
        {
            after = next + 1;
            shown += escape("\\x%02x", static_cast<unsigned char>(*next));
        }
        else if (point < ' ' && point != '\n' && point != '\t')
        {
            shown += escape("\\x%02x", point);
        }
        else if (point >= kDelete && point <= kLastControl)
        {
            shown += escape("\\u%04x", point);
        }
        else
        {
            shown.append(next, after);
        }
        next = after;
    }
    return shown;
}

void Answers::write(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(writing_);
    if (broken() || writeAll(descriptor_, text))
    {
        return;
    }
    status_ = errno == EPIPE ? 128 + SIGPIPE : kExitCommandFailed;
    if (!readerGone())
    {
        notice(systemError("answers cannot be written to standard output"));
    }
}

bool Answers::readerGone() const
{
    return status_ == 128 + SIGPIPE;
}

}  // namespace app
