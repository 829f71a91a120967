#include "diag/SensorTrace.h"

#undef NDEBUG  // a release build must still be able to end the process
#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>

#include "KSLogger.h"
#include "SensorPaths.h"
#include "base/SharedWord.h"

namespace diag {
namespace {

constexpr int kErrorLogSize = 10240;
constexpr int kErrorLogCount = 3;
constexpr char kReset[] = "\033[0m";
constexpr char kHeader[] = "%s file:%s fun:%s line:%d\n";
constexpr char kLogPlace[] = "file:%s fun:%s line:%d\n";
constexpr char kFailed[] = "%s   ~~~Assertion failed.\n";
constexpr int kMagenta = 35;

struct KindRow
{
    const char* prefix;
    int threshold;  // printed when the level is above it
    int attribute;
    int colour;
};

constexpr KindRow kKinds[] = {
    {"[sensor assert]", -1, 0, 31}, {"[sensor warn]", 3, 0, 0}, {"[sensor err]", 5, 0, 0},
    {"[sensor dbg]", 5, 0, 0},      {"[sensor info]", 6, 0, 0},
};

const KindRow& rowOf(Kind kind)
{
    return kKinds[static_cast<int>(kind)];
}

// Keeps a message in one piece on the console.
class ConsoleMessage
{
public:
    explicit ConsoleMessage(int attribute, int colour)
    {
        flockfile(stdout);
        std::printf("\033[%dm\033[%dm", attribute, colour);
    }

    ~ConsoleMessage()
    {
        std::fputs(kReset, stdout);
        funlockfile(stdout);
    }

    ConsoleMessage(const ConsoleMessage&) = delete;
    ConsoleMessage& operator=(const ConsoleMessage&) = delete;

    void header(const KindRow& row, const Place& place)
    {
        std::printf(kHeader, row.prefix, place.unit, place.function, place.line);
    }
};

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    std::string text;
    try
    {
        const int length = std::vsnprintf(nullptr, 0, format, arguments);
        text.resize(length > 0 ? length : 0);
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    catch (const std::bad_alloc&)
    {
        // A diagnostic never fails its caller: without memory the message is empty.
    }
    va_end(again);
    return text;
}

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatted(format, arguments);
    va_end(arguments);
    return text;
}

void openErrorLog(KSLogger& logger)
{
    logger.init(sensorpaths::kErrorLogFile, kErrorLogSize, kErrorLogCount);
}

__attribute__((format(printf, 4, 0))) void traceInColour(const KindRow& row, int colour, const Place& place,
                                                         const char* format, va_list arguments)
{
    ConsoleMessage message(row.attribute, colour);
    message.header(row, place);
    std::vprintf(format, arguments);
}

// The report's first half: the place and the expression, on the console and as two records.
void reportExpression(const Place& place, const char* expression)
{
    if (!enabled(Kind::assertion))
    {
        return;
    }
    const KindRow& row = rowOf(Kind::assertion);
    {
        ConsoleMessage message(row.attribute, row.colour);
        message.header(row, place);
        std::printf(kFailed, expression);
    }
    KSLogger logger;
    openErrorLog(logger);
    logger.writeLog(row.prefix, formatted(kLogPlace, place.unit, place.function, place.line).c_str());
    logger.writeLog(row.prefix, formatted(kFailed, expression).c_str());
}

// The report's second half: the extra message. Without one an empty record is written.
void reportDetail(const std::string& detail)
{
    if (!enabled(Kind::assertion))
    {
        return;
    }
    const KindRow& row = rowOf(Kind::assertion);
    {
        ConsoleMessage message(row.attribute, row.colour);
        std::fputs(detail.c_str(), stdout);
    }
    KSLogger logger;
    openErrorLog(logger);
    logger.writeLog(row.prefix, detail.c_str());
}

void endIfAsked(const Place& place)
{
    if (base::sharedLoad(g_bEnAssert))
    {
        std::fflush(stdout);
        __assert_fail("bRet", place.unit, static_cast<unsigned>(place.line), place.signature);
    }
}

void report(const Place& place, const char* expression, const std::string& detail)
{
    reportExpression(place, expression);
    reportDetail(detail);
    endIfAsked(place);
}

}  // namespace

bool enabled(Kind kind)
{
    updateDebugLevel();
    return base::sharedLoad(g_nDebugLevel) > rowOf(kind).threshold;
}

void trace(Kind kind, const Place& place, const char* format, ...)
{
    if (!enabled(kind))
    {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    traceInColour(rowOf(kind), rowOf(kind).colour, place, format, arguments);
    va_end(arguments);
}

void traceMagenta(const Place& place, const char* format, ...)
{
    if (!enabled(Kind::information))
    {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    traceInColour(rowOf(Kind::information), kMagenta, place, format, arguments);
    va_end(arguments);
}

void tracePlain(Kind kind, const char* format, ...)
{
    if (!enabled(kind))
    {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    {
        ConsoleMessage message(rowOf(kind).attribute, rowOf(kind).colour);
        std::vprintf(format, arguments);
    }
    va_end(arguments);
}

void warn(const Place& place, const char* format, ...)
{
    if (!enabled(Kind::warning))
    {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    const KindRow& row = rowOf(Kind::warning);
    {
        ConsoleMessage message(row.attribute, row.colour);
        message.header(row, place);
        std::fputs(text.c_str(), stdout);
    }
    KSLogger logger;
    openErrorLog(logger);
    logger.writeLog(row.prefix, formatted(kLogPlace, place.unit, place.function, place.line).c_str());
    logger.writeLog(row.prefix, text.c_str());
}

bool reportUnless(bool passed, const Place& place, const char* expression)
{
    if (!passed)
    {
        report(place, expression, "");
    }
    return passed;
}

bool reportUnless(bool passed, const Place& place, const char* expression, const char* format, ...)
{
    if (!passed)
    {
        va_list arguments;
        va_start(arguments, format);
        const std::string detail = formatted(format, arguments);
        va_end(arguments);
        report(place, expression, detail);
    }
    return passed;
}

}  // namespace diag
