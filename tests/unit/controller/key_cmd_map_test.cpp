#include "tests/support/ControllerFixture.h"

#include <iterator>

#include "keycmd.h"

using namespace support;

namespace {

const u32 kRowsAtStart = g_nKeyCmdNum;
const keycmd* const kMapAtStart = g_pKeyCmdMap;

enum Handler
{
    kNone,
    kIaCmd,
    kIaCmdUser,
    kHwdr,
    kImageAdjust,
    kDIS,
    kMirror,
    kBeaway,
    kDNThr,
    kDNTime,
};

struct HandlerRow
{
    keycmd_handler handler;
    const char* name;
};

const std::map<Handler, HandlerRow> kHandlers = {
    {kNone, {nullptr, "NULL"}},
    {kIaCmd, {&ISensorController::doIaCmd, "&ISensorController::doIaCmd"}},
    {kIaCmdUser, {&ISensorController::doIaCmd_User, "&ISensorController::doIaCmd_User"}},
    {kHwdr, {&ISensorController::doHwdr, "&ISensorController::doHwdr"}},
    {kImageAdjust, {&ISensorController::doImageAdjust, "&ISensorController::doImageAdjust"}},
    {kDIS, {&ISensorController::doDIS, "&ISensorController::doDIS"}},
    {kMirror, {&ISensorController::doMirror, "&ISensorController::doMirror"}},
    {kBeaway, {&ISensorController::doBeaway, "&ISensorController::doBeaway"}},
    {kDNThr, {&ISensorController::doDNThr, "&ISensorController::doDNThr"}},
    {kDNTime, {&ISensorController::doDNTime, "&ISensorController::doDNTime"}},
};

struct Row
{
    const char* name;
    u32 key;
    u32 cmd;
    Handler handler;
};

// Written down apart from the library's table, so that a slip in one of the two shows.
const Row kRows[] = {
    {"KEY_BRIGHTNESS", 34, 34, kIaCmd},
    {"KEY_SATURATION", 2337, 2337, kIaCmd},
    {"KEY_CONTRAST", 2353, 2353, kIaCmd},
    {"KEY_SHARPNESS", 2321, 2321, kIaCmd},
    {"KEY_METER_AREA", 96, 96, kIaCmd},
    {"KEY_EXPOSE_MODE", 16, 16, kIaCmd},
    {"KEY_MAX_SHUTTER", 49, 49, kIaCmd},
    {"KEY_FIX_SHUTTER", 50, 50, kIaCmd},
    {"KEY_MAX_GAIN", 65, 65, kIaCmd},
    {"KEY_FIX_GAIN", 66, 66, kIaCmd},
    {"KEY_IRIS_SWITCH", 80, 80, kIaCmd},
    {"KEY_IRIS_SPEED", 81, 81, kIaCmd},
    {"KEY_IRIS_POSITION", 82, 82, kIaCmd},
    {"KEY_IRIS_SIZE", 83, 85, kIaCmd},
    {"KEY_IRIS_UP", 17, 83, kIaCmdUser},
    {"KEY_IRIS_DOWN", 18, 84, kIaCmdUser},
    {"KEY_WB_MODE", 768, 768, kIaCmd},
    {"KEY_R_GAIN", 770, 770, kIaCmd},
    {"KEY_B_GAIN", 771, 771, kIaCmd},
    {"KEY_DN_MODE", 144, 144, kIaCmd},
    {"KEY_DELAY", 147, 147, kIaCmd},
    {"KEY_IR_SWITCH", 160, 160, kIaCmd},
    {"KEY_IR_MODE", 161, 161, kIaCmd},
    {"KEY_IR_AUTO_STRG_NEAR", 162, 162, kIaCmd},
    {"KEY_IR_MANUAL_STRG_NEAR", 163, 163, kIaCmd},
    {"KEY_IR_AUTO_STRG_MEDIUM", 164, 164, kIaCmd},
    {"KEY_IR_MANUAL_STRG_MEDIUM", 165, 165, kIaCmd},
    {"KEY_IR_AUTO_STRG_FAR", 166, 166, kIaCmd},
    {"KEY_IR_MANUAL_STRG_FAR", 167, 167, kIaCmd},
    {"KEY_2D_NR_SWITCH", 2304, 2304, kIaCmd},
    {"KEY_2D_NR_MODE", 2305, 2305, kIaCmd},
    {"KEY_2D_NR_STRG_A", 2306, 2306, kIaCmd},
    {"KEY_2D_NR_STRG_M", 2307, 2307, kIaCmd},
    {"KEY_3D_NR_SWITCH", 2308, 2308, kIaCmd},
    {"KEY_3D_NR_MODE", 2309, 2309, kIaCmd},
    {"KEY_3D_NR_STRG_A", 2312, 2312, kIaCmd},
    {"KEY_3D_NR_STRG_M", 2313, 2313, kIaCmd},
    {"KEY_WDR_MODE", 2368, 2368, kHwdr},
    {"KEY_WDR_STRG", 2369, 2369, kIaCmd},
    {"KEY_HLC_SWITCH", 112, 112, kIaCmd},
    {"KEY_HLC_STRG", 113, 113, kIaCmd},
    {"KEY_BLC_SWITCH", 128, 128, kIaCmd},
    {"KEY_BLC_MODE", 129, 129, kIaCmd},
    {"KEY_BLC_STRG", 130, 130, kIaCmd},
    {"KEY_ANTI_SHAKE_SWITCH", 2416, 2416, kDIS},
    {"KEY_ANTI_SHAKE_STRG", 2417, 2417, kIaCmd},
    {"KEY_DEFLG_SWITCH", 2400, 2400, kIaCmd},
    {"KEY_DEFLG_STRG", 2401, 2401, kIaCmd},
    {"KEY_IN_OUT_SIDE", 176, 176, kIaCmd},
    {"KEY_MIRROR", 2384, 2384, kMirror},
    {"KEY_BEAWAY", 2385, 2385, kBeaway},
    {"KEY_DTN_THR", 145, 145, kDNThr},
    {"KEY_NTD_THR", 146, 146, kDNThr},
    {"KEY_DTN_H", 149, 149, kDNTime},
    {"KEY_DTN_M", 150, 150, kDNTime},
    {"KEY_NTD_H", 151, 151, kDNTime},
    {"KEY_NTD_M", 152, 152, kDNTime},
    {"KEY_AUTO_FOCUS_MODE", 1536, 1536, kIaCmd},
    {"KEY_AUTO_FOCUS_NEAR_LIMIT", 1537, 1537, kIaCmd},
    {"KEY_AUTO_FOCUS_SENSITIVITY", 1538, 1538, kIaCmd},
    {"KEY_AUTO_FOCUS_ONCE", 1539, 1539, kIaCmdUser},
    {"KEY_LENS_RESET", 1616, 1616, kIaCmdUser},
    {"KEY_ZOOM_OUT", 1570, 1570, kIaCmdUser},
    {"KEY_ZOOM_IN", 1569, 1569, kIaCmdUser},
    {"KEY_FOCUS_NEAR", 1553, 1553, kIaCmdUser},
    {"KEY_FOCUS_FAR", 1554, 1554, kIaCmdUser},
    {"KEY_DIGITAL_ZOOM", 1584, 1584, kIaCmd},
    {"KEY_MZOOM_SPEED", 1571, 1571, kIaCmd},
    {"KEY_SCHEME_ENABLE", 8000, 0, kNone},
    {"KEY_SCHEME_START_HOUR", 8001, 0, kNone},
    {"KEY_SCHEME_START_MIN", 8002, 0, kNone},
    {"KEY_SCHEME_END_HOUR", 8003, 0, kNone},
    {"KEY_SCHEME_END_MIN", 8004, 0, kNone},
    {"KEY_MF_POSITION", 1552, 1552, kIaCmd},
    {"KEY_MZ_POSITION", 1568, 1568, kIaCmd},
    {"KEY_CAP_OFF_ADJ_DIRECTION", 2432, 2432, kImageAdjust},
    {"KEY_CAP_OFF_ADJ_STEP", 2433, 2433, kIaCmd},
    {"KEY_CAP_OFF_ADJ_H_MIN", 2434, 2434, kIaCmd},
    {"KEY_CAP_OFF_ADJ_H_MAX", 2435, 2435, kIaCmd},
    {"KEY_CAP_OFF_ADJ_H_CUR", 2436, 2436, kImageAdjust},
    {"KEY_CAP_OFF_ADJ_V_MIN", 2437, 2437, kIaCmd},
    {"KEY_CAP_OFF_ADJ_V_MAX", 2438, 2438, kIaCmd},
    {"KEY_CAP_OFF_ADJ_V_CUR", 2439, 2439, kImageAdjust},
    {"KEY_SENSOR_FPS", 2497, 2464, kIaCmdUser},
    {"KEY_FREEZE", 2512, 2512, kIaCmd},
    {"KEY_GAMMA", 2528, 2528, kIaCmd},
    {"KEY_DN_AF_MODE", 2560, 2560, kIaCmd},
};

class KeyCmdMap : public UpFixture
{
protected:
    const keycmd* map() { return ControllerProbe::keyCmdMap(c()); }
};

TEST_F(KeyCmdMap, NoMapHasNoRow)
{
    keycmd row = {};
    EXPECT_EQ(-1, c().findFromKeyCmdMap(nullptr, KEY_BRIGHTNESS, row));
    EXPECT_EQ(0U, row.key);
}

TEST_F(KeyCmdMap, HasRoomForAHundredRowsBeforeTheFirstInit)
{
    EXPECT_EQ(100U, kRowsAtStart);
    EXPECT_EQ(nullptr, kMapAtStart);
}

TEST_F(KeyCmdMap, EveryRowIsAsWrittenDown)
{
    for (size_t i = 0; i < std::size(kRows); ++i)
    {
        SCOPED_TRACE(i);
        const HandlerRow& handler = kHandlers.at(kRows[i].handler);
        EXPECT_EQ(kRows[i].key, map()[i].key);
        EXPECT_EQ(kRows[i].cmd, map()[i].cmd);
        EXPECT_TRUE(handler.handler == map()[i].handler);
        EXPECT_STREQ(kRows[i].name, map()[i].szKeyName);
        EXPECT_STREQ(handler.name, map()[i].szHandlerName);
    }
}

TEST_F(KeyCmdMap, EveryKeyIsFoundInItsRow)
{
    for (size_t i = 0; i < std::size(kRows); ++i)
    {
        keycmd row{};
        EXPECT_EQ(static_cast<int>(i), c().findFromKeyCmdMap(map(), kRows[i].key, row));
        EXPECT_EQ(kRows[i].key, row.key);
        EXPECT_EQ(kRows[i].cmd, row.cmd);
        EXPECT_STREQ(kRows[i].name, row.szKeyName);
        EXPECT_STREQ(kHandlers.at(kRows[i].handler).name, row.szHandlerName);
        EXPECT_TRUE(kHandlers.at(kRows[i].handler).handler == row.handler);
    }
}

TEST_F(KeyCmdMap, KeyZeroAndUnknownKeysAreNotFoundAndLeaveTheRowAlone)
{
    for (const u32 key : {0U, 1U, 85U, 2464U, 8005U, 0xFFFFFFFFU})
    {
        keycmd row{};
        row.key = 4711;
        EXPECT_EQ(-1, c().findFromKeyCmdMap(map(), key, row)) << key;
        EXPECT_EQ(4711U, row.key);
    }
}

TEST_F(KeyCmdMap, EveryKeyReachesTheServiceAsItsCommandAndScheduleKeysDoNot)
{
    for (const Row& row : kRows)
    {
        service_.clearCalls();
        EXPECT_EQ(0, c().setParameter(static_cast<int>(row.key), 1, false)) << row.name;
        if (row.handler == kNone)
        {
            EXPECT_TRUE(service_.calls().empty()) << row.name;
            continue;
        }
        ASSERT_EQ(1U, service_.calls().size()) << row.name;
        EXPECT_EQ(row.cmd, service_.calls()[0].cmd) << row.name;
        EXPECT_EQ(0, service_.calls()[0].opt) << row.name;
    }
}

TEST_F(KeyCmdMap, FirstMatchOfTheGivenMapWins)
{
    std::vector<keycmd> own(std::size(kRows));
    own[3].key = 34;
    own[3].cmd = 1;
    own[5].key = 34;
    keycmd row{};
    EXPECT_EQ(3, c().findFromKeyCmdMap(own.data(), 34, row));
    EXPECT_EQ(1U, row.cmd);
}

TEST_F(KeyCmdMap, MissIsPrintedFromLevelSixOn)
{
    keycmd row{};
    const auto miss = [&] { c().findFromKeyCmdMap(map(), 4711, row); };
    EXPECT_EQ("", outputOf(miss));
    setDebug(5);
    EXPECT_EQ("", outputOf(miss));
    setDebug(6);
    EXPECT_EQ(plain("cand not find key-cmd while key=4711\n"), outputOf(miss));
}

TEST_F(KeyCmdMap, HitPrintsNothing)
{
    setDebug(9);
    keycmd row{};
    EXPECT_EQ("", outputOf([&] { c().findFromKeyCmdMap(map(), 34, row); }));
}

TEST_F(KeyCmdMap, IsBuiltAgainByTheNextInit)
{
    bringUp();
    EXPECT_EQ(std::size(kRows), g_nKeyCmdNum);
    EXPECT_EQ(map(), g_pKeyCmdMap);
    EXPECT_EQ(2560U, map()[std::size(kRows) - 1].key);
}

}  // namespace
