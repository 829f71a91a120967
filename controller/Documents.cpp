#include "ISensorController.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "controller/ControllerUnit.h"

using diag::Kind;

namespace {

// The entry for a language, or the first one; null while the host has filled no list.
// contract: a null text in an entry is the host's error, and constructing a string of it throws.
const UIFileEntry* entryFor(int languageId)
{
    if (g_stSysConf.pUIFiles == nullptr || g_stSysConf.nUIFileSum == 0)
    {
        return nullptr;
    }
    for (u32 i = 0; i < g_stSysConf.nUIFileSum; ++i)
    {
        if (g_stSysConf.pUIFiles[i].nLanguageId == languageId)
        {
            return &g_stSysConf.pUIFiles[i];
        }
    }
    return &g_stSysConf.pUIFiles[0];
}

}  // namespace

std::string ISensorController::getUIStyleFile()
{
    static std::string strTmp;  // kept between calls for its storage; only touched under the mutex
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::reportUnless(getDnaStyle(g_stSysConf.szUIStyle, strTmp) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == getDnaStyle(g_stSysConf.szUIStyle, strTmp)");
    diag::trace(Kind::information, CONTROLLER_PLACE, "%s\n", strTmp.c_str());
    return strTmp;
}

std::string ISensorController::getUICommonFile(int p_nLanguageId)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::trace(Kind::debug, CONTROLLER_PLACE, "LanguageId(%d)\n", p_nLanguageId);
    const UIFileEntry* const entry = entryFor(p_nLanguageId);
    return entry == nullptr ? std::string() : std::string(entry->szCommonFile);
}

std::string ISensorController::getUILanguageFile(int p_nLanguageId)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::trace(Kind::debug, CONTROLLER_PLACE, "LanguageId(%d)\n", p_nLanguageId);
    const UIFileEntry* const entry = entryFor(p_nLanguageId);
    return entry == nullptr ? std::string() : std::string(entry->szLanguageFile);
}
