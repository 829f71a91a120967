#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "HostClock.h"
#include "SensorKeys.h"
#include "camera/Camera.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/ShippedModel.h"
#include "tests/support/Simulator.h"

namespace support {

// A camera on shipped documents, with a clock that only the test moves; noon at first.
class CameraTest : public PrivateTreeTest
{
protected:
    static constexpr std::chrono::seconds kBound{60};
    static constexpr int kSleepers = 2;  // the sensor thread and the camera's own

    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        clock_ = std::make_shared<host::ManualClock>(12, 0);
        host::setClock(clock_);
    }

    void TearDown() override
    {
        camera_.reset();
        failures().clear();
        failures().setBeforeCall(nullptr);
        simulator().setModule(sim::Service::kFirstModule);
        host::setClock(nullptr);
        PrivateTreeTest::TearDown();
    }

    void bringUp(const std::string& model = "fixed")
    {
        installModel(model);
        start(model);
    }

    // On the files that are there.
    void start(const std::string& model = "fixed")
    {
        camera_.reset();
        camera_ = std::make_unique<camera::Camera>(
            camera::Camera::Setup{model, SENSORDLL_SOURCE_DIR "/share", 1.0, std::nullopt, true}, behind());
    }

    // What the camera is on.
    virtual services::Journal& behind() { return journal(); }

    camera::Camera& c() { return *camera_; }

    // The wall clock says this time, and both threads have made a whole turn since.
    void turnAt(int hour, int minute)
    {
        ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
        clock_->setTimeOfDay(hour, minute);
        for (int turn = 0; turn < 2; ++turn)  // the camera's thread may look before the sensor thread has switched
        {
            clock_->advance(std::chrono::seconds(1));
            ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
        }
    }

    int applied(ia_cmd_e command)
    {
        int word = -99;
        EXPECT_TRUE(simulator().value(command, word));
        return word;
    }

    // Sets since the journal was cleared.
    static int setCalls()
    {
        int count = 0;
        for (const services::Call& call : journal().calls())
        {
            count += call.opt == IA_CMD_OPT_SET ? 1 : 0;
        }
        return count;
    }

    static std::vector<camera::Outcome> outcomes(const camera::ApplyResult& result)
    {
        std::vector<camera::Outcome> list;
        for (const camera::KeyResult& key : result.keys)
        {
            list.push_back(key.outcome);
        }
        return list;
    }

    CapturedOutput quiet_;
    std::shared_ptr<host::ManualClock> clock_;
    std::unique_ptr<camera::Camera> camera_;
};

}  // namespace support
