#include "ISensorController.h"
#include "SysConfig.h"
#include "ia_ioctrl.h"
#include "keycmd.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <vector>

// Hosts and services are compiled apart from the library: what they share is the order and the place of the
// fields, and plain numbers.

namespace {

template <typename Record>
constexpr bool isShareable()
{
    return std::is_standard_layout<Record>::value && std::is_trivially_copyable<Record>::value;
}

TEST(RecordLayout, KeyValIsTwoWords)
{
    EXPECT_EQ(8U, sizeof(KeyVal));
    EXPECT_EQ(0U, offsetof(KeyVal, key));
    EXPECT_EQ(4U, offsetof(KeyVal, value));
}

TEST(RecordLayout, ModuleConfigHoldsItsTextsInOrder)
{
    EXPECT_TRUE(isShareable<ModuleConfig>());
    EXPECT_EQ(0U, offsetof(ModuleConfig, nModuleId));
    EXPECT_EQ(4U, offsetof(ModuleConfig, szName));
    EXPECT_EQ(36U, offsetof(ModuleConfig, szShortName));
    EXPECT_EQ(46U, offsetof(ModuleConfig, szParameters));
    EXPECT_EQ(302U, offsetof(ModuleConfig, szDetail));
    EXPECT_EQ(512U, sizeof(ModuleConfig::szDetail));
    EXPECT_EQ(816U, sizeof(ModuleConfig));
}

TEST(RecordLayout, SysConfigHoldsItsFieldsInOrder)
{
    EXPECT_TRUE(isShareable<SysConfig>());
    EXPECT_EQ(0U, offsetof(SysConfig, moduleConfig));
    EXPECT_EQ(816U, offsetof(SysConfig, nSchemeSum));
    EXPECT_EQ(820U, offsetof(SysConfig, nUIFileSum));
    EXPECT_EQ(824U, offsetof(SysConfig, pUIFiles));
    EXPECT_EQ(824U + sizeof(void*), offsetof(SysConfig, szUIStyle));
    EXPECT_EQ(824U + 2 * sizeof(void*), offsetof(SysConfig, nDeviceType));
}

TEST(RecordLayout, UIFileEntryKeepsItsReservedWords)
{
    EXPECT_TRUE(isShareable<UIFileEntry>());
    EXPECT_EQ(0U, offsetof(UIFileEntry, nLanguageId));
    EXPECT_EQ(4U, offsetof(UIFileEntry, nReserved));
    EXPECT_EQ(32U, sizeof(UIFileEntry::nReserved));
    EXPECT_GE(offsetof(UIFileEntry, szLanguageFile), 36U);
    EXPECT_LT(offsetof(UIFileEntry, szLanguageFile), 36U + sizeof(void*));
    EXPECT_EQ(offsetof(UIFileEntry, szLanguageFile) + sizeof(void*), offsetof(UIFileEntry, szCommonFile));
    EXPECT_EQ(offsetof(UIFileEntry, szCommonFile) + sizeof(void*), sizeof(UIFileEntry));
}

TEST(RecordLayout, KeyCommandRowHoldsItsFieldsInOrder)
{
    EXPECT_TRUE(isShareable<keycmd>());
    EXPECT_EQ(0U, offsetof(keycmd, key));
    EXPECT_EQ(4U, offsetof(keycmd, cmd));
    EXPECT_EQ(8U, offsetof(keycmd, handler));
    EXPECT_EQ(8U + sizeof(keycmd_handler), offsetof(keycmd, szKeyName));
    EXPECT_EQ(offsetof(keycmd, szKeyName) + 32, offsetof(keycmd, szHandlerName));
    EXPECT_EQ(offsetof(keycmd, szHandlerName) + 64, sizeof(keycmd));
}

TEST(RecordLayout, DynamicCommandListIsACountAndSixteenWords)
{
    EXPECT_EQ(68U, sizeof(ia_dynamic_params_cmds_st));
    EXPECT_EQ(0U, offsetof(ia_dynamic_params_cmds_st, cmd_cnt));
    EXPECT_EQ(4U, offsetof(ia_dynamic_params_cmds_st, cmd_list));
    EXPECT_EQ(64U, sizeof(ia_dynamic_params_cmds_st::cmd_list));
    EXPECT_EQ(4U, sizeof(ia_cmd_e));
}

TEST(RecordLayout, DynamicAttributesHoldTheirWordsInOrder)
{
    EXPECT_EQ(276U, sizeof(ia_dynamic_params_attr_st));
    EXPECT_EQ(0U, offsetof(ia_dynamic_params_attr_st, reserved0));
    EXPECT_EQ(4U, offsetof(ia_dynamic_params_attr_st, default_value));
    EXPECT_EQ(8U, offsetof(ia_dynamic_params_attr_st, reserved2));
    EXPECT_EQ(12U, offsetof(ia_dynamic_params_attr_st, reserved3));
    EXPECT_EQ(16U, offsetof(ia_dynamic_params_attr_st, items_cnt));
    EXPECT_EQ(20U, offsetof(ia_dynamic_params_attr_st, item));
    EXPECT_EQ(256U, sizeof(ia_dynamic_params_attr_st::item));
}

TEST(RecordLayout, DayNightRecordsHoldTheirWordsInOrder)
{
    EXPECT_EQ(8U, sizeof(dn_thr_st));
    EXPECT_EQ(0U, offsetof(dn_thr_st, d2n_thr));
    EXPECT_EQ(4U, offsetof(dn_thr_st, n2d_thr));
    EXPECT_EQ(16U, sizeof(dn_time_st));
    EXPECT_EQ(0U, offsetof(dn_time_st, d2n_hour));
    EXPECT_EQ(4U, offsetof(dn_time_st, d2n_min));
    EXPECT_EQ(8U, offsetof(dn_time_st, n2d_hour));
    EXPECT_EQ(12U, offsetof(dn_time_st, n2d_min));
}

TEST(RecordLayout, SensorCheckIsFourWordsInOrder)
{
    EXPECT_EQ(16U, sizeof(ia_sensor_check_st));
    EXPECT_EQ(0U, offsetof(ia_sensor_check_st, first));
    EXPECT_EQ(4U, offsetof(ia_sensor_check_st, second));
    EXPECT_EQ(8U, offsetof(ia_sensor_check_st, third));
    EXPECT_EQ(12U, offsetof(ia_sensor_check_st, result));
}

TEST(SharedNumbers, OptionsAre)
{
    EXPECT_EQ(0, IA_CMD_OPT_SET);
    EXPECT_EQ(1, IA_CMD_OPT_GET);
    EXPECT_EQ(2, IA_CMD_OPT_GET_PARAM_RNAGE);
    EXPECT_EQ(3, IA_CMD_OPT_CORRECT_PARAM);
    EXPECT_EQ(4, IA_CMD_OPT_GET_EXEC_STATUS);
}

TEST(SharedNumbers, CommandsThatTheLibraryPassesByItselfAre)
{
    EXPECT_EQ((std::vector<u32>{16, 83, 84, 145, 146, 149, 150, 151, 152}),
              (std::vector<u32>{IA_CMD_EXPOSE_MODE, IA_CMD_IRIS_UP, IA_CMD_IRIS_DOWN, IA_CMD_DTN_THR, IA_CMD_NTD_THR,
                                IA_CMD_DTN_H, IA_CMD_DTN_M, IA_CMD_NTD_H, IA_CMD_NTD_M}));
    EXPECT_EQ((std::vector<u32>{153, 1536, 1552, 1553, 1554, 1568, 1569, 1570, 1632, 1648}),
              (std::vector<u32>{IA_CMD_DN_STATE, IA_CMD_AUTO_FOCUS_MODE, IA_CMD_MF_POSITION, IA_CMD_FOCUS_NEAR,
                                IA_CMD_FOCUS_FAR, IA_CMD_MZ_POSITION, IA_CMD_ZOOM_IN, IA_CMD_ZOOM_OUT,
                                IA_CMD_PTZ_RUN_STATE, IA_CMD_AF_STATISTIC}));
    EXPECT_EQ((std::vector<u32>{2368, 2370, 2384, 2385, 2496, 2816, 4112}),
              (std::vector<u32>{IA_CMD_WDR_MODE, IA_CMD_WDR_BRACKET, IA_CMD_UI_MIRROR, IA_CMD_BEAWAY,
                                IA_CMD_CAMERA_VERSION, IA_CMD_SENSOR_CHECK, IA_CMD_DYNAMIC_PARAMS_CMDS_GET}));
}

TEST(SharedNumbers, DeviceTypesAre)
{
    EXPECT_EQ(1U, DEVICE_TYPE_CAMERA);
    EXPECT_EQ(4U, DEVICE_TYPE_DOME);
    EXPECT_EQ(8U, DEVICE_TYPE_LPR);
    EXPECT_EQ(9U, DEVICE_TYPE_FISHEYE);
}

}  // namespace
