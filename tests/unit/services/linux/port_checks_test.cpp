#include <gmock/gmock.h>

#include "services/CommandNames.h"
#include "services/checks/Parts.h"
#include "services/checks/Report.h"
#include "tests/support/CapturedOutput.h"
#include "tests/unit/services/linux/ServiceTest.h"

namespace {

using testing::HasSubstr;

// What a porter's service is judged by.
class PortOnLinux : public support::ServiceTest
{
protected:
    PortOnLinux()
    {
        start();
        services::setServiceInForce(service.get());
    }

    ~PortOnLinux() override { services::setServiceInForce(nullptr); }

    static std::string reportOf(const std::function<void(portcheck::Report&)>& checks)
    {
        return support::outputOf([&] {
            portcheck::Report report{std::chrono::minutes(1)};
            checks(report);
            report.finish();
        });
    }
};

TEST_F(PortOnLinux, PassesWhatIsAsked)
{
    EXPECT_THAT(reportOf(portcheck::checkService), HasSubstr(" passed, 0 failed, 0 left out"));
}

TEST_F(PortOnLinux, PassesWhatIsSet)
{
    portcheck::Options options;
    options.set = true;
    options.lens = true;
    auto factory = std::make_shared<std::vector<KeyVal>>();
    for (const services::ParameterState& row : service->parameters())
    {
        if (const u32 key = services::keyOfCommand(row.cmd))
        {
            factory->push_back({key, static_cast<u32>(row.allowed.defaultValue)});
        }
    }
    EXPECT_GT(factory->size(), 30u);
    EXPECT_THAT(reportOf([&](portcheck::Report& report) { portcheck::checkSetting(report, options, factory); }),
                HasSubstr("portcheck: 7 passed, 0 failed"));
}

TEST_F(PortOnLinux, PassesWhatIsAskedWhileTheDeviceIsGone)
{
    camera.plug(false);
    lamps.plug(false);
    EXPECT_THAT(reportOf(portcheck::checkService), HasSubstr(" passed, 0 failed, 0 left out"));
}

}  // namespace
