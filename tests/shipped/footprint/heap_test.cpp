#include <cstdio>
#include <cstring>

#include "app/Models.h"
#include "tests/shipped/footprint/CountingAllocator.h"
#include "tests/shipped/footprint/QuietCamera.h"
#include "tests/support/ShippedModel.h"

using footprint::liveBytes;
using footprint::peakBytes;
using footprint::QuietCamera;

namespace {

constexpr std::size_t kStyleTexts = 3;
constexpr std::size_t kBesides = 64 * 1024;

class HeapAfterInit : public QuietCamera, public testing::WithParamInterface<const char*>
{
};

// Counted is what the program holds more than before the controller was made. That is more than the library's own: its
// thread is an object of the host framework.
TEST_P(HeapAfterInit, StaysWithinThreeStyleTextsAnd64Kilobytes)
{
    support::installModel(GetParam());
    const ModuleConfigure configuration = support::installedModule();
    std::printf("%s\n", GetParam());  // standard output has its buffer now
    footprint::resetPeak();
    const std::size_t before = liveBytes();

    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    ASSERT_TRUE(controller_->init(configuration));
    const std::size_t held = liveBytes() - before;
    const std::size_t peak = peakBytes() - before;

    const std::size_t style = std::strlen(g_stSysConf.szUIStyle);
    ASSERT_GT(style, 1000U) << "no style text was read";
    EXPECT_GE(held, style);
    EXPECT_LE(held, kStyleTexts * style + kBesides);
    // Read by tools/footprint.
    std::printf("heap after init: %s holds %zu bytes, style text %zu, at most during init %zu\n", GetParam(), held,
                style, peak);
}

INSTANTIATE_TEST_SUITE_P(Shipped, HeapAfterInit, testing::ValuesIn(app::kModelNames),
                         [](const testing::TestParamInfo<const char*>& instance) { return instance.param; });

}  // namespace
