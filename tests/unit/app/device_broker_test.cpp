#include "app/box/DeviceBroker.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace {

using app::BrokerLine;
using app::DeviceBroker;
using app::RemoteDevices;
using devices::Role;

// Whose devices are pipes, with the name of what was opened in them.
class FakeSource : public devices::DeviceSource
{
public:
    int open(Role role, const std::string& file) override
    {
        waitIfHung();
        const std::lock_guard<std::mutex> lock(mutex_);
        asked_.insert(std::to_string(static_cast<int>(role)) + file);
        if (error_ != 0)
        {
            return error_;
        }
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
        {
            return -errno;
        }
        const camera::Descriptor writing(ends[1]);
        const std::string content = "role " + std::to_string(static_cast<int>(role)) + " " + file;
        EXPECT_EQ(write(writing.number(), content.data(), content.size()), static_cast<ssize_t>(content.size()));
        return ends[0];
    }

    void listen(std::function<void()> changed) override
    {
        failIfExhausted();
        const std::lock_guard<std::mutex> lock(mutex_);
        changed_ = std::move(changed);
    }

    void listenToUse(std::function<void()> used) override
    {
        failIfExhausted();
        const std::lock_guard<std::mutex> lock(mutex_);
        used_ = std::move(used);
    }

    void use()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ASSERT_TRUE(used_);
        used_();
    }

    void change()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ASSERT_TRUE(changed_);
        changed_();
    }

    bool isHeard()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return static_cast<bool>(changed_);
    }

    // The next opening, of which the result tells, waits for that. Once.
    std::future<void> hang(std::shared_future<void> until)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hung_ = std::move(until);
        return hanging_.get_future();
    }

    void refuseWith(int error)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        error_ = error;
    }

    // Nobody can listen.
    void exhaust() { isExhausted_ = true; }

    std::set<std::string> asked()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return asked_;
    }

private:
    void failIfExhausted() const
    {
        if (isExhausted_)
        {
            throw std::system_error(EMFILE, std::generic_category());
        }
    }

    void waitIfHung()
    {
        std::shared_future<void> until;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            until = std::exchange(hung_, {});
        }
        if (until.valid())
        {
            hanging_.set_value();
            until.wait();
        }
    }

    std::mutex mutex_;
    std::function<void()> changed_;
    std::function<void()> used_;
    std::set<std::string> asked_;
    int error_ = 0;
    std::atomic<bool> isExhausted_{false};
    std::shared_future<void> hung_;
    std::promise<void> hanging_;
};

std::string contentOf(int descriptor)
{
    const camera::Descriptor own(descriptor);
    char text[100];
    const ssize_t count = read(own.number(), text, sizeof text);
    return count < 0 ? "nothing to read" : std::string(text, static_cast<std::size_t>(count));
}

struct DeviceBrokerTest : testing::Test
{
    BrokerLine line;
    FakeSource source;
};

TEST_F(DeviceBrokerTest, WhatTheSourceOpensArrivesAndIsClosedOnExec)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    const int node = remote.open(Role::camera);
    ASSERT_GE(node, 0);
    EXPECT_EQ(fcntl(node, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(contentOf(node), "role 0 ");
    EXPECT_EQ(contentOf(remote.open(Role::camera, "0")), "role 0 0");
    EXPECT_EQ(contentOf(remote.open(Role::light, "in_illuminance_raw")), "role 1 in_illuminance_raw");
    EXPECT_EQ(contentOf(remote.open(Role::lampFar, "brightness")), "role 4 brightness");
    EXPECT_EQ(contentOf(remote.open(Role::filter, "in")), "role 5 in");
}

TEST_F(DeviceBrokerTest, WhereNobodyCanListenDevicesAreOpenedAllTheSame)
{
    source.exhaust();
    {
        DeviceBroker broker(source, std::move(line.brokers));
        RemoteDevices remote(std::move(line.copys));
        EXPECT_EQ(contentOf(remote.open(Role::camera)), "role 0 ");
    }
}

TEST_F(DeviceBrokerTest, EachErrorOfTheSourceArrives)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    for (const int error : {-ENODEV, -EBUSY, -EACCES})
    {
        source.refuseWith(error);
        EXPECT_EQ(remote.open(Role::camera), error);
    }
    source.refuseWith(0);
    EXPECT_EQ(contentOf(remote.open(Role::camera)), "role 0 ");
}

TEST_F(DeviceBrokerTest, OtherFilesThanThoseOfAServiceAreNotOpened)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    for (const std::string file : {"../../../etc/passwd", "/etc/passwd", "uevent", "trigger", "brightness/", ""})
    {
        EXPECT_EQ(remote.open(Role::lampNear, file), -EINVAL) << file;
        EXPECT_EQ(remote.open(Role::light, file), -EINVAL) << file;
    }
    EXPECT_EQ(remote.open(Role::light, "brightness"), -EINVAL);
    EXPECT_EQ(remote.open(Role::camera, "brightness"), -EINVAL);
    EXPECT_EQ(remote.open(Role::camera, "8"), -EINVAL);
    for (const std::string file : {"", "chip", "0", "in\n"})
    {
        EXPECT_EQ(remote.open(Role::filter, file), -EINVAL) << "its chip has other lines";
    }
    EXPECT_EQ(remote.open(Role::camera, std::string(1, '\0')), -EINVAL);
    EXPECT_EQ(remote.open(static_cast<Role>(6)), -EINVAL);
    EXPECT_EQ(remote.open(static_cast<Role>(255), "brightness"), -EINVAL);
    EXPECT_EQ(source.asked(), std::set<std::string>());
}

TEST_F(DeviceBrokerTest, GarbageIsRefusedAndTheNextRequestServed)
{
    DeviceBroker broker(source, std::move(line.brokers));
    const std::string garbage(5000, '\xff');
    ASSERT_EQ(send(line.copys.number(), garbage.data(), garbage.size(), 0), 5000);
    int answer = 0;
    ASSERT_EQ(recv(line.copys.number(), &answer, sizeof answer, 0), static_cast<ssize_t>(sizeof answer));
    EXPECT_EQ(answer, -EINVAL);
    RemoteDevices remote(std::move(line.copys));
    EXPECT_EQ(contentOf(remote.open(Role::camera)), "role 0 ");
}

TEST_F(DeviceBrokerTest, EveryChangeIsToldToTheOneWhoListens)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    std::promise<std::string> first;
    std::promise<void> second;
    remote.listen([&] { first.set_value(contentOf(remote.open(Role::camera))); });  // a listener may open
    source.change();
    EXPECT_EQ(first.get_future().get(), "role 0 ");
    remote.listen([&] { second.set_value(); });
    source.change();
    second.get_future().get();
    remote.listen(nullptr);
    source.change();
}

TEST_F(DeviceBrokerTest, TheUseByOthersIsToldApartFromPlugging)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    std::promise<void> used;
    std::promise<void> plugged;
    remote.listenToUse([&] { used.set_value(); });
    remote.listen([&] { plugged.set_value(); });
    source.use();
    used.get_future().get();
    source.change();
    plugged.get_future().get();
}

TEST_F(DeviceBrokerTest, WhoListensDoesNotWaitForADeviceThatHangs)
{
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    std::promise<void> go;
    const auto opened = source.hang(go.get_future().share());
    auto opening = std::async(std::launch::async, [&] { return contentOf(remote.open(Role::camera)); });
    opened.wait();
    auto listening = std::async(std::launch::async, [&] {
        remote.listen([] {});
        remote.listenToUse([] {});
    });
    EXPECT_EQ(listening.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    go.set_value();
    EXPECT_EQ(opening.get(), "role 0 ");
    remote.listen(nullptr);
    remote.listenToUse(nullptr);
}

TEST_F(DeviceBrokerTest, ChangesThatNobodyTakesKeepNobodyWaiting)
{
    std::promise<void> called;
    std::promise<void> go;
    bool isFirst = true;
    DeviceBroker broker(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));  // tells until its end
    remote.listen([&] {
        if (isFirst)
        {
            isFirst = false;
            called.set_value();
            go.get_future().get();
        }
    });
    source.change();
    called.get_future().get();
    for (int i = 0; i < 10000; ++i)
    {
        source.change();
    }
    go.set_value();
    EXPECT_EQ(contentOf(remote.open(Role::camera)), "role 0 ");
}

TEST_F(DeviceBrokerTest, WithoutTheBrokerNothingIsThereAndThatIsAChange)
{
    std::promise<void> told;
    auto broker = std::make_unique<DeviceBroker>(source, std::move(line.brokers));
    RemoteDevices remote(std::move(line.copys));
    remote.listen([&] { told.set_value(); });
    EXPECT_EQ(contentOf(remote.open(Role::camera)), "role 0 ");
    broker.reset();
    told.get_future().get();
    EXPECT_EQ(remote.open(Role::camera), -ENODEV);
    remote.listen([] {});
    remote.listen(nullptr);
}

TEST_F(DeviceBrokerTest, ACameraThatHasEndedIsNotListenedForAnyMore)
{
    DeviceBroker broker(source, std::move(line.brokers));
    {
        RemoteDevices remote(std::move(line.copys));
        remote.listen([] {});
        EXPECT_TRUE(source.isHeard());
    }
    while (source.isHeard())
    {
        std::this_thread::yield();
    }
}

TEST_F(DeviceBrokerTest, ACameraThatAsksWithoutReadingLosesTheBrokerAndNothingElse)
{
    DeviceBroker broker(source, std::move(line.brokers));
    const char request[] = {static_cast<char>(Role::camera)};
    int sent = 0;
    while (send(line.copys.number(), request, sizeof request, MSG_NOSIGNAL) == sizeof request)
    {
        ASSERT_LT(++sent, 1000000);
    }
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << errno;
}

}  // namespace
