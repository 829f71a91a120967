#include <cstring>

#include "tests/unit/services/linux/ServiceTest.h"

namespace {

using services::Standing;

class LinuxService : public support::ServiceTest
{
protected:
    LinuxService() { start(); }

    // As another program has set it.
    void tellChanged(const devices::Setting& setting)
    {
        camera.change(setting);
        camera.tell({devices::ControlEvent::Kind::changed, setting.id, setting.value, {}});
    }

    std::size_t timesSent(u32 control) const
    {
        std::size_t times = 0;
        for (const auto& settings : camera.sets())
        {
            for (const devices::Setting& setting : settings)
            {
                times += setting.id == control ? 1 : 0;
            }
        }
        return times;
    }
};

// ---- one call ----

TEST_F(LinuxService, SendsWhatIsSet)
{
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_BRIGHTNESS, 64}));
    EXPECT_EQ(100, get(IA_CMD_BRIGHTNESS));
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
}

TEST_F(LinuxService, AnswersTheWordThatWasSetThoughTheDeviceHasCoarserSteps)
{
    EXPECT_EQ(0, set(IA_CMD_SHARPNESS, 51));
    EXPECT_EQ(51, get(IA_CMD_SHARPNESS));
}

TEST_F(LinuxService, RefusesWhatTheDeviceWouldClamp)
{
    for (const int value : {-1, 101, INT_MAX, INT_MIN})
    {
        EXPECT_EQ(services::kOutOfRange, set(IA_CMD_BRIGHTNESS, value));
    }
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_EXPOSE_MODE, 9));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS));
}

TEST_F(LinuxService, KnowsNoCommandWithoutADeviceBehindIt)
{
    for (const u32 cmd : {u32(IA_CMD_HLC_SWITCH), u32(IA_CMD_UI_MIRROR), u32(IA_CMD_SENSOR_CHECK),
                          u32(IA_CMD_AF_STATISTIC), 0u, 0x7FFFFFFFu})
    {
        int value = 0;
        EXPECT_EQ(services::kUnknownCommand, service->call(ia_cmd_e(cmd), IA_CMD_OPT_GET, &value)) << cmd;
        EXPECT_EQ(services::kUnknownCommand, service->call(ia_cmd_e(cmd), IA_CMD_OPT_SET, &value)) << cmd;
        EXPECT_FALSE(service->parameter(ia_cmd_e(cmd))) << cmd;
    }
}

TEST_F(LinuxService, RefusesOptionsThatACommandDoesNotHaveAndCallsWithoutData)
{
    int value = 1;
    EXPECT_EQ(services::kNotSupported, service->call(IA_CMD_DN_STATE, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(services::kNotSupported, service->call(IA_CMD_BRIGHTNESS, 5, &value));
    EXPECT_EQ(services::kNotSupported, service->call(IA_CMD_BRIGHTNESS, -1, &value));
    EXPECT_EQ(services::kNoData, service->call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, nullptr));
    EXPECT_EQ(services::kNoData, service->call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, nullptr));
}

TEST_F(LinuxService, TellsWhatIsAllowed)
{
    ia_dynamic_params_attr_st allowed;
    ASSERT_EQ(0, service->call(IA_CMD_EXPOSE_MODE, IA_CMD_OPT_GET_PARAM_RNAGE, &allowed));
    const auto row = service->parameter(IA_CMD_EXPOSE_MODE);
    ASSERT_TRUE(row);
    EXPECT_EQ(static_cast<int>(row->allowed.items.size()), allowed.items_cnt);
    EXPECT_EQ(row->allowed.defaultValue, allowed.default_value);
    EXPECT_EQ(row->allowed.items.front(), allowed.item[0]);
}

TEST_F(LinuxService, CorrectsAValueToTheNearestOne)
{
    int value = 500;
    EXPECT_EQ(0, service->call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_CORRECT_PARAM, &value));
    EXPECT_EQ(100, value);
    value = 100;
    EXPECT_EQ(0, service->call(IA_CMD_FIX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, &value));
    EXPECT_EQ(service->parameter(IA_CMD_FIX_SHUTTER)->allowed.defaultValue, value);
}

TEST_F(LinuxService, GivesTheVersionAndNoDynamicCommands)
{
    char version[kCameraVersionSize];
    std::memset(version, 'x', sizeof version);
    EXPECT_EQ(0, service->call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, version));
    EXPECT_STREQ("uvcvideo 6.1", version);
    ia_dynamic_params_cmds_st list;
    list.cmd_cnt = 9;
    EXPECT_EQ(0, service->call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    EXPECT_EQ(0, list.cmd_cnt);
}

TEST_F(LinuxService, TakesThresholdsAndTimesTogetherOrNotAtAll)
{
    dn_thr_st thresholds{10, 90};
    EXPECT_EQ(0, service->call(IA_CMD_DTN_THR, IA_CMD_OPT_SET, &thresholds));
    EXPECT_EQ(10, get(IA_CMD_DTN_THR));
    EXPECT_EQ(90, get(IA_CMD_NTD_THR));
    dn_time_st times{19, 30, 24, 0};
    EXPECT_EQ(services::kOutOfRange, service->call(IA_CMD_NTD_M, IA_CMD_OPT_SET, &times));
    EXPECT_EQ(18, get(IA_CMD_DTN_H));
    times.n2d_hour = 5;
    EXPECT_EQ(0, service->call(IA_CMD_NTD_M, IA_CMD_OPT_SET, &times));
    EXPECT_EQ(19, get(IA_CMD_DTN_H));
    EXPECT_EQ(5, get(IA_CMD_NTD_H));
}

TEST_F(LinuxService, KeepsThePanAndTiltStateForTheLibrary)
{
    EXPECT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    EXPECT_EQ(1, get(IA_CMD_PTZ_RUN_STATE));
    EXPECT_FALSE(service->parameter(IA_CMD_PTZ_RUN_STATE));
}

TEST_F(LinuxService, HasOneModule)
{
    EXPECT_TRUE(service->setModule(1));
    EXPECT_FALSE(service->setModule(0));
    EXPECT_FALSE(service->setModule(2));
}

TEST_F(LinuxService, StepsThePositionAndStopsAtItsEnd)
{
    EXPECT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, 1));
    EXPECT_EQ(0, set(IA_CMD_MF_POSITION, 19'900));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_FAR, 1));
    EXPECT_EQ(19'700, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_NEAR, 0));
    EXPECT_EQ(19'700, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_NEAR, 1));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_NEAR, 1));
    EXPECT_EQ(20'000, get(IA_CMD_MF_POSITION));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_FOCUS_ABSOLUTE, 1023}));
    EXPECT_EQ(0, get(IA_CMD_FOCUS_NEAR));
}

TEST_F(LinuxService, MovesTheIrisAsWasSetLast)
{
    EXPECT_EQ(0, set(IA_CMD_EXPOSE_MODE, 3));
    EXPECT_EQ(0, set(IA_CMD_IRIS_POSITION, 96));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_IRIS_ABSOLUTE, 2200}));
    EXPECT_EQ(8, get(IA_CMD_IRIS_SIZE));
    EXPECT_EQ(0, set(IA_CMD_IRIS_SIZE, 0));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_IRIS_ABSOLUTE, 160}));
    EXPECT_EQ(3, get(IA_CMD_IRIS_POSITION));
    EXPECT_EQ(0, set(IA_CMD_IRIS_POSITION, 48));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_IRIS_ABSOLUTE, 1150}));
}

TEST_F(LinuxService, SendsNothingThatNobodySet)
{
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    for (const auto& settings : camera.sets())
    {
        for (const devices::Setting& setting : settings)
        {
            EXPECT_TRUE(setting.id == V4L2_CID_BRIGHTNESS || setting.id == V4L2_CID_SATURATION) << setting.id;
        }
    }
}

// ---- the device in trouble ----

TEST_F(LinuxService, NeverWaitsForADeviceThatHangs)
{
    camera.hang();
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    ASSERT_TRUE(camera.waitForHanging());
    EXPECT_EQ(0, set(IA_CMD_CONTRAST, 100));
    EXPECT_EQ(100, get(IA_CMD_CONTRAST));
    EXPECT_EQ(services::kRunning, get(IA_CMD_CONTRAST, IA_CMD_OPT_GET_EXEC_STATUS));
    camera.release();
    EXPECT_TRUE(becomes(IA_CMD_CONTRAST, Standing::applied));
}

TEST_F(LinuxService, HoldsATimeWhileTheExposureIsAutomatic)
{
    EXPECT_EQ(0, set(IA_CMD_EXPOSE_MODE, 0));
    EXPECT_EQ(0, set(IA_CMD_FIX_SHUTTER, 8));
    EXPECT_TRUE(becomes(IA_CMD_FIX_SHUTTER, Standing::held));
    EXPECT_EQ(services::kRunning, get(IA_CMD_FIX_SHUTTER, IA_CMD_OPT_GET_EXEC_STATUS));
    EXPECT_EQ(0, set(IA_CMD_EXPOSE_MODE, 3));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_EXPOSURE_ABSOLUTE, 100}));
    EXPECT_TRUE(becomes(IA_CMD_FIX_SHUTTER, Standing::applied));
    EXPECT_EQ(services::kIdle, get(IA_CMD_FIX_SHUTTER, IA_CMD_OPT_GET_EXEC_STATUS));
}

TEST_F(LinuxService, ShowsWhatTheDeviceRefuses)
{
    camera.fail({ERANGE, ERANGE});
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::refused));
    EXPECT_EQ(services::kFailed, get(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_EXEC_STATUS));
}

TEST_F(LinuxService, ShowsThatAPressFailedUntilTheNext)
{
    ASSERT_TRUE(support::comes([this] { return service->isThere(); }));
    camera.fail({EBUSY});
    EXPECT_EQ(services::kIdle, get(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_EXEC_STATUS));
    EXPECT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    EXPECT_TRUE(becomes(IA_CMD_AUTO_FOCUS_ONCE, Standing::refused));
    EXPECT_EQ(services::kFailed, get(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_EXEC_STATUS));
    EXPECT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    EXPECT_TRUE(becomes(IA_CMD_AUTO_FOCUS_ONCE, Standing::applied));
    EXPECT_EQ(1u, timesSent(V4L2_CID_AUTO_FOCUS_START));
}

TEST_F(LinuxService, ShowsAPressAsRunningUntilTheDeviceHasTakenIt)
{
    ASSERT_TRUE(support::comes([this] { return service->isThere(); }));
    camera.hang();
    EXPECT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    ASSERT_TRUE(camera.waitForHanging());
    EXPECT_EQ(services::kRunning, get(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_EXEC_STATUS));
    camera.release();
    EXPECT_TRUE(becomes(IA_CMD_AUTO_FOCUS_ONCE, Standing::applied));
}

TEST_F(LinuxService, SendsAllAgainToADeviceThatIsBack)
{
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    EXPECT_TRUE(support::comes([this] { return service->isThere(); }));
    camera.plug(false);
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::lost));
    EXPECT_FALSE(service->isThere());
    EXPECT_EQ(services::kFailed, get(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_EXEC_STATUS));
    EXPECT_EQ(0, set(IA_CMD_CONTRAST, 100));
    camera.plug(true);
    source.change();
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    EXPECT_TRUE(camera.waitFor({V4L2_CID_CONTRAST, 95}));
    EXPECT_TRUE(service->isThere());
    EXPECT_FALSE(service->hasOtherControls());
}

TEST_F(LinuxService, KnowsWhetherTheDeviceIsThereThoughNothingIsWished)
{
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_TRUE(support::comes([this] { return service->isThere(); }));
        camera.plug(false);
        EXPECT_TRUE(support::comes([this] { return !service->isThere(); }));
        camera.plug(true);
        source.change();
    }
}

TEST_F(LinuxService, ListensToTheSourceAsLongAsItLives)
{
    EXPECT_TRUE(source.isHeard());
    service.reset();
    EXPECT_FALSE(source.isHeard());
}

TEST_F(LinuxService, ListensToTheSourceBeforeTheFirstOpening)
{
    source.takes = 5;
    service.reset();
    start();
    EXPECT_TRUE(support::comes([this] { return service->isThere(); }));
    EXPECT_FALSE(isOpenedUnheard);
}

TEST_F(LinuxService, SendsTheLensWhereItShallBeOnceMore)
{
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 31'424));
    ASSERT_TRUE(becomes(IA_CMD_MZ_POSITION, Standing::applied));
    const std::size_t before = timesSent(V4L2_CID_ZOOM_ABSOLUTE);
    EXPECT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    EXPECT_TRUE(support::comes([&] { return timesSent(V4L2_CID_ZOOM_ABSOLUTE) == before + 1; }));
    EXPECT_TRUE(becomes(IA_CMD_MZ_POSITION, Standing::applied));
}

TEST_F(LinuxService, TriesAgainWhatIsBusy)
{
    camera.fail(std::deque<int>(100'000, EBUSY));
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::busy));
    EXPECT_EQ(services::kRunning, get(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_EXEC_STATUS));
    camera.fail({});
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
}

// ---- others at the same device ----

TEST_F(LinuxService, PutsBackWhatAnotherProgramSets)
{
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    const std::size_t before = timesSent(V4L2_CID_BRIGHTNESS);
    tellChanged({V4L2_CID_BRIGHTNESS, 0});
    EXPECT_TRUE(support::comes([&] { return timesSent(V4L2_CID_BRIGHTNESS) == before + 1; }));
    EXPECT_EQ(100, get(IA_CMD_BRIGHTNESS));
    EXPECT_TRUE(service->takenOver().empty());
}

TEST_F(LinuxService, ReadsWhatItWishedWhenAnotherProgramWasThere)
{
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    const std::size_t before = timesSent(V4L2_CID_BRIGHTNESS);
    camera.change({V4L2_CID_BRIGHTNESS, 0});
    source.use();
    EXPECT_TRUE(support::comes([&] { return timesSent(V4L2_CID_BRIGHTNESS) == before + 1; }));
}

TEST_F(LinuxService, HasNoPictureWithoutANodeForIt)
{
    EXPECT_EQ(nullptr, service->openPicture());
}

TEST_F(LinuxService, TellsWhenAnotherProgramWins)
{
    patience.putBacks = 1;
    start();
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    tellChanged({V4L2_CID_BRIGHTNESS, 0});
    ASSERT_TRUE(support::comes([this] { return timesSent(V4L2_CID_BRIGHTNESS) == 2; }));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    tellChanged({V4L2_CID_BRIGHTNESS, 0});
    EXPECT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::overruled));
    EXPECT_EQ(services::kFailed, get(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_EXEC_STATUS));
}

TEST_F(LinuxService, TakesOverWhatAnotherProgramSetsWhereItShall)
{
    devices::Board board = nightBoard();
    board.others = devices::Others::takeOver;
    start(board);
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    EXPECT_EQ(0, service->set("number", 90));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    ASSERT_TRUE(camera.waitFor({kHue, 90}));
    tellChanged({V4L2_CID_BRIGHTNESS, 0});
    tellChanged({kHue, -5});
    EXPECT_TRUE(support::comes([this] { return get(IA_CMD_BRIGHTNESS) == 50; }));
    EXPECT_TRUE(support::comes([this] { return service->controls()[0].value == -5; }));
    EXPECT_EQ((std::map<ia_cmd_e, int>{{IA_CMD_BRIGHTNESS, 50}}), service->takenOver());
    EXPECT_TRUE(service->takenOver().empty());
    EXPECT_EQ(0, set(IA_CMD_CONTRAST, 100));
    ASSERT_TRUE(camera.waitFor({V4L2_CID_CONTRAST, 95}));
    EXPECT_EQ(1u, timesSent(V4L2_CID_BRIGHTNESS));
}

TEST_F(LinuxService, TakesNoRateOverThatItsOwnPictureHasLeft)
{
    devices::Board board = nightBoard();
    board.others = devices::Others::takeOver;
    picture = [](int& error) {
        error = EBUSY;
        return nullptr;
    };
    start(board);
    EXPECT_EQ(0, set(IA_CMD_SENSOR_FPS, 30));
    ASSERT_TRUE(becomes(IA_CMD_SENSOR_FPS, Standing::applied));
    EXPECT_THROW(service->openPicture(), std::runtime_error);
    camera.change({devices::kFrameRate, 15});
    source.use();
    EXPECT_TRUE(support::comes([this] { return timesSent(devices::kFrameRate) == 2; }));
    EXPECT_EQ(30, get(IA_CMD_SENSOR_FPS));
    EXPECT_TRUE(service->takenOver().empty());
}

TEST_F(LinuxService, WhatIsSetAfterwardsIsNotTakenOver)
{
    devices::Board board = nightBoard();
    board.others = devices::Others::takeOver;
    start(board);
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 100));
    ASSERT_TRUE(becomes(IA_CMD_BRIGHTNESS, Standing::applied));
    camera.change({V4L2_CID_BRIGHTNESS, 0});
    camera.tell({devices::ControlEvent::Kind::changed, V4L2_CID_BRIGHTNESS, 0, {}});
    EXPECT_TRUE(support::comes([this] { return get(IA_CMD_BRIGHTNESS) == 50; }));
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 70));
    EXPECT_TRUE(service->takenOver().empty());
    EXPECT_EQ(70, get(IA_CMD_BRIGHTNESS));
}

TEST_F(LinuxService, NoticesThatTheDeviceHasOtherControlsNow)
{
    std::vector<devices::Control> fewer = cameraControls();
    fewer.pop_back();
    support::Script other{fewer};
    service = std::make_unique<devices::Service>(description(), nightBoard(), source,
                                                 devices::Devices{[&] { return other.open(); }, {}, {}, {}, {}},
                                                 patience, devices::LookTimes());
    EXPECT_TRUE(support::comes([this] { return service->hasOtherControls(); }));
    service.reset();
}

TEST_F(LinuxService, HasNoOtherControlsBeforeAllDevicesAreThere)
{
    support::Script brighter{{support::number(devices::kLampNear, 0, 100, 0)}};
    devices::Board board = nightBoard();
    board.light = "";
    service.reset();
    camera.plug(false);
    service = std::make_unique<devices::Service>(
        description(), board, source,
        devices::Devices{[&] { return camera.open(); }, [&] { return brighter.open(); }, {}, {}, {}}, patience,
        devices::LookTimes());
    EXPECT_EQ(0, set(IA_CMD_IR_AUTO_STRG_NEAR, 0));
    EXPECT_TRUE(becomes(IA_CMD_IR_AUTO_STRG_NEAR, Standing::applied));
    EXPECT_FALSE(service->hasOtherControls()) << "a start without the camera has the same documents";
    camera.plug(true);
    source.change();
    EXPECT_TRUE(support::comes([this] { return service->hasOtherControls(); }));
    service.reset();
}

TEST_F(LinuxService, WithOldDocumentsIsStartedAgainOnceAllDevicesAreThere)
{
    filter.plug(false);
    start();
    service->callDocumentsOld();
    EXPECT_TRUE(support::comes([this] { return service->isThere(); }));
    EXPECT_FALSE(service->hasOtherControls());
    filter.plug(true);
    source.change();
    EXPECT_TRUE(support::comes([this] { return service->hasOtherControls(); }));
}

// ---- what has no command ----

TEST_F(LinuxService, NamesControlsThatNoCommandStandsFor)
{
    const auto controls = service->controls();
    ASSERT_EQ(1u, controls.size());
    EXPECT_EQ("number", controls[0].name);
    EXPECT_EQ(-180, controls[0].allowed.minimum);
    EXPECT_EQ(0, service->set("number", 90));
    EXPECT_TRUE(camera.waitFor({kHue, 90}));
    EXPECT_EQ(90, service->controls()[0].value);
    EXPECT_EQ(services::kOutOfRange, service->set("number", 181));
    EXPECT_EQ(services::kUnknownCommand, service->set("no such control", 1));
}

}  // namespace
