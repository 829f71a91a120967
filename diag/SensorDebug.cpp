#include "SensorDebug.h"

#include <string>

#include "Decimal.h"
#include "KSFile.h"
#include "SharedWord.h"

int g_nDebugLevel = 1;
bool g_bEnAssert = false;

namespace {

constexpr char kMarkerFile[] = "/mnt/mtd/sign/Debug.sign";
constexpr int kDefaultLevel = 1;

// The number in the file's next line, or missing if the line is empty or absent.
int nextNumber(KSFile& file, int missing)
{
    std::string line;
    if (!file.ReadOneLine(line) || line.empty())
    {
        return missing;
    }
    return diag::decimal(line.c_str());
}

}  // namespace

void updateDebugLevel()
{
    if (!KSFile::exists(kMarkerFile))
    {
        diag::sharedStore(g_nDebugLevel, kDefaultLevel);
        diag::sharedStore(g_bEnAssert, false);
        return;
    }
    KSFile file;
    if (!file.open(kMarkerFile, KSFile::modeRead))
    {
        return;
    }
    diag::sharedStore(g_nDebugLevel, nextNumber(file, kDefaultLevel));
    diag::sharedStore(g_bEnAssert, nextNumber(file, 0) != 0);
}
