#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <stdexcept>

#include "HostClock.h"
#include "app/Failure.h"
#include "app/box/Provision.h"
#include "app/cli/Session.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Simulator.h"
#include "tests/support/StoppablePicture.h"
#include "tests/unit/app/ScriptConsole.h"

namespace {

constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share";

enum class Gives
{
    frame,
    end,
    nothing,  // until it is stopped
    failure,
};

class ScriptPicture : public support::StoppablePicture
{
public:
    explicit ScriptPicture(Gives gives) : gives_(gives) {}

    std::optional<services::Frame> next() override
    {
        if (gives_ == Gives::failure)
        {
            throw std::runtime_error("its lens cap is on");
        }
        if (gives_ == Gives::nothing)
        {
            waitForStop();
        }
        return gives_ == Gives::frame
                   ? std::optional(services::Frame{7, 0, 1280, 720, "JPEG", 0, 0, 25, 300, false, false})
                   : std::nullopt;
    }

private:
    const Gives gives_;
};

// The simulator with another picture.
class ScriptService : public services::Wrapper
{
public:
    using Wrapper::Wrapper;

    std::unique_ptr<services::PictureSource> openPicture() override
    {
        return gives ? std::make_unique<ScriptPicture>(*gives) : nullptr;
    }

    std::optional<Gives> gives;
};

class DiskIsFull : public support::ScriptConsole
{
public:
    void writeFile(const std::string& file, const std::string&) override
    {
        throw app::Failure("cannot write " + file + ": No space left on device");
    }
};

class SnapshotCommandTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        app::provision(kShare, "fixed", "", app::Documents::refresh);
        console_.pauses = std::numeric_limits<int>::max();
        full_.pauses = console_.pauses;
    }

    void TearDown() override
    {
        camera_.reset();
        host::setClock(nullptr);
        support::PrivateTreeTest::TearDown();
    }

    // With --json.
    std::string answer(services::Journal& service, const std::string& line, support::ScriptConsole& console)
    {
        camera_.reset();
        camera_ =
            std::make_unique<camera::Camera>(camera::Camera::Setup{"fixed", kShare, 100, 12 * 60, false}, service);
        app::Session(*camera_, console, true).run(line);
        return console.out;
    }

    std::string answerWhere(std::optional<Gives> gives, support::ScriptConsole& console)
    {
        service_.gives = gives;
        return answer(journal_, "snapshot gate.jpg", console);
    }

    static std::string refusal(const std::string& error)
    {
        return R"({"command":"snapshot","ok":false,"error":{)" + error + "}}\n";
    }

    ScriptService service_{support::journal()};
    services::Journal journal_{service_};
    std::unique_ptr<camera::Camera> camera_;
    support::ScriptConsole console_;
    DiskIsFull full_;
};

TEST_F(SnapshotCommandTest, WritesTheFirstFrameToTheFile)
{
    EXPECT_EQ(answerWhere(Gives::frame, console_),
              R"({"command":"snapshot","ok":true,"number":7,"width":1280,"height":720,"file":"gate.jpg"})"
              "\n");
    EXPECT_EQ(console_.files, (std::map<std::string, std::string>{{"gate.jpg", "JPEG"}}));
}

TEST_F(SnapshotCommandTest, WhereThereIsNoPictureNothingIsWritten)
{
    EXPECT_EQ(answerWhere({}, console_), refusal(R"("code":"not-on-device","message":"this camera has no picture",)"
                                                 R"("hint":"do without it: this camera does not have it")"));
    EXPECT_TRUE(console_.files.empty());
}

TEST_F(SnapshotCommandTest, APictureThatFailsSaysWhy)
{
    EXPECT_EQ(answerWhere(Gives::failure, console_),
              refusal(R"("code":"no-picture","message":"its lens cap is on",)"
                      R"("hint":"remove the cause that is named, then try again")"));
}

TEST_F(SnapshotCommandTest, APictureThatEndsGivesNoFrame)
{
    EXPECT_EQ(answerWhere(Gives::end, console_), refusal(R"("code":"no-picture","message":"the picture has ended",)"
                                                         R"("hint":"remove the cause that is named, then try again")"));
}

TEST_F(SnapshotCommandTest, AnInterruptEndsTheWait)
{
    console_.pauses = 3;
    EXPECT_EQ(answerWhere(Gives::nothing, console_),
              refusal(R"("code":"interrupted","message":"the picture was not waited for","hint":"try again")"));
}

TEST_F(SnapshotCommandTest, AFileThatCannotBeWrittenIsTheReason)
{
    EXPECT_EQ(answerWhere(Gives::frame, full_),
              refusal(R"("code":"not-written","message":"cannot write gate.jpg: No space left on device",)"
                      R"("hint":"see whether the disk is full, then try again")"));
}

TEST_F(SnapshotCommandTest, OfTheSimulatedCameraIsAWholeJpeg)
{
    EXPECT_EQ(answer(support::journal(), "snapshot gate.jpg", console_),
              R"({"command":"snapshot","ok":true,"number":1,"width":1280,"height":720,"file":"gate.jpg"})"
              "\n");
    const std::string jpeg = console_.files["gate.jpg"];
    ASSERT_GT(jpeg.size(), 10'000u);
    EXPECT_EQ(jpeg.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(jpeg.substr(jpeg.size() - 2), "\xFF\xD9");
}

TEST_F(SnapshotCommandTest, ASignalToTheProcessIsNotForTheThreadsThatDraw)
{
    answer(support::journal(), "snapshot gate.jpg", console_);
    camera_.reset();  // its own threads
    sigset_t interrupt, before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &interrupt, &before), 0);
    kill(getpid(), SIGINT);  // a thread that took it would end the process
    const timespec now = {};
    EXPECT_EQ(sigtimedwait(&interrupt, nullptr, &now), SIGINT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
