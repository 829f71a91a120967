#include "tests/robust/hostile/BlockingFixture.h"

namespace support {
namespace {

template <typename Value>
void asked(ISensorController& c, bool (ISensorController::*get)(Value&))
{
    Value value{};
    (c.*get)(value);
}

}  // namespace

std::vector<HostCall> callsWithoutLock()
{
    using C = ISensorController;
    return {
        {"getDNMode", [](C& c) { asked(c, &C::getDNMode); }},
        {"getZoomValue",
         [](C& c) {
             int position = 0;
             int ratio = 0;
             c.getZoomValue(position, ratio);
         }},
        {"getFocusValue", [](C& c) { asked(c, &C::getFocusValue); }},
        {"getFocusMode", [](C& c) { asked(c, &C::getFocusMode); }},
        {"getAFStatistic", [](C& c) { asked(c, &C::getAFStatistic); }},
        {"getWDR", [](C& c) { asked(c, &C::getWDR); }},
        {"getCameraVerInf", [](C& c) { asked(c, &C::getCameraVerInf); }},
        {"getCmdExecStatus",
         [](C& c) {
             int status = 0;
             c.getCmdExecStatus(1616, status);
         }},
        {"getSensorType", [](C& c) { c.getSensorType(); }},
        {"getSensorStatus", [](C& c) { c.getSensorStatus(); }},
        {"SensorCheck",
         [](C& c) {
             std::string text = "(1,2,3)";
             c.SensorCheck(text);
         }},
        {"parseSensorParameter",
         [](C& c) {
             std::vector<std::string> items;
             c.parseSensorParameter("(1,2)", items);
         }},
        {"doIaCmd",
         [](C& c) {
             u32 value = 5;
             c.doIaCmd(KEY_GAMMA, IA_CMD_OPT_SET, &value);
         }},
        {"doIaCmd_User",
         [](C& c) {
             u32 value = 1;
             c.doIaCmd_User(KEY_LENS_RESET, IA_CMD_OPT_SET, &value);
         }},
        {"notifyToVideo", [](C& c) { c.notifyToVideo(1, 2); }},
        {"focusFar", [](C& c) { c.focusFar(); }},
        {"irisUp", [](C& c) { c.irisUp(); }},
        {"zoomIn", [](C& c) { c.zoomIn(); }},
        {"setZoomValue", [](C& c) { c.setZoomValue(20000); }},
        {"setFocusMode", [](C& c) { c.setFocusMode(1); }},
        {"setPTZRunState", [](C& c) { c.setPTZRunState(1); }},
    };
}

std::vector<HostCall> callsWithLock()
{
    using C = ISensorController;
    return {
        {"setParameter", [](C& c) { c.setParameter(KEY_CONTRAST, 77, true); }},
        {"setParametersFromText", [](C& c) { c.setParameters("(2353,78)(2337,79)", true); }},
        {"flush", [](C& c) { c.flush(); }},
        {"getParamScheme", [](C& c) { asked(c, &C::getParamScheme); }},
        {"getParamMode", [](C& c) { asked(c, &C::getParamMode); }},
        {"restore", [](C& c) { c.restore(KEY_CONTRAST); }},
        {"restoreAeMode", [](C& c) { c.restoreAeMode(); }},
        {"resetToLastParameters", [](C& c) { c.resetToLastParameters(); }},
        {"getAllParameters", [](C& c) { asked(c, &C::getAllParameters); }},
        {"getParameters",
         [](C& c) {
             std::string text;
             c.getParameters("(34,2528)", text);
         }},
        {"getParameter",
         [](C& c) {
             int value = 0;
             c.getParameter(KEY_GAMMA, value);
         }},
        {"getMirrorValue", [](C& c) { asked(c, &C::getMirrorValue); }},
        {"getUIStyleFile", [](C& c) { c.getUIStyleFile(); }},
        {"getUICommonFile", [](C& c) { c.getUICommonFile(1); }},
        {"getUILanguageFile", [](C& c) { c.getUILanguageFile(1); }},
    };
}

void BlockingFixture::TearDown()
{
    gate_->open();
    HostileFixture::TearDown();
}

void BlockingFixture::stopNext(u32 cmd, int opt)
{
    service_.intercept([=, gate = gate_, taken = std::make_shared<std::atomic<bool>>(false)](
                           u32 called, int with, void*) -> std::optional<int> {
        if (called == cmd && with == opt && !taken->exchange(true))
        {
            gate->pass();
        }
        return std::nullopt;
    });
}

void BlockingFixture::stopThreadInSwitch()
{
    stopNext(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    ASSERT_TRUE(clock_->waitForSleepers(1, std::chrono::seconds(30)));
    setTime(18, 0);
    clock_->advance(std::chrono::seconds(1));
    ASSERT_TRUE(gate_->waitForArrivals());
    ASSERT_EQ(kSwitchingBit, flags() & kBusyBits);
    ASSERT_EQ(1, current());
}

bool BlockingFixture::threadIsThrough()
{
    return eventually([this] { return (flags() & kBusyBits) == 0; }) &&
           clock_->waitForSleepers(1, std::chrono::seconds(30));
}

testing::AssertionResult BlockingFixture::threadTurns(int count)
{
    for (int i = 0; i < count; ++i)
    {
        if (!threadTurn())
        {
            return testing::AssertionFailure() << "turn " << i << " did not come";
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace support
