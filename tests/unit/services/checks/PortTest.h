#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "services/Journal.h"
#include "services/PlannedFailures.h"
#include "services/checks/Parts.h"
#include "services/checks/Report.h"
#include "services/sim/Service.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"

namespace checks_tests {

using testing::HasSubstr;
using testing::Not;

// The simulated service, but for what a test wants to be different.
class Scripted : public services::Wrapper
{
public:
    using Answer = std::function<int(services::ImageService& good, ia_cmd_e cmd, int opt, void* data)>;

    using Wrapper::Wrapper;

    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        return answer_ ? answer_(inner(), cmd, opt, data) : inner().call(cmd, opt, data);
    }

    void answerWith(Answer answer) { answer_ = std::move(answer); }

private:
    Answer answer_;
};

// A port to be judged: a service of the test's own, the reference framework, an empty file tree.
class PortTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        services::setServiceInForce(&journal_);
    }

    void TearDown() override
    {
        services::setServiceInForce(nullptr);
        PrivateTreeTest::TearDown();
    }

    int set(ia_cmd_e cmd, int value) { return simulator_.call(cmd, IA_CMD_OPT_SET, &value); }

    std::vector<services::Call> sets() const
    {
        std::vector<services::Call> found;
        for (const services::Call& call : journal_.calls())
        {
            if (call.opt == IA_CMD_OPT_SET)
            {
                found.push_back(call);
            }
        }
        return found;
    }

    static std::string reportOf(const std::function<void(portcheck::Report&)>& checks)
    {
        return support::outputOf([&] {
            portcheck::Report report{std::chrono::minutes(1)};
            checks(report);
            report.finish();
        });
    }

    sim::Service simulator_;
    Scripted script_{simulator_};
    services::PlannedFailures failures_{script_};
    services::Journal journal_{failures_};
};

}  // namespace checks_tests
