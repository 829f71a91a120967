#pragma once

#include "SensorDebug.h"

// The one diagnostic facility of the library: console traces, warnings and assertion reports.
//
// Every function re-reads the debug level from the marker file before it tests its threshold, and costs one
// existence test of that file when there is nothing to print. Thread-safe; lines of different threads may
// interleave, a message stays in one piece.
namespace diag {

// Prefix, threshold and colours: kKinds in SensorTrace.cpp.
enum class Kind
{
    assertion,
    warning,
    error,
    debug,
    information,
};

// Where a message comes from, as it is printed. unit names the source unit ("SensorFile"), not the file: the
// controller's files report under one name. line is data where readers of the log rely on it, else __LINE__.
struct Place
{
    // Not an aggregate: compilers would keep one as data for each report, with addresses to relocate at every start.
    constexpr Place(const char* sourceUnit, const char* functionName, const char* fullSignature, int lineNumber)
        : unit(sourceUnit),
          function(functionName),
          signature(fullSignature),
          line(lineNumber)
    {
    }

    const char* unit;
    const char* function;
    const char* signature;
    int line;
};

// All texts are printf formats.

// True if the level, read anew, is above the kind's threshold.
bool enabled(Kind kind);

// Header line with the place, then the message, in the kind's colours.
void trace(Kind kind, const Place& place, const char* format, ...) __attribute__((format(printf, 3, 4)));

// As trace with Kind::information, in magenta.
void traceMagenta(const Place& place, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The message alone, in the kind's colours.
void tracePlain(Kind kind, const char* format, ...) __attribute__((format(printf, 2, 3)));

// As trace with Kind::warning, and two records to the error log.
void warn(const Place& place, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Reports a false condition on the console and in the error log; ends the process if g_bEnAssert says so.
// Otherwise THE CALLER GOES ON with its next step: nothing is returned from, nothing is thrown.
// expression is printed as it stands. Returns passed.
bool reportUnless(bool passed, const Place& place, const char* expression);
bool reportUnless(bool passed, const Place& place, const char* expression, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // namespace diag

// The place of the call, and the same with a line that readers of the log know.
#define DIAG_PLACE(unit) (diag::Place{unit, __func__, __PRETTY_FUNCTION__, __LINE__})
#define DIAG_PLACE_AT(unit, line) (diag::Place{unit, __func__, __PRETTY_FUNCTION__, line})
