#include "tests/support/ControllerFixture.h"

#include <cstring>
#include <map>
#include <tuple>

#include "tests/support/TestName.h"
#include "tests/support/WaitingCall.h"

namespace {

struct LockedCall
{
    const char* name;
    std::function<void(ISensorController&)> call;
    // As set up below, the call has something to ask of the service.
    bool reachesService;
};

void PrintTo(const LockedCall& tried, std::ostream* stream)
{
    *stream << tried.name;
}

std::vector<LockedCall> lockedCalls()
{
    using C = ISensorController;
    static int number;
    static std::string text;
    return {
        {"setParameter", [](C& c) { c.setParameter(KEY_BRIGHTNESS, 61, true); }, true},
        {"setParametersFromText", [](C& c) { c.setParameters("(34,61)(2337,62)", true); }, true},
        {"flush", [](C& c) { c.flush(); }, false},
        {"setParamScheme", [](C& c) { c.setParamScheme(2); }, true},
        {"getParamScheme", [](C& c) { c.getParamScheme(number); }, false},
        {"setParamMode", [](C& c) { c.setParamMode(0); }, false},
        {"getParamMode", [](C& c) { c.getParamMode(number); }, false},
        {"restore", [](C& c) { c.restore(KEY_BRIGHTNESS); }, true},
        {"restoreAeMode", [](C& c) { c.restoreAeMode(); }, true},
        {"resetToLastParameters", [](C& c) { c.resetToLastParameters(); }, true},
        {"resetParameters", [](C& c) { c.resetParameters(); }, true},
        {"getAllParameters", [](C& c) { c.getAllParameters(text); }, true},
        {"getParameters", [](C& c) { c.getParameters("(34,2528,2560)", text); }, true},
        {"getParameter", [](C& c) { c.getParameter(KEY_GAMMA, number); }, true},
        {"getMirrorValue", [](C& c) { c.getMirrorValue(number); }, false},
        {"getUIStyleFile", [](C& c) { c.getUIStyleFile(); }, true},
        {"getUICommonFile", [](C& c) { c.getUICommonFile(1); }, false},
        {"getUILanguageFile", [](C& c) { c.getUILanguageFile(1); }, false},
    };
}

// What a call could have touched.
struct State
{
    size_t serviceCalls = 0;
    int current = 0;
    int last = 0;
    int mode = 0;
    int flags = 0;
    std::vector<std::vector<KeyVal>> schemes;
    std::map<std::string, std::string> files;
};

bool operator==(const State& left, const State& right)
{
    const auto members = [](const State& state) {
        return std::tie(state.serviceCalls, state.current, state.last, state.mode, state.flags, state.schemes,
                        state.files);
    };
    return members(left) == members(right);
}

class Locking : public support::ControllerFixture, public testing::WithParamInterface<LockedCall>
{
protected:
    // The scheme in memory differs from its file, and the third one from it.
    void SetUp() override
    {
        ControllerFixture::SetUp();
        service_.setDynamicCommands({KEY_BRIGHTNESS});
        service_.setAllowedValues(KEY_BRIGHTNESS, 50, {50, 60});
        bringUp();
        ASSERT_EQ(0, current());
        setValue(0, KEY_BRIGHTNESS, 60);
        setValue(2, KEY_SATURATION, 70);
    }

    KSMutex& mutex() { return ControllerProbe::mutex(c()); }

    State state()
    {
        State state;
        state.serviceCalls = service_.calls().size();
        state.current = current();
        state.last = ControllerProbe::lastScheme(c());
        state.mode = ControllerProbe::paramMode(c());
        state.flags = flags();
        for (int i = 0; i <= 3; ++i)
        {
            state.schemes.push_back(scheme(i));
        }
        state.files = support::savedFiles();
        return state;
    }
};

TEST_P(Locking, WaitsForTheMutexBeforeItTouchesAnything)
{
    const State before = state();
    mutex().Lock("test", __LINE__);
    support::WaitingCall waiting([&] { GetParam().call(c()); });
    EXPECT_TRUE(waiting.waitsFor(mutex()));
    EXPECT_TRUE(before == state());
    mutex().Unlock("test", __LINE__);
    waiting.join();
    stopThread();
}

TEST_P(Locking, HoldsTheMutexWhileTheServiceIsAskedAndNotAfterwards)
{
    const std::thread::id self = std::this_thread::get_id();
    int asked = 0;
    int askedWithoutMutex = 0;
    service_.onCall([&](const support::ServiceCall& call) {
        if (call.thread == self)
        {
            ++asked;
            askedWithoutMutex += support::isHeld(mutex()) ? 0 : 1;
        }
    });
    GetParam().call(c());
    stopThread();
    EXPECT_EQ(GetParam().reachesService, asked > 0);
    EXPECT_EQ(0, askedWithoutMutex);
    EXPECT_FALSE(support::isHeld(mutex()));
}

class LockedReading : public support::ControllerFixture
{
protected:
    // Makes the change while the call waits for the mutex.
    void changeBefore(const std::function<void()>& call, const std::function<void()>& change)
    {
        KSMutex& mutex = ControllerProbe::mutex(c());
        mutex.Lock("test", __LINE__);
        support::WaitingCall waiting(call);
        EXPECT_TRUE(waiting.waitsFor(mutex));
        change();
        mutex.Unlock("test", __LINE__);
        waiting.join();
    }

    UIFileEntry entry_{};  // must outlive uinit, which frees its texts
};

TEST_F(LockedReading, SeesWhatChangedWhileItWaited)
{
    bringUp();
    int value = -5;
    changeBefore([&] { c().getParamScheme(value); }, [&] { makeCurrent(2); });
    EXPECT_EQ(2, value);
    changeBefore([&] { c().getParamMode(value); }, [&] { ControllerProbe::paramMode(c()) = 0; });
    EXPECT_EQ(0, value);
    changeBefore([&] { c().getMirrorValue(value); }, [&] { setValue(2, KEY_MIRROR, 3); });
    EXPECT_EQ(3, value);
    changeBefore([&] { EXPECT_EQ(507, c().flush()); }, [&] { setWindow(2, true, 22, 0, 6, 0); });
    entry_.nLanguageId = 1;
    entry_.szCommonFile = strdup("common");
    entry_.szLanguageFile = strdup("language");
    const auto fill = [&] {
        g_stSysConf.pUIFiles = &entry_;
        g_stSysConf.nUIFileSum = 1;
    };
    std::string text;
    changeBefore([&] { text = c().getUICommonFile(1); }, fill);
    EXPECT_EQ("common", text);
    g_stSysConf.nUIFileSum = 0;
    changeBefore([&] { text = c().getUILanguageFile(1); }, fill);
    EXPECT_EQ("language", text);
}

INSTANTIATE_TEST_SUITE_P(Calls, Locking, testing::ValuesIn(lockedCalls()), support::ByName());

}  // namespace
