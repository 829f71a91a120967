#include <dlfcn.h>

#include "camera/Failure.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;

namespace {

int startsBeforeFailure = -1;  // how many threads can still be started; -1 for any number

}  // namespace

// In place of the framework's: library and camera call this one.
bool GThread::start()
{
    using Call = bool (*)(GThread*);
    static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "_ZN7GThread5startEv"));
    if (startsBeforeFailure == 0)
    {
        return false;
    }
    startsBeforeFailure -= startsBeforeFailure > 0 ? 1 : 0;
    return real(this);
}

namespace {

using CameraStart = CameraTest;

TEST_F(CameraStart, ACameraThatCannotWatchItsSchedulerIsNone)
{
    installModel("fixed");
    startsBeforeFailure = 1;
    try
    {
        start();
        ADD_FAILURE() << "no failure";
    }
    catch (const camera::Failure& failure)
    {
        EXPECT_EQ(failure.problem(), camera::Problem::noThread);
    }
    startsBeforeFailure = -1;
    start();
    turnAt(12, 0);
    EXPECT_EQ(c().currentScheme(), 0);
}

TEST_F(CameraStart, TheClockBeginsAtTheTimeThatWasGiven)
{
    installModel("fixed");
    camera_ = std::make_unique<camera::Camera>(
        camera::Camera::Setup{"fixed", SENSORDLL_SOURCE_DIR "/share", 5.0, 10 * 60 + 15, false}, journal());
    EXPECT_EQ(c().minutesOfDay(), 10 * 60 + 15);
    camera::WorldChange later;
    later.minutes = 23 * 60 + 59;
    EXPECT_EQ(c().changeWorld(later), camera::WorldResult::changed);
    EXPECT_EQ(c().minutesOfDay(), 23 * 60 + 59);
}

}  // namespace
