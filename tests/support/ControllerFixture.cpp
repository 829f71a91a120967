#include "tests/support/ControllerFixture.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "GThread.h"

namespace support {

bool eventually(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void ControllerFixture::SetUp()
{
    PrivateTreeTest::SetUp();
    clock_ = std::make_shared<host::ManualClock>(12, 0);
    host::setClock(clock_);
    setshowWDRFalg(true);
    files_ = smallCamera();
}

void ControllerFixture::TearDown()
{
    bringDown();
    host::setClock(nullptr);
    PrivateTreeTest::TearDown();
}

void ControllerFixture::bringUp()
{
    bringUpRunning();
    stopThread();
    service_.clearCalls();
    video_.clear();
}

void ControllerFixture::bringUpRunning()
{
    writeCameraFiles(files_);
    construct();
    initialise();
}

void ControllerFixture::construct()
{
    bringDown();
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
}

bool ControllerFixture::initialise()
{
    initialised_ = true;
    return controller_->init(configuration());
}

void ControllerFixture::stopThread()
{
    ControllerProbe::sensorThread(*controller_)->stop();
}

void ControllerFixture::startThread()
{
    ControllerProbe::sensorThread(*controller_)->start();
}

bool ControllerFixture::threadTurn()
{
    using namespace std::chrono_literals;
    constexpr auto kBound = 30s;
    if (!clock_->waitForSleepers(1, kBound))
    {
        return false;
    }
    clock_->advance(1s);
    return clock_->waitForSleepers(1, kBound);
}

void ControllerFixture::bringDown()
{
    if (controller_ && initialised_)
    {
        controller_->uinit();
    }
    initialised_ = false;
    controller_.reset();
}

ModuleConfigure ControllerFixture::configuration() const
{
    ModuleConfigure configure;
    configure.setModuleId(7);
    configure.setDetail(detail_);
    configure.setParameters("host");
    return configure;
}

std::vector<KeyVal> ControllerFixture::scheme(int index)
{
    const KeyVal* records = ControllerProbe::userKeyVal(*controller_)[index];
    return {records, records + ControllerProbe::keyValSum(*controller_)};
}

u32 ControllerFixture::valueOf(int index, u32 key)
{
    for (const KeyVal& record : scheme(index))
    {
        if (record.key == key)
        {
            return record.value;
        }
    }
    throw std::out_of_range("no such key in the scheme");
}

void ControllerFixture::setValue(int index, u32 key, u32 value)
{
    KeyVal* records = ControllerProbe::userKeyVal(*controller_)[index];
    for (u32 i = 0; i < ControllerProbe::keyValSum(*controller_); ++i)
    {
        if (records[i].key == key)
        {
            records[i].value = value;
            return;
        }
    }
    throw std::out_of_range("no such key in the scheme");
}

void ControllerFixture::setWindow(int index, bool enabled, int startHour, int startMinute, int endHour, int endMinute)
{
    setValue(index, KEY_SCHEME_ENABLE, enabled ? 1 : 0);
    setValue(index, KEY_SCHEME_START_HOUR, static_cast<u32>(startHour));
    setValue(index, KEY_SCHEME_START_MIN, static_cast<u32>(startMinute));
    setValue(index, KEY_SCHEME_END_HOUR, static_cast<u32>(endHour));
    setValue(index, KEY_SCHEME_END_MIN, static_cast<u32>(endMinute));
}

void ControllerFixture::setTime(int hour, int minute)
{
    clock_->setTimeOfDay(hour, minute);
}

}  // namespace support
