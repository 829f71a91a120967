#include <cstring>

#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "controller/ServiceWord.h"
#include "ia_ioctrl.h"

using diag::Kind;

namespace {

// Statuses of the service that are worth a line of their own.
bool isTracedFailure(int status)
{
    return status == -1 || status == -4 || status == -5;
}

// contract: a key that the map lacks is sent all the same, with its number as the command.
keycmd rowForUnknownKey(u32 key)
{
    keycmd row = {};
    row.key = key;
    row.cmd = key;
    row.handler = &ISensorController::doIaCmd;
    std::strcpy(row.szKeyName, "unknow key");  // contract: misspelling kept
    std::strcpy(row.szHandlerName, "ISensorController::doIaCmd");
    return row;
}

}  // namespace

bool ISensorController::Parts::isAlreadyHeld(ISensorController& self, const KeyVal& record)
{
    if (!self.isKeyValNewest(record))
    {
        return false;
    }
    diag::tracePlain(Kind::debug,
                     "ignore, (%u,%u) is newest, m_nFlags.switching_flag(%d), m_nLastScheme(%d), "
                     "m_nCurScheme(%d)!!!\n",
                     record.key, record.value, (self.m_nFlags & kSwitchingFlag) != 0 ? 1 : 0, self.m_nLastScheme.load(),
                     self.m_nCurScheme.load());
    return true;
}

bool ISensorController::Parts::applyRecord(ISensorController& self, const diag::Place& place, u32 index, KeyVal& record)
{
    keycmd row;
    const bool known = self.findFromKeyCmdMap(self.m_pKeyCmdMap, record.key, row) != -1;
    diag::reportUnless(known, place, "-1 != findFromKeyCmdMap(m_pKeyCmdMap, p_pKeyval[i].key, stKeyCmdTmp)",
                       "p_pKeyval[%u].key(%u)", index, record.key);
    if (!known)
    {
        diag::tracePlain(Kind::debug, "not find (%d) \n", static_cast<int>(record.key));
        row = rowForUnknownKey(record.key);
    }
    diag::tracePlain(Kind::debug, "====================== set %s (%d,%d) func:%s ia_cmd:%d =====================\n",
                     row.szKeyName, static_cast<int>(record.key), static_cast<int>(record.value), row.szHandlerName,
                     static_cast<int>(row.cmd));
    ServiceWord word(record.value);
    const int status = (self.*row.handler)(row.cmd, IA_CMD_OPT_SET, word.data());
    record.value = word.value();
    if (status == SNS_SUCCESS)
    {
        return true;
    }
    if (isTracedFailure(status))
    {
        diag::trace(Kind::error, place, "set %s (%d,%d) func:%s ia_cmd:%d ~~~failed ia_ret=%d\n", row.szKeyName,
                    static_cast<int>(record.key), static_cast<int>(record.value), row.szHandlerName,
                    static_cast<int>(row.cmd), status);
    }
    return false;
}

void ISensorController::Parts::rememberRecord(ISensorController& self, const diag::Place& place, u32 index,
                                              const KeyVal& record)
{
    const int scheme = self.m_nCurScheme;
    const u32 key = base::sharedLoad(record.key);
    if (findRecord(self, scheme, key) == &record)
    {
        // A switch applies the scheme's own records. Storing would lose what another thread sets meanwhile.
        return;
    }
    const u32 value = base::sharedLoad(record.value);
    if (self.setKeyValToCache(scheme, key, value, false) == -1)
    {
        diag::trace(Kind::debug, place,
                    "SET_KEY_VAL FAILED, m_nCurScheme(%d), p_pKeyval[%d].key(%d), p_pKeyval[%d].value(%d),  maybe "
                    "jixin\n",  // contract: wording kept
                    scheme, static_cast<int>(index), static_cast<int>(key), static_cast<int>(index),
                    static_cast<int>(value));
    }
}

int ISensorController::setParameters(KeyVal* p_pKeyval, unsigned int p_nKeyvalNum, bool p_bCache)
{
    const diag::Place place = CONTROLLER_PLACE;
    for (u32 i = 0; i < p_nKeyvalNum; ++i)
    {
        // The array may be a scheme that other threads write: handlers get a copy.
        KeyVal record = {base::sharedLoad(p_pKeyval[i].key), base::sharedLoad(p_pKeyval[i].value)};
        const bool stored = isScheduleKey(record.key);
        if (p_bCache ? Parts::isAlreadyHeld(*this, record) : stored)
        {
            continue;
        }
        if (!stored)
        {
            const u32 given = record.value;
            const bool applied = Parts::applyRecord(*this, place, i, record);
            if (record.value != given)
            {
                base::sharedReplace(p_pKeyval[i].value, given, record.value);
            }
            if (!applied)
            {
                // contract: minus the key, whatever it is, so 0 for a refused unknown key 0
                return static_cast<int>(0u - record.key);
            }
        }
        if (p_bCache)
        {
            Parts::rememberRecord(*this, place, i, p_pKeyval[i]);
        }
    }
    return SNS_SUCCESS;
}

int ISensorController::setParameter(int p_nKey, int p_nVal, bool p_bCache)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    // contract: the run of twos is part of the text
    diag::trace(Kind::debug, CONTROLLER_PLACE, "p_Parameters22222222222(%d, %d)\n", p_nKey, p_nVal);
    KeyVal record = {static_cast<u32>(p_nKey), static_cast<u32>(p_nVal)};
    return setParameters(&record, 1, p_bCache);
}

int ISensorController::switch_to(int p_nScheme, bool p_bFull)
{
    diag::trace(Kind::debug, CONTROLLER_PLACE, "switch_to(): %d -> %d\n", m_nCurScheme.load(), p_nScheme);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = p_nScheme;
    const RaisedFlag switching(m_nFlags, kSwitchingFlag);
    // An index without a scheme is current now and has nothing to apply.
    if (KeyVal* const records = Parts::recordsOf(*this, p_nScheme))
    {
        if (p_bFull)
        {
            setParameters(records, m_nKeyValSum, false);
        }
        else
        {
            const int result = setParameters(records, m_nKeyValSum, true);
            diag::reportUnless(result == SNS_SUCCESS, CONTROLLER_PLACE,
                               "SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)",
                               "m_nCurScheme(%d) m_nKeyValSum(%d)\n", m_nCurScheme.load(),
                               static_cast<int>(m_nKeyValSum));
        }
    }
    return SNS_SUCCESS;  // contract: always success
}
