#include "app/remote/SessionClient.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cstdio>
#include <exception>
#include <thread>

#include "app/Options.h"
#include "app/remote/RemoteConsole.h"
#include "tests/support/PrivateTree.h"

namespace {

using remote::FrameSocket;
using remote::Kind;

class SessionClientTest : public testing::Test
{
protected:
    SessionClientTest()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        camera_ = std::make_unique<FrameSocket>(camera::Descriptor(ends[0]));
        others_ = std::make_unique<FrameSocket>(camera::Descriptor(ends[1]));
    }

    void loseCamera()
    {
        camera_->shut();
        while (!terminal_.ended())
        {
            terminal_.pause(std::chrono::milliseconds(1));
        }
    }

    app::EventLoop loop_;
    app::EndSignals signals_;
    app::LibraryOutput output_;
    app::Terminal terminal_{loop_, signals_, output_, app::LibraryView::Way::keptBack, false, false};
    std::unique_ptr<FrameSocket> camera_;
    std::unique_ptr<FrameSocket> others_;
};

TEST_F(SessionClientTest, WhoseLinesWereAllAnsweredEndsWellAlthoughItsCameraEndsRightBehind)
{
    remote::SessionClient client(std::move(others_), terminal_, false, true);
    camera_->send(Kind::done, {"ok", ""});
    const int status = client.runAll({"mode"});
    loseCamera();
    EXPECT_EQ(client.statusOr(status), app::kExitOk);
}

TEST_F(SessionClientTest, WhoseCameraEndsBetweenTwoLinesFails)
{
    remote::SessionClient client(std::move(others_), terminal_, false, true);
    camera_->send(Kind::done, {"ok", ""});
    EXPECT_TRUE(client.run("mode"));
    loseCamera();
    EXPECT_EQ(client.statusOr(client.runAll({"mode"})), app::kExitCommandFailed);
}

TEST_F(SessionClientTest, SendsAsManyOfItsKeptLinesAsAFrameHasRoomForTheNewest)
{
    for (int i = 0; i < 1000; ++i)
    {
        std::printf("%s %d\n", std::string(2000, 'x').c_str(), i);
    }
    terminal_.showLibrary();
    remote::SessionClient client(std::move(others_), terminal_, false, false);
    camera_->allow(remote::kMostOfRequest);
    camera_->send(Kind::keptLines);
    std::optional<remote::Frame> answer;
    while (!answer && camera_->receive())
    {
        answer = camera_->take();
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->part(0), "kept");
    EXPECT_EQ(answer->parts.size(), 1u + (1 << 20) / 2004);
    EXPECT_EQ(answer->parts.back(), std::string(2000, 'x') + " 999");
}

TEST_F(SessionClientTest, MakesAFileThatItsLineNamesAndNoOther)
{
    const std::string path = "/tmp/gate.jpg";
    std::remove(path.c_str());
    remote::SessionClient client(std::move(others_), terminal_, false, false);
    camera_->allow(remote::kMostOfRequest);
    std::thread camera([&] {
        const auto whyNot = [this] {
            std::optional<remote::Frame> frame;
            while (!frame && camera_->receive())
            {
                frame = camera_->take();
            }
            return frame && frame->kind == Kind::answer ? frame->part(0) : "no answer";
        };
        EXPECT_EQ(whyNot(), "no answer") << "the line";
        camera_->send(Kind::file, {path + "2", "JPEG"});
        EXPECT_EQ(whyNot(), "nobody named the file " + path + "2");
        camera_->send(Kind::file, {path, "JPEG"});
        EXPECT_EQ(whyNot(), "");
        camera_->send(Kind::done, {"ok", ""});
    });
    EXPECT_TRUE(client.run("snapshot '" + path + "'"));
    camera.join();
    EXPECT_EQ(support::readFile(path), "JPEG");
    EXPECT_FALSE(support::fileExists(path + "2"));
    std::remove(path.c_str());
}

// Where no descriptor is left, what body throws.
template <typename Body>
std::string failureWithoutDescriptors(const Body& body)
{
    rlimit before = {};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::exception_ptr thrown;
    try
    {
        body();
    }
    catch (const app::Failure&)
    {
        thrown = std::current_exception();
    }
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    try
    {
        thrown ? std::rethrow_exception(thrown) : void();
    }
    catch (const app::Failure& failure)
    {
        return failure.what();
    }
    return "";
}

TEST_F(SessionClientTest, WithoutADescriptorThereIsNoConsoleForIt)
{
    {
        const remote::RemoteConsole known(*camera_, output_, false);  // a sanitizer looks at its type while it can
    }
    EXPECT_EQ(failureWithoutDescriptors([&] { remote::RemoteConsole(*camera_, output_, false); }),
              "the running camera has no room for a session: Too many open files");
}

}  // namespace
