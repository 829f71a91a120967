#include "SensorKeyVal.h"

#include <algorithm>
#include <charconv>
#include <climits>

#include "base/SharedWord.h"
#include "diag/SensorTrace.h"
#include "ia_ioctrl.h"
#include "keyval/KeyValSearch.h"
#include "keyval/KeyValText.h"

namespace {

constexpr char kUnit[] = "SensorKeyVal";

constexpr std::size_t kNumberLength = sizeof "-2147483648" - 1;

void appendPair(std::string& text, int key, int value)
{
    char pair[kNumberLength + kNumberLength + 3];
    char* const comma = pair + 1 + kNumberLength;
    pair[0] = '(';
    char* position = std::to_chars(pair + 1, comma, key).ptr;
    *position++ = ',';
    position = std::to_chars(position, comma + 1 + kNumberLength, value).ptr;
    *position++ = ')';
    text.append(pair, position);
}

}  // namespace

void keyval_st2str(std::string& p_strText, const KeyVal* p_pKeyval, u32 p_nKeyvalNum)
{
    for (u32 i = 0; i < p_nKeyvalNum; ++i)
    {
        appendPair(p_strText, static_cast<int>(p_pKeyval[i].key),
                   static_cast<int>(base::sharedLoad(p_pKeyval[i].value)));
    }
}

void keyval_str2st(const std::string& p_strText, KeyVal* p_pKeyval, u32& p_nKeyvalNum)
{
    keyvalFromText(p_strText, p_pKeyval, UINT_MAX, p_nKeyvalNum);
}

int keyval_correct(KeyVal* p_pKeyval, u32 p_nKeyvalNum)
{
    if (!diag::reportUnless(p_pKeyval != nullptr, DIAG_PLACE(kUnit), "NULL != p_pKeyval"))
    {
        return SNS_SUCCESS;  // contract: always success. Without records nothing is asked of the service.
    }
    ia_dynamic_params_cmds_st dnaCmdList = {};
    const bool listed = diag::reportUnless(
        SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &dnaCmdList), DIAG_PLACE(kUnit),
        "SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
        "(void*)(&dnaCmdList))");
    // A service that fails may have filled the list all the same.
    const int count = listed ? std::min<int>(dnaCmdList.cmd_cnt, kDynamicCmdsMax) : 0;
    for (int i = 0; i < count; ++i)
    {
        const int index = findKey(p_pKeyval, p_nKeyvalNum, dnaCmdList.cmd_list[i]);
        if (!diag::reportUnless(-1 != index, DIAG_PLACE(kUnit), "-1 != index"))
        {
            continue;
        }
        KeyVal& record = p_pKeyval[index];
        const u32 before = base::sharedLoad(record.value);
        diag::trace(diag::Kind::debug, DIAG_PLACE(kUnit), "before correct: (%d,%d)\n", static_cast<int>(record.key),
                    static_cast<int>(before));
        u32 value = before;
        diag::reportUnless(SNS_SUCCESS ==
                               ia_ioctrl(static_cast<ia_cmd_e>(record.key), IA_CMD_OPT_CORRECT_PARAM, &value),
                           DIAG_PLACE(kUnit),
                           "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM, "
                           "&p_pKeyval[index].value)");
        if (value != before)
        {
            base::sharedReplace(record.value, before, value);
        }
        diag::trace(diag::Kind::debug, DIAG_PLACE(kUnit), "after correct: (%d,%d)\n", static_cast<int>(record.key),
                    static_cast<int>(value));
    }
    return SNS_SUCCESS;  // contract: always success
}
