#include "app/web/PictureStream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <stdexcept>

#include "app/web/HttpServer.h"
#include "tests/unit/app/web/Connection.h"

namespace web {
namespace {

using services::Frame;
using std::chrono::milliseconds;
using web_tests::Connection;

constexpr char kPath[] = "/tmp/picture.sock";
constexpr char kBoundary[] = "--frame\r\n";

Frame frame(std::uint64_t number, const std::string& jpeg = "JPEG")
{
    return {number, 28'680.5, 1280, 720, jpeg, 0.04, 12.5, 25, 300, false, false};
}

// A device whose frames a test takes one by one.
class Device
{
public:
    enum class Opening
    {
        works,
        fails,
        hangs,    // until it is let go
        hasNone,  // no picture at all
    };

    std::unique_ptr<services::PictureSource> open()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++opened_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return opening_ != Opening::hangs; });
        if (opening_ == Opening::fails)
        {
            throw std::runtime_error("its lens cap is on");
        }
        return opening_ == Opening::hasNone ? nullptr : std::make_unique<Source>(*this);
    }

    void set(Opening opening)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        opening_ = opening;
        changed_.notify_all();
    }

    // To the source that is open, or the next one.
    void give(Frame frame)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        frames_.emplace_back(std::move(frame));
        changed_.notify_all();
    }
    // Frame after frame, without waiting for anybody.
    void giveOnAndOn()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        endless_ = true;
        changed_.notify_all();
    }
    // Gives no more.
    void endPicture()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        frames_.emplace_back(std::nullopt);
        changed_.notify_all();
    }

    // Each of these waits for it.
    void waitUntilOpened(int times)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, milliseconds(web_tests::kPatience), [&] { return opened_ >= times; }));
    }
    void waitUntilClosed()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, milliseconds(web_tests::kPatience), [this] { return sources_ == 0; }));
    }
    void waitUntilTaken()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, milliseconds(web_tests::kPatience),
                                      [this] { return frames_.empty() && waiting_; }));
    }

    int opened() const { return opened_; }
    int taken() const { return taken_; }

private:
    class Source : public services::PictureSource
    {
    public:
        explicit Source(Device& device) : device_(device) { ++device_.sources_; }
        ~Source() override
        {
            const std::lock_guard<std::mutex> lock(device_.mutex_);
            --device_.sources_;
            device_.changed_.notify_all();
        }

        std::optional<Frame> next() override
        {
            std::unique_lock<std::mutex> lock(device_.mutex_);
            device_.waiting_ = true;
            device_.changed_.notify_all();
            device_.changed_.wait(lock, [this] { return stopped_ || device_.endless_ || !device_.frames_.empty(); });
            device_.waiting_ = false;
            if (stopped_)
            {
                return std::nullopt;
            }
            ++device_.taken_;
            if (device_.frames_.empty())
            {
                return frame(static_cast<std::uint64_t>(device_.taken_));
            }
            std::optional<Frame> frame = std::move(device_.frames_.front());
            device_.frames_.pop_front();
            return frame;
        }
        void stop() override
        {
            const std::lock_guard<std::mutex> lock(device_.mutex_);
            stopped_ = true;
            device_.changed_.notify_all();
        }

    private:
        Device& device_;
        bool stopped_ = false;
    };

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::optional<Frame>> frames_;
    Opening opening_ = Opening::works;
    bool endless_ = false;
    bool waiting_ = false;  // somebody, for the next frame
    int sources_ = 0;
    std::atomic<int> opened_ = 0;
    std::atomic<int> taken_ = 0;
};

std::string noPicture(const std::string& why)
{
    return "{\"code\":\"no-picture\",\"detail\":\"" + why +
           "\",\"hint\":\"come again after as many seconds as Retry-After says\",\"status\":503}";
}

constexpr char kEnding[] = "{\"code\":\"ending\",\"detail\":\"the camera is ending\","
                           "\"hint\":\"come again when the camera has been started anew\",\"status\":503}";

// problem: sent again because of this.
std::string partOf(std::uint64_t number, const std::string& jpeg = "JPEG", const std::string& problem = "")
{
    const std::string header = "X-Frame-Problem: " + noPicture(problem) + "\r\n";
    return "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) +
           "\r\nX-Frame-Number: " + std::to_string(number) +
           "\r\nX-Frame-Time: 28680.5\r\nX-Frame-Width: 1280\r\nX-Frame-Height: 720\r\nX-Frame-Exposure: 0.04\r\n"
           "X-Frame-Gain: 12.5\r\nX-Frame-Rate: 25\r\nX-Frame-Light: 300\r\nX-Frame-Night: false\r\n"
           "X-Frame-Frozen: false\r\n" +
           (problem.empty() ? "" : header) + "\r\n" + jpeg + "\r\n--frame\r\n";
}

std::string headerOf(const Response& response, const std::string& name)
{
    for (const auto& [known, value] : response.headers)
    {
        if (known == name)
        {
            return value;
        }
    }
    return "";
}

// One who looks, and what it hears.
class Viewer
{
public:
    explicit Viewer(Pictures& pictures) : source_(pictures.stream().source)
    {
        source_->onWake([this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            woken_ = true;
            changed_.notify_all();
        });
    }
    ~Viewer() { source_->onWake(nullptr); }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    // What is next, waiting for it; "the end".
    std::string next()
    {
        while (true)
        {
            const std::optional<std::string> piece = source_->next();
            if (!piece || !piece->empty())
            {
                return piece.value_or("the end");
            }
            std::unique_lock<std::mutex> lock(mutex_);
            if (!changed_.wait_for(lock, milliseconds(web_tests::kPatience), [this] { return woken_; }))
            {
                return "nothing";
            }
            woken_ = false;
        }
    }

    Source& source() { return *source_; }

private:
    const std::shared_ptr<Source> source_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool woken_ = false;
};

class PictureStreamTest : public testing::Test
{
protected:
    Device device_;
    Pictures pictures_{[this] { return device_.open(); }, {milliseconds(1), milliseconds(web_tests::kPatience)}};
};

TEST_F(PictureStreamTest, NothingIsReadWhileNobodyLooks)
{
    device_.give(frame(1));
    EXPECT_EQ(device_.opened(), 0);
    {
        Viewer viewer(pictures_);
        EXPECT_EQ(viewer.next(), kBoundary + partOf(1));
    }
    device_.waitUntilClosed();
    device_.give(frame(2));
    EXPECT_EQ(device_.opened(), 1);
    EXPECT_EQ(device_.taken(), 1);
}

TEST_F(PictureStreamTest, AllWhoLookShareWhatIsReadOnce)
{
    std::deque<Viewer> viewers;
    for (std::uint64_t number = 1; number <= 3; ++number)
    {
        device_.give(frame(number));
        while (viewers.size() < 16)
        {
            viewers.emplace_back(pictures_);
        }
        for (Viewer& viewer : viewers)
        {
            EXPECT_EQ(viewer.next(), (number == 1 ? kBoundary : "") + partOf(number));
        }
    }
    EXPECT_EQ(device_.opened(), 1);
    EXPECT_EQ(device_.taken(), 3);
}

TEST_F(PictureStreamTest, AStreamIsOfPartsThatReplaceOneAnother)
{
    device_.give(frame(1));
    const Response response = pictures_.stream();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.type, "multipart/x-mixed-replace; boundary=frame");
    ASSERT_NE(response.source, nullptr);
    EXPECT_EQ(response.source->next(), kBoundary + partOf(1));
    EXPECT_EQ(response.source->next(), "");
}

TEST_F(PictureStreamTest, WhoTakesNothingMissesFramesAndIsSentTheNewest)
{
    device_.give(frame(1));
    Viewer slow(pictures_);
    Viewer quick(pictures_);
    EXPECT_EQ(quick.next(), kBoundary + partOf(1));
    EXPECT_EQ(slow.next(), kBoundary + partOf(1));
    for (std::uint64_t number = 2; number <= 9; ++number)
    {
        device_.give(frame(number));
        EXPECT_EQ(quick.next(), partOf(number));
    }
    EXPECT_EQ(slow.next(), partOf(9));
    EXPECT_EQ(slow.source().next(), "");
}

TEST_F(PictureStreamTest, WithoutNewsTheLastPartIsSentAgain)
{
    device_.give(frame(1));
    Viewer viewer(pictures_);
    viewer.next();
    device_.give(frame(2));
    device_.waitUntilTaken();
    EXPECT_EQ(viewer.source().heartbeat(), partOf(1));
    EXPECT_EQ(viewer.next(), partOf(2));
}

TEST_F(PictureStreamTest, HeadersTellWithWhatAFrameWasTaken)
{
    device_.give({18'446'744'073'709'551'615u, 86'399.999, 704, 576, "night", 1.0 / 3, 0, 29.97, 0.0001, true, true});
    const Response response = pictures_.snapshot();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.type, "image/jpeg");
    EXPECT_EQ(response.body, "night");
    const std::vector<std::pair<std::string, std::string>> wanted = {{"X-Frame-Number", "18446744073709551615"},
                                                                     {"X-Frame-Time", "86399.999"},
                                                                     {"X-Frame-Width", "704"},
                                                                     {"X-Frame-Height", "576"},
                                                                     {"X-Frame-Exposure", "0.3333333333333333"},
                                                                     {"X-Frame-Gain", "0"},
                                                                     {"X-Frame-Rate", "29.97"},
                                                                     {"X-Frame-Light", "0.0001"},
                                                                     {"X-Frame-Night", "true"},
                                                                     {"X-Frame-Frozen", "true"}};
    EXPECT_EQ(response.headers, wanted);
}

TEST_F(PictureStreamTest, ASnapshotBesideAViewerIsTheNewestFrameAndOpensNothing)
{
    device_.give(frame(1));
    Viewer viewer(pictures_);
    viewer.next();
    device_.give(frame(2));
    viewer.next();
    EXPECT_EQ(headerOf(pictures_.snapshot(), "X-Frame-Number"), "2");
    EXPECT_EQ(headerOf(pictures_.snapshot(), "X-Frame-Number"), "2");
    EXPECT_EQ(device_.opened(), 1);
}

TEST_F(PictureStreamTest, ASnapshotIsNeverOfAnEarlierLook)
{
    device_.give(frame(1));
    EXPECT_EQ(headerOf(pictures_.snapshot(), "X-Frame-Number"), "1");
    device_.waitUntilClosed();
    device_.give(frame(7));
    EXPECT_EQ(headerOf(pictures_.snapshot(), "X-Frame-Number"), "7");
    device_.waitUntilClosed();
    EXPECT_EQ(device_.opened(), 2);
}

TEST_F(PictureStreamTest, WhoeverComesBeforeThePictureIsClosedGetsOneThatIsOpenedAnew)
{
    for (std::uint64_t number = 1; number <= 200; ++number)
    {
        device_.give(frame(number));
        Viewer viewer(pictures_);
        std::string piece = viewer.next();
        if (piece == kBoundary + partOf(number - 1))  // while the viewer before was still being woken
        {
            piece = kBoundary + viewer.next();
        }
        EXPECT_EQ(piece, kBoundary + partOf(number));
    }
}

TEST_F(PictureStreamTest, APictureThatEndsIsToldAndOpenedAgain)
{
    device_.give(frame(5));
    Viewer viewer(pictures_);
    EXPECT_EQ(viewer.next(), kBoundary + partOf(5));
    device_.set(Device::Opening::hangs);
    device_.endPicture();
    EXPECT_EQ(viewer.next(), partOf(5, "JPEG", "the picture has ended"));
    EXPECT_EQ(viewer.source().heartbeat(), partOf(5, "JPEG", "the picture has ended"));
    EXPECT_EQ(pictures_.snapshot().status, 503);
    device_.set(Device::Opening::works);
    device_.give(frame(1));
    EXPECT_EQ(viewer.next(), partOf(1));
    EXPECT_EQ(device_.opened(), 2);
}

TEST_F(PictureStreamTest, APictureThatCannotBeOpenedAgainIsTriedUntilItCan)
{
    device_.give(frame(5));
    Viewer viewer(pictures_);
    device_.set(Device::Opening::fails);
    device_.endPicture();
    device_.waitUntilOpened(5);
    const std::string capped = partOf(5, "JPEG", "its lens cap is on");
    EXPECT_EQ(viewer.next(), kBoundary + capped);
    device_.set(Device::Opening::works);
    device_.give(frame(1));
    std::string part = viewer.next();
    while (part == capped)
    {
        part = viewer.next();
    }
    EXPECT_EQ(part, partOf(1));
}

TEST_F(PictureStreamTest, APictureThatCannotBeHadIsRefusedWithTheReason)
{
    device_.set(Device::Opening::fails);
    for (const Response& response : {pictures_.stream(), pictures_.snapshot()})
    {
        EXPECT_EQ(response.status, 503);
        EXPECT_EQ(response.type, "application/problem+json");
        EXPECT_EQ(response.body, noPicture("its lens cap is on"));
        EXPECT_EQ(headerOf(response, "Retry-After"), "1");
        EXPECT_EQ(response.source, nullptr);
    }
    device_.set(Device::Opening::works);
    device_.give(frame(1));
    EXPECT_EQ(pictures_.snapshot().status, 200);
}

TEST_F(PictureStreamTest, ACameraWithoutAPictureSaysSo)
{
    device_.set(Device::Opening::hasNone);
    for (const Response& response : {pictures_.stream(), pictures_.snapshot()})
    {
        EXPECT_EQ(response.status, 404);
        EXPECT_EQ(response.body, "{\"status\":404,\"code\":\"not-on-device\",\"detail\":\"this camera has no picture\","
                                 "\"hint\":\"do without it: this camera does not have it\"}\n");
    }
}

TEST_F(PictureStreamTest, AFrameBeyondTheLimitIsNotSent)
{
    const std::string longest(Pictures::kLargest, 'j');
    device_.give(frame(1, longest));
    Viewer viewer(pictures_);
    EXPECT_EQ(viewer.next(), kBoundary + partOf(1, longest));
    device_.set(Device::Opening::hangs);
    device_.give(frame(2, longest + "j"));
    EXPECT_EQ(viewer.next(), partOf(1, longest, "a frame has 4194305 bytes, and may have 4194304"));
    device_.set(Device::Opening::works);
}

TEST_F(PictureStreamTest, ADeviceThatHangsIsNotWaitedForAgainAndAgain)
{
    Pictures impatient([this] { return device_.open(); }, {milliseconds(1), milliseconds(1)});
    device_.set(Device::Opening::hangs);
    while (device_.opened() == 0)
    {
        impatient.stream();
    }
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(impatient.stream().body, noPicture("the picture does not come"));
        EXPECT_EQ(impatient.snapshot().status, 503);
    }
    EXPECT_EQ(device_.opened(), 1);
    device_.set(Device::Opening::works);
}

TEST_F(PictureStreamTest, TheEndEndsStreamsAndNoneComesAfterIt)
{
    device_.give(frame(1));
    Viewer viewer(pictures_);
    viewer.next();
    pictures_.end();
    EXPECT_EQ(viewer.next(), "the end");
    device_.waitUntilClosed();
    EXPECT_EQ(pictures_.stream().body, kEnding);
    EXPECT_EQ(device_.opened(), 1);
}

TEST_F(PictureStreamTest, WhoWaitsForAPictureIsToldTheEnd)
{
    std::thread waiting([this] { EXPECT_EQ(pictures_.snapshot().body, kEnding); });
    device_.waitUntilTaken();
    pictures_.end();
    waiting.join();
    device_.waitUntilClosed();
}

TEST_F(PictureStreamTest, ThoseWhoComeAndGoAtOnceGetTheirPictures)
{
    device_.giveOnAndOn();
    std::vector<std::thread> coming;
    for (int i = 0; i < 4; ++i)
    {
        coming.emplace_back([this, i] {
            for (int turn = 0; turn < 50; ++turn)
            {
                if (i % 2 == 0)
                {
                    EXPECT_EQ(pictures_.snapshot().status, 200);
                    continue;
                }
                Viewer viewer(pictures_);
                EXPECT_EQ(viewer.next().find(std::string(kBoundary) + "Content-Type: image/jpeg"), 0u);
                EXPECT_EQ(viewer.next().find("Content-Type: image/jpeg"), 0u);
            }
        });
    }
    for (std::thread& thread : coming)
    {
        thread.join();
    }
}

// ---- behind a server -----------------------------------------------------------------------------------------

class ServedPictureTest : public PictureStreamTest, public Handler
{
protected:
    void SetUp() override
    {
        std::vector<ListenSocket> sockets;
        sockets.push_back(ListenSocket::atPath(kPath, 0600));
        Limits limits;
        limits.heartbeat = std::chrono::hours(1);
        server_.emplace(std::move(sockets), *this, limits);
    }

    Lane lane(const Request& request) override { return request.path == "/other" ? Lane::aside : Lane::frame; }
    Response answer(const Request& request) override
    {
        if (request.path == "/other")
        {
            return {200, "text/plain", "other"};
        }
        return request.path == "/stream" ? pictures_.stream() : pictures_.snapshot();
    }

    static Connection ask(const std::string& method, const std::string& path)
    {
        Connection client = Connection::toPath(kPath);
        client.say(method + " " + path + " HTTP/1.0\r\nHost: camera\r\n\r\n");
        return client;
    }

    std::optional<HttpServer> server_;
};

TEST_F(ServedPictureTest, FramesArriveAsTheyAre)
{
    Connection client = ask("GET", "/stream");
    const std::string jpeg(300'000, 'j');
    device_.give(frame(1, jpeg));
    EXPECT_NE(client.until("\r\n\r\n").find("multipart/x-mixed-replace; boundary=frame"), std::string::npos);
    EXPECT_EQ(client.until(jpeg + "\r\n--frame\r\n"), kBoundary + partOf(1, jpeg));
    device_.give(frame(2));
    EXPECT_EQ(client.until("JPEG\r\n--frame\r\n"), partOf(2));
}

TEST_F(ServedPictureTest, AViewerThatNeverReadsHoldsNobodyUp)
{
    const Connection stalled = ask("GET", "/stream");
    Connection reading = ask("GET", "/stream");
    const std::string jpeg(100'000, 'j');
    for (std::uint64_t number = 1; number <= 50; ++number)  // more than the system keeps for one
    {
        device_.give(frame(number, jpeg));
        const std::string part = reading.until(jpeg + "\r\n--frame\r\n");
        EXPECT_NE(part.find("X-Frame-Number: " + std::to_string(number) + "\r\n"), std::string::npos);
    }
    EXPECT_EQ(device_.taken(), 50);
}

TEST_F(ServedPictureTest, RequestsThatWaitForAFrameHoldNoOthersUp)
{
    const Connection viewer = ask("GET", "/stream");  // for whom the picture stays open
    device_.waitUntilTaken();
    std::deque<Connection> waiting;
    for (int i = 0; i < 8; ++i)
    {
        waiting.push_back(ask("GET", i % 2 == 0 ? "/stream" : "/snapshot"));
    }
    EXPECT_NE(ask("GET", "/other").untilClosed().find("other"), std::string::npos);
    device_.give(frame(1));
    for (Connection& client : waiting)
    {
        EXPECT_NE(client.until("JPEG").find("X-Frame-Number: 1\r\n"), std::string::npos);
    }
}

TEST_F(ServedPictureTest, TheLastViewerThatGoesEndsTheReading)
{
    {
        device_.give(frame(1));
        Connection client = ask("GET", "/stream");
        client.until("JPEG\r\n--frame\r\n");
    }
    device_.give(frame(2));  // that it has gone is noticed when it is sent something
    device_.waitUntilClosed();
}

TEST_F(ServedPictureTest, AHeadIsThatOfASnapshotOrAStream)
{
    device_.give(frame(1));
    EXPECT_NE(ask("HEAD", "/snapshot").untilClosed().find("X-Frame-Number: 1\r\n"), std::string::npos);
    device_.waitUntilClosed();
    device_.give(frame(2));
    EXPECT_NE(ask("HEAD", "/stream").untilClosed().find("boundary=frame\r\n"), std::string::npos);
    device_.waitUntilClosed();
}

TEST_F(ServedPictureTest, TheServerEndsWithViewersThatReadAndSomeThatDoNot)
{
    device_.give(frame(1));
    std::deque<Connection> clients;
    for (int i = 0; i < 16; ++i)
    {
        clients.push_back(ask("GET", "/stream"));
        clients.back().until("\r\n\r\n");
    }
    device_.give(frame(2, std::string(1'000'000, 'j')));
    clients.front().until("jjj");
    pictures_.end();
    server_.reset();
    clients.front().untilClosed();
    device_.waitUntilClosed();
}

}  // namespace
}  // namespace web
