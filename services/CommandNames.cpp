#include "services/CommandNames.h"

#include "ia_ioctrl.h"

namespace services {

const char* commandName(u32 cmd)
{
    switch (cmd)
    {
#define SNS_KEY(name, key, ia, number, handler) \
    case number:                                \
        return #ia;
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    case IA_CMD_DN_STATE:
        return "IA_CMD_DN_STATE";
    case IA_CMD_PTZ_RUN_STATE:
        return "IA_CMD_PTZ_RUN_STATE";
    case IA_CMD_AF_STATISTIC:
        return "IA_CMD_AF_STATISTIC";
    case IA_CMD_WDR_BRACKET:
        return "IA_CMD_WDR_BRACKET";
    case IA_CMD_CAMERA_VERSION:
        return "IA_CMD_CAMERA_VERSION";
    case IA_CMD_SENSOR_CHECK:
        return "IA_CMD_SENSOR_CHECK";
    case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
        return "IA_CMD_DYNAMIC_PARAMS_CMDS_GET";
    default:
        return "unknown";
    }
}

const char* optionName(int opt)
{
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return "IA_CMD_OPT_SET";
    case IA_CMD_OPT_GET:
        return "IA_CMD_OPT_GET";
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return "IA_CMD_OPT_GET_PARAM_RNAGE";
    case IA_CMD_OPT_CORRECT_PARAM:
        return "IA_CMD_OPT_CORRECT_PARAM";
    case IA_CMD_OPT_GET_EXEC_STATUS:
        return "IA_CMD_OPT_GET_EXEC_STATUS";
    default:
        return "unknown";
    }
}

u32 keyOfCommand(u32 cmd)
{
    switch (cmd)
    {
#define SNS_KEY(name, key, ia, number, handler) \
    case number:                                \
        return key;
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    default:
        return 0;
    }
}

std::size_t wordsToSet(u32 cmd)
{
    switch (cmd)
    {
    case IA_CMD_DTN_THR:
    case IA_CMD_NTD_THR:
        return sizeof(dn_thr_st) / sizeof(u32);
    case IA_CMD_DTN_H:
    case IA_CMD_DTN_M:
    case IA_CMD_NTD_H:
    case IA_CMD_NTD_M:
        return sizeof(dn_time_st) / sizeof(u32);
    case IA_CMD_SENSOR_CHECK:
        return sizeof(ia_sensor_check_st) / sizeof(u32);
    default:
        return 1;
    }
}

}  // namespace services
