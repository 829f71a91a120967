#pragma once

#include "SensorTypes.h"
#include "sensordll_export.h"

/// The image-adjust interface: the one way from the library to the sensor pipeline. The host defines
/// ia_ioctrl; the library only calls it. docs/PORTING.md says how a service must answer.

/// Commands. Those of the key-command map take and give one 32-bit word unless a record is named below.
enum ia_cmd_e : u32
{
#define SNS_KEY(name, key, ia, cmd, handler) ia = cmd,
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"

    /// Commands that no key of the map stands for.
    IA_CMD_DN_STATE = 0x99,                   ///< get: current day/night state, 0 = day
    IA_CMD_PTZ_RUN_STATE = 0x660,             ///< set: pan/tilt/zoom run state
    IA_CMD_AF_STATISTIC = 0x670,              ///< get: auto-focus statistic, unsigned
    IA_CMD_WDR_BRACKET = 0x942,               ///< video module only: 0 before, 1 after a WDR change
    IA_CMD_CAMERA_VERSION = 0x9C0,            ///< get: text in a buffer of kCameraVersionSize bytes
    IA_CMD_SENSOR_CHECK = 0xB00,              ///< set, get: ia_sensor_check_st
    IA_CMD_DYNAMIC_PARAMS_CMDS_GET = 0x1010,  ///< get: ia_dynamic_params_cmds_st
};

/// Options: what ia_ioctrl does with data.
enum ia_cmd_opt_e
{
    IA_CMD_OPT_SET = 0,              ///< data: the new value (one word) or the command's record
    IA_CMD_OPT_GET = 1,              ///< data: receives the current value or record
    IA_CMD_OPT_GET_PARAM_RNAGE = 2,  ///< contract: misspelling kept. data: ia_dynamic_params_attr_st, receives
                                     ///< the allowed values
    IA_CMD_OPT_CORRECT_PARAM = 3,    ///< data: a value, replaced in place by a valid one when out of range
    IA_CMD_OPT_GET_EXEC_STATUS = 4,  ///< data: receives the command's execution status, one word
};

enum
{
    kDynamicCmdsMax = 16,     ///< entries of cmd_list
    kDynamicItemsMax = 64,    ///< entries of item
    kCameraVersionSize = 50,  ///< bytes, terminator included
};

/// The commands whose allowed values depend on the sensor. Zero-filled by the caller.
struct ia_dynamic_params_cmds_st
{
    int cmd_cnt;  ///< valid entries of cmd_list, 0 to kDynamicCmdsMax
    ia_cmd_e cmd_list[kDynamicCmdsMax];
};

/// Allowed values of one dynamic command.
struct ia_dynamic_params_attr_st
{
    int reserved0;               ///< not read by the library
    int default_value;           ///< the value that a user interface preselects
    int reserved2;               ///< not read by the library
    int reserved3;               ///< not read by the library
    int items_cnt;               ///< valid entries of item, 0 to kDynamicItemsMax
    int item[kDynamicItemsMax];  // allowed values: the "index" numbers of the choice items
};

/// Day/night switch thresholds of the light level, sent with commands 145 and 146.
struct dn_thr_st
{
    u32 d2n_thr;
    u32 n2d_thr;
};

/// Day/night switch times of day, sent with commands 149 to 152.
struct dn_time_st
{
    u32 d2n_hour;
    u32 d2n_min;
    u32 n2d_hour;
    u32 n2d_min;
};

/// Sensor check request: the three numbers of the request text and the service's answer.
struct ia_sensor_check_st
{
    int first;
    int second;  ///< 2 = read, anything else = write
    int third;
    int result;  ///< written by the service on a read
};

static_assert(sizeof(ia_dynamic_params_cmds_st) == 68, "layout shared with the service");
static_assert(sizeof(ia_dynamic_params_attr_st) == 276, "layout shared with the service");
static_assert(sizeof(dn_thr_st) == 8 && sizeof(dn_time_st) == 16, "layout shared with the service");
static_assert(sizeof(ia_sensor_check_st) == 16, "layout shared with the service");

/// Applies, reads or describes one command; opt is an ia_cmd_opt_e. Defined by the host.
/// Returns 0 on success, anything else is a failure (the library's traces single out -1, -4 and -5).
/// Thread-safe by contract: called from the host's threads and from "SensorThread" at the same time, often under the
/// controller's mutex, so it may call back only operations of the controller that take no lock (ISensorController.h).
/// Visible in hosts that hide their symbols by default, too: the library finds it when it is loaded.
extern "C" SENSORDLL_API int ia_ioctrl(ia_cmd_e cmd, int opt, void* data);
