#include <cstdio>

#include "SensorFile.h"
#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"

using diag::Kind;

namespace {

void traceRefusal(const diag::Place& place, const SchemeWindow& window, window_check_e check)
{
    const int start = static_cast<int>(schemeTime(window.startHour, window.startMinute));
    const int end = static_cast<int>(schemeTime(window.endHour, window.endMinute));
    if (check == WINDOW_STARTS_TOO_LATE)
    {
        diag::trace(Kind::debug, place, "failed!!!! nParamSchemeStartTime(%d)\n", start);
    }
    else if (check == WINDOW_ENDS_TOO_LATE)
    {
        diag::trace(Kind::debug, place, "failed!!!! nParamSchemeEndTime(%d)\n", end);
    }
    else if (check == WINDOW_NOT_FORWARD)
    {
        diag::trace(Kind::debug, place, "failed!!!! nParamSchemeStartTime(%d) nParamSchemeEndTime(%d)\n", start, end);
    }
}

}  // namespace

SchemeWindow ISensorController::Parts::windowOf(const ISensorController& self, u32 scheme)
{
    const KeyVal* const records = recordsOf(self, scheme);
    if (records == nullptr || self.m_nKeyValSum < kScheduleRecords)
    {
        return {};
    }
    const auto word = [records](u32 record) { return base::sharedLoad(records[record].value); };
    return {word(kRecordEnable) != 0, word(kRecordStartHour), word(kRecordStartMinute), word(kRecordEndHour),
            word(kRecordEndMinute)};
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
    KeyVal* const records = Parts::recordsOf(*this, scheme);
    // Null if somebody switched to no scheme since the test above.
    return records == nullptr ? static_cast<int>(SNS_SUCCESS) : keyValToFile(file, records, m_nKeyValSum);
}

int ISensorController::paramCheck()
{
    const SchemeWindow window = Parts::windowOf(*this, m_nCurScheme);
    const window_check_e check = windowCheck(window);
    traceRefusal(CONTROLLER_PLACE, window, check);
    return check;
}
