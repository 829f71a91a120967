#include "fuzz/HostStandIns.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "GThread.h"
#include "fuzz/Require.h"
#include "platform/posix/StopToken.h"
#include "sy_system.h"

namespace fs = std::filesystem;

namespace {

const std::function<int()>* g_pBody = nullptr;  // of the running thread
bool g_bRefuseThreads = false;
bool g_bRefuseCommands = false;

bool beginsWith(const fs::path& path, const char* beginning)
{
    return path.filename().string().rfind(beginning, 0) == 0;
}

}  // namespace

namespace fuzz {

void turnOfThread()
{
    if (g_pBody != nullptr)
    {
        (*g_pBody)();
    }
}

bool threadRuns()
{
    return g_pBody != nullptr;
}

void refuseThreads(bool refuse)
{
    g_bRefuseThreads = refuse;
}

void refuseCommands(bool refuse)
{
    g_bRefuseCommands = refuse;
}

bool commandsRefused()
{
    return g_bRefuseCommands;
}

}  // namespace fuzz

// ---- GThread -----------------------------------------------------------------------------------------------

struct GThread::Work
{
    std::function<int()> body;
};

GThread::GThread(std::function<int()> body, const char*, std::function<int()>, std::function<int()>)
    : work_(std::make_shared<const Work>(Work{std::move(body)}))
{
}

GThread::~GThread()
{
    stop();
}

bool GThread::start()
{
    if (g_bRefuseThreads)
    {
        return false;
    }
    g_pBody = &work_->body;
    return true;
}

bool GThread::stop()
{
    if (g_pBody == &work_->body)
    {
        g_pBody = nullptr;
    }
    return true;
}

int GThread::emptyFun()
{
    return 0;
}

// ---- sy_system ---------------------------------------------------------------------------------------------

int sy_system(const char* command, int limitSeconds)
{
    FUZZ_REQUIRE(std::strcmp(command, "rm -rf /mnt/mtd/code/config*/sensor*") == 0);
    FUZZ_REQUIRE(limitSeconds == 30);
    if (g_bRefuseCommands)
    {
        return kSySystemNotStarted;
    }
    std::error_code ignored;
    for (const fs::directory_entry& folder : fs::directory_iterator("/mnt/mtd/code", ignored))
    {
        if (!beginsWith(folder, "config"))
        {
            continue;
        }
        for (const fs::directory_entry& file : fs::directory_iterator(folder, ignored))
        {
            if (beginsWith(file, "sensor"))
            {
                fs::remove_all(file, ignored);
            }
        }
    }
    return 0;
}

// ---- fsync -------------------------------------------------------------------------------------------------

extern "C" __attribute__((visibility("default"))) int fsync(int)
{
    return 0;
}
