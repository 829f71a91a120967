#include <cstdio>

#include "SensorKeyVal.h"
#include "StringHandler.h"
#include "base/Decimal.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "controller/ServiceWord.h"
#include "ia_ioctrl.h"
#include "keyval/KeyValText.h"

using diag::Kind;

namespace {

// Lines that the host's log filters know.
constexpr int kGetParametersLine = 769;
constexpr int kSensorCheckLine = 1159;

constexpr int kSensorCheckRead = 2;

// Not a trace: printed at every debug level, without colours. contract: every caller says "getParameters".
void printParseFailure(int line, const std::string& text)
{
    std::printf("%s%d getParameters fail p_strIds = %s \n", kControllerUnit, line, text.c_str());
}

}  // namespace

bool ISensorController::getAllParameters(std::string& p_strPairs)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    const int scheme = m_nCurScheme;
    if (KeyVal* const records = Parts::recordsOf(*this, scheme))
    {
        diag::reportUnless(keyval_correct(records, m_nKeyValSum) == SNS_SUCCESS, CONTROLLER_PLACE,
                           "SNS_SUCCESS == keyval_correct(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum)",
                           "m_nCurScheme(%d) m_nKeyValSum(%d)\n", scheme, static_cast<int>(m_nKeyValSum));
        keyval_st2str(p_strPairs, records, m_nKeyValSum);
    }
    diag::tracePlain(Kind::debug, "current scheme: %d\n%s\n", scheme, p_strPairs.c_str());
    return true;
}

bool ISensorController::parseSensorParameter(const std::string& p_strText, std::vector<std::string>& p_vecItems)
{
    if (p_strText.size() < 3 || p_strText.find('(') != 0 || p_strText.find(')') != p_strText.size() - 1)
    {
        return false;
    }
    StringHandler::split(p_strText.substr(1, p_strText.size() - 2), ",", p_vecItems);
    return !p_vecItems.empty();
}

bool ISensorController::getParameters(const std::string& p_strIds, std::string& p_strPairs)
{
    std::vector<std::string> ids;
    if (!parseSensorParameter(p_strIds, ids))
    {
        printParseFailure(kGetParametersLine, p_strIds);
        return false;
    }
    p_strPairs.clear();
    for (const std::string& id : ids)
    {
        const int key = base::decimal(id.c_str());
        int value = 0;
        if (getParameter(key, value))
        {
            const KeyVal record = {static_cast<u32>(key), static_cast<u32>(value)};
            keyval_st2str(p_strPairs, &record, 1);
        }
    }
    return true;
}

int ISensorController::setParameters(const std::string& p_strPairs, bool p_bCache)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    // contract: the run of ones is part of the text
    diag::tracePlain(Kind::debug, "p_Parameters1111111111(%s)\n", p_strPairs.c_str());
    u32 count = 0;
    keyvalFromText(p_strPairs, m_pstKeyValTmp, m_nKeyValSum, count);
    return setParameters(m_pstKeyValTmp, count, p_bCache);
}

bool ISensorController::getParameter(int p_nKey, int& p_nVal)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::tracePlain(Kind::debug, "p_nKey(%d)\n", p_nKey);
    u32 stored = 0;
    if (getKeyValFromCache(m_nCurScheme, p_nKey, stored) != -1)
    {
        p_nVal = static_cast<int>(stored);
        return true;
    }
    ServiceWord word(static_cast<u32>(p_nVal));
    const int status = doIaCmd(p_nKey, IA_CMD_OPT_GET, word.data());
    p_nVal = static_cast<int>(word.value());
    // contract: the detail has no line end
    return diag::reportUnless(status == SNS_SUCCESS, CONTROLLER_PLACE,
                              "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)", "get key(%d) val from 2a err",
                              p_nKey);
}

bool ISensorController::getMirrorValue(int& p_nVal)
{
    return getParameter(KEY_MIRROR, p_nVal);
}

int ISensorController::SensorCheck(std::string& p_strText)
{
    std::vector<std::string> items;
    if (!parseSensorParameter(p_strText, items))
    {
        printParseFailure(kSensorCheckLine, p_strText);
        return SNS_SUCCESS;  // contract: no different from a request that the service accepted
    }
    ia_sensor_check_st request = {};
    request.first = base::decimal(items.at(0).c_str());
    request.second = base::decimal(items.at(1).c_str());
    request.third = base::decimal(items.at(2).c_str());
    const bool reads = request.second == kSensorCheckRead;
    const int status = ia_ioctrl(IA_CMD_SENSOR_CHECK, reads ? IA_CMD_OPT_GET : IA_CMD_OPT_SET, &request);
    if (reads)
    {
        p_strText = std::to_string(request.result);
    }
    return status;
}
