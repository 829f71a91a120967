#include "SensorDebug.h"

#include <algorithm>

#include "KSFile.h"
#include "SensorPaths.h"
#include "base/Decimal.h"
#include "base/SharedWord.h"

using sensorpaths::kDebugMarkerFile;

int g_nDebugLevel = 1;
bool g_bEnAssert = false;

namespace {

constexpr int kDefaultLevel = 1;

// In bytes; the two numbers take a few. A switch that lies beyond is ignored.
constexpr unsigned int kMarkerMax = 1024;

// The number on the line at next, or missing if the line is empty. Moves next to the line after it; may write to *end.
int takeNumber(char*& next, char* end, int missing)
{
    char* const line = next;
    char* stop = std::find(line, end, '\n');
    next = stop == end ? end : stop + 1;
    if (stop != end && stop != line && stop[-1] == '\r')
    {
        --stop;
    }
    *stop = '\0';
    return stop == line ? missing : base::decimal(line);
}

}  // namespace

void updateDebugLevel()
{
    if (!KSFile::exists(kDebugMarkerFile))
    {
        base::sharedStore(g_nDebugLevel, kDefaultLevel);
        base::sharedStore(g_bEnAssert, false);
        return;
    }
    KSFile file;
    if (!file.open(kDebugMarkerFile, KSFile::modeRead))
    {
        return;
    }
    // A single read: if the file were rewritten between two, digits of the new level could be taken for the switch.
    char text[kMarkerMax + 1];
    char* next = text;
    char* const end = text + std::max(file.read(text, kMarkerMax), 0);
    base::sharedStore(g_nDebugLevel, takeNumber(next, end, kDefaultLevel));
    base::sharedStore(g_bEnAssert, takeNumber(next, end, 0) != 0);
}
