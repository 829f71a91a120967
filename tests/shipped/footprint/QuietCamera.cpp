#include "tests/shipped/footprint/QuietCamera.h"

#include <chrono>
#include <cstring>

#include "tests/support/ShippedModel.h"

namespace footprint {
namespace {

constexpr std::chrono::seconds kBound(60);

}  // namespace

int QuietService::call(ia_cmd_e cmd, int opt, void* data)
{
    if (opt == IA_CMD_OPT_SET)
    {
        ++sets;
        return status;
    }
    if (cmd == IA_CMD_DN_STATE && opt == IA_CMD_OPT_GET)
    {
        const int state = dayNight;
        std::memcpy(data, &state, sizeof state);
    }
    return services::kDone;
}

int QuietVideo::notifyParam(int, int)
{
    return 0;
}

std::vector<AVStreamParam> QuietVideo::getStreamParams() const
{
    return std::vector<AVStreamParam>(1);
}

std::tm QuietClock::localTime() const
{
    std::tm local{};
    local.tm_year = 126;
    local.tm_mday = 1;
    local.tm_hour = time_ / 100;
    local.tm_min = time_ % 100;
    return local;
}

host::Span QuietClock::monotonic() const
{
    return host::Span(0);
}

void QuietClock::wait(host::Span)
{
    if (std::this_thread::get_id() == creator_)
    {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    isWaiting_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isReleased_ || host::stopRequested(); });
    isWaiting_ = false;
    isReleased_ = false;
}

void QuietClock::wake()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

void QuietClock::setTimeOfDay(int time)
{
    time_ = time;
}

bool QuietClock::passTurn()
{
    const auto waits = [this] { return isWaiting_ && !isReleased_; };
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kBound, waits))
    {
        return false;
    }
    isReleased_ = true;
    changed_.notify_all();
    return changed_.wait_for(lock, kBound, waits);
}

void QuietCamera::SetUp()
{
    PrivateTreeTest::SetUp();
    clock_ = std::make_shared<QuietClock>();
    host::setClock(clock_);
}

void QuietCamera::TearDown()
{
    if (controller_)
    {
        controller_->uinit();
        controller_.reset();
    }
    host::setClock(nullptr);
    PrivateTreeTest::TearDown();
}

void QuietCamera::start(const std::string& model)
{
    support::installModel(model);
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    ASSERT_TRUE(controller_->init(support::installedModule()));
    ASSERT_TRUE(clock_->passTurn());
}

int QuietCamera::scheme()
{
    int scheme = -99;
    EXPECT_TRUE(c().getParamScheme(scheme));
    return scheme;
}

}  // namespace footprint
