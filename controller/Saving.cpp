#include <cstdio>

#include "ISensorController.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerUnit.h"

using diag::Kind;

namespace {

// Times are compared as hour x 100 + minute. contract: loose on purpose, 24:00 and 10:99 pass.
constexpr u32 kLatest = 2400;

enum param_check_e
{
    kStartTooLate = 505,
    kEndTooLate = 506,
    kStartNotBeforeEnd = 507,
};

}  // namespace

u32 ISensorController::scheduleTime(u32 scheme, u32 hourRecord) const
{
    const KeyVal* const records = recordsOf(scheme);
    if (records == nullptr || m_nKeyValSum < kScheduleRecords)
    {
        return 0;
    }
    return base::sharedLoad(records[hourRecord].value) * 100 + base::sharedLoad(records[hourRecord + 1].value);
}

int ISensorController::flush()
{
    const ControllerLock lock(m_objMutex, __LINE__);
    // contract: the default scheme, or none yet, has nothing to write, and that is a success
    if (static_cast<u32>(m_nCurScheme.load()) >= g_stSysConf.nSchemeSum)
    {
        return SNS_SUCCESS;
    }
    const int check = paramCheck();
    if (check != SNS_SUCCESS)
    {
        return check;
    }
    char file[sizeof(kSchemeFile) + 16];
    const int scheme = m_nCurScheme;
    std::snprintf(file, sizeof(file), kSchemeFile, scheme);
    KeyVal* const records = recordsOf(scheme);
    // Null if somebody switched to no scheme since the test above.
    return records == nullptr ? static_cast<int>(SNS_SUCCESS) : keyValToFile(file, records, m_nKeyValSum);
}

int ISensorController::paramCheck()
{
    const u32 scheme = m_nCurScheme;
    const u32 start = scheduleTime(scheme, kRecordStartHour);
    const u32 end = scheduleTime(scheme, kRecordEndHour);
    if (start > kLatest)
    {
        diag::trace(Kind::debug, CONTROLLER_PLACE, "failed!!!! nParamSchemeStartTime(%d)\n", static_cast<int>(start));
        return kStartTooLate;
    }
    if (end > kLatest)
    {
        diag::trace(Kind::debug, CONTROLLER_PLACE, "failed!!!! nParamSchemeEndTime(%d)\n", static_cast<int>(end));
        return kEndTooLate;
    }
    if (start >= end)
    {
        diag::trace(Kind::debug, CONTROLLER_PLACE, "failed!!!! nParamSchemeStartTime(%d) nParamSchemeEndTime(%d)\n",
                    static_cast<int>(start), static_cast<int>(end));
        return kStartNotBeforeEnd;
    }
    return SNS_SUCCESS;
}
