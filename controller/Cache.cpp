#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "keyval/KeyValSearch.h"

namespace {

u32 schemeSum()
{
    return base::sharedLoad(g_stSysConf.nSchemeSum);
}

}  // namespace

KeyVal* ISensorController::Parts::recordsOf(const ISensorController& self, u32 scheme)
{
    return self.m_ppUserKeyVal != nullptr && scheme <= schemeSum() ? self.m_ppUserKeyVal[scheme] : nullptr;
}

KeyVal* ISensorController::Parts::findRecord(const ISensorController& self, u32 scheme, u32 key)
{
    KeyVal* const records = recordsOf(self, scheme);
    if (records == nullptr)
    {
        return nullptr;
    }
    const int position = findKey(records, self.m_nKeyValSum, key);
    return position == -1 ? nullptr : records + position;
}

int ISensorController::setKeyValToCache(unsigned int p_nScheme, unsigned int p_nKey, unsigned int p_nVal, bool p_bForce)
{
    if (!p_bForce && p_nScheme >= schemeSum())
    {
        return -2;
    }
    KeyVal* const record = Parts::findRecord(*this, p_nScheme, p_nKey);
    if (record == nullptr)
    {
        return -1;
    }
    base::sharedStore(record->value, p_nVal);
    return static_cast<int>(record - m_ppUserKeyVal[p_nScheme]);
}

int ISensorController::getKeyValFromCache(unsigned int p_nScheme, unsigned int p_nKey, unsigned int& p_nVal)
{
    // contract: the default scheme can be read freely, while writing it must be forced
    if (p_nScheme > schemeSum())
    {
        // contract: misspelling kept
        diag::tracePlain(diag::Kind::debug, "can not find val, invalid sheme(%d) \n", static_cast<int>(p_nScheme));
        return -1;
    }
    const KeyVal* const record = Parts::findRecord(*this, p_nScheme, p_nKey);
    if (record == nullptr)
    {
        return -1;
    }
    p_nVal = base::sharedLoad(record->value);
    return static_cast<int>(record - m_ppUserKeyVal[p_nScheme]);
}

bool ISensorController::isKeyValNewest(const KeyVal& p_stKeyVal)
{
    // While a switch is applied, the sensor still holds the scheme before.
    const int scheme = (m_nFlags & kSwitchingFlag) != 0 ? m_nLastScheme : m_nCurScheme;
    u32 stored = 0;
    return getKeyValFromCache(scheme, p_stKeyVal.key, stored) != -1 && stored == p_stKeyVal.value;
}
