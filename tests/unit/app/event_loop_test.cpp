#include "app/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using app::EventLoop;
using std::chrono::milliseconds;

class EventLoopTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(pipe2(ends_, O_CLOEXEC), 0); }

    void TearDown() override
    {
        close(ends_[0]);
        closeWritersEnd();
    }

    void closeWritersEnd()
    {
        if (ends_[1] >= 0)
        {
            close(ends_[1]);
        }
        ends_[1] = -1;
    }

    int reader() const { return ends_[0]; }
    void send(char byte) { ASSERT_EQ(write(ends_[1], &byte, 1), 1); }

    char receive()
    {
        char byte = 0;
        EXPECT_EQ(read(ends_[0], &byte, 1), 1);
        return byte;
    }

    EventLoop loop_;

private:
    int ends_[2];
};

TEST_F(EventLoopTest, IsAskedBeforeItWaitsWhetherAllIsDone)
{
    int asked = 0;
    loop_.runUntil([&] { return ++asked == 1; });
    EXPECT_EQ(asked, 1);
}

TEST_F(EventLoopTest, ADescriptorsHandlerIsCalledWhileThereIsSomethingToBeRead)
{
    send('a');
    send('b');
    std::string received;
    loop_.watch(reader(), [&] { received += receive(); });
    loop_.runUntil([&] { return received.size() == 2; });
    EXPECT_EQ(received, "ab");
}

TEST_F(EventLoopTest, ADescriptorsHandlerIsCalledWhenItsOtherEndIsClosed)
{
    bool called = false;
    loop_.watch(reader(), [&] { called = true; });
    closeWritersEnd();
    loop_.runUntil([&] { return called; });
}

TEST_F(EventLoopTest, AForgottenDescriptorIsLeftAlone)
{
    send('a');
    int calls = 0;
    loop_.watch(reader(), [&] {
        loop_.forget(reader());  // also from its own handler, which goes on
        ++calls;
    });
    loop_.runUntil([&] { return calls == 1; });
    bool passed = false;
    loop_.after(milliseconds(5), [&] { passed = true; });
    loop_.runUntil([&] { return passed; });
    EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, OneOfTwoReadyHandlersMayForgetTheOther)
{
    const camera::Descriptor first(eventfd(1, EFD_CLOEXEC));
    const camera::Descriptor second(eventfd(1, EFD_CLOEXEC));
    int calls = 0;
    for (const auto& [own, other] :
         {std::pair{first.number(), second.number()}, std::pair{second.number(), first.number()}})
    {
        loop_.watch(own, [this, &calls, own = own, other = other] {
            ++calls;
            loop_.forget(own);
            loop_.forget(other);
        });
    }
    loop_.runUntil([&] { return calls > 0; });
    EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, ALaterHandlerTakesTheEarlierOnesPlace)
{
    send('a');
    int which = 0;
    loop_.watch(reader(), [&] { which = 1; });
    loop_.watch(reader(), [&] { which = 2; });
    loop_.runUntil([&] { return which != 0; });
    EXPECT_EQ(which, 2);
}

TEST_F(EventLoopTest, TasksOfOneThreadAreCalledInOrderOnTheLoopsThread)
{
    std::string order;
    bool elsewhere = false;
    const auto own = std::this_thread::get_id();
    std::thread other([&] {
        for (char c = 'a'; c <= 'z'; ++c)
        {
            loop_.post([&, c] {
                order += c;
                elsewhere = elsewhere || std::this_thread::get_id() != own;
            });
        }
    });
    loop_.runUntil([&] { return order.size() == 26; });
    other.join();
    EXPECT_EQ(order, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_FALSE(elsewhere);
}

TEST_F(EventLoopTest, NoTaskOfManyThreadsIsLost)
{
    constexpr int kThreads = 4;
    constexpr int kTasks = 1000;
    int called = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back([&] {
            for (int task = 0; task < kTasks; ++task)
            {
                loop_.post([&] { ++called; });
            }
        });
    }
    loop_.runUntil([&] { return called == kThreads * kTasks; });
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(called, kThreads * kTasks);
}

TEST_F(EventLoopTest, ATaskMayPostAnother)
{
    bool called = false;
    loop_.post([&] { loop_.post([&] { called = true; }); });
    loop_.runUntil([&] { return called; });
}

TEST_F(EventLoopTest, TimersAreCalledOnceInTheOrderOfTheirTimes)
{
    std::string order;
    loop_.after(milliseconds(20), [&] { order += 'c'; });
    loop_.after(milliseconds(0), [&] { order += 'a'; });
    loop_.after(milliseconds(10), [&] { order += 'b'; });
    loop_.runUntil([&] { return order.find('c') != std::string::npos; });
    EXPECT_EQ(order, "abc");
}

TEST_F(EventLoopTest, ATimerIsNotCalledBeforeItsTime)
{
    const auto begin = std::chrono::steady_clock::now();
    bool passed = false;
    loop_.after(milliseconds(5), [&] { passed = true; });
    loop_.runUntil([&] { return passed; });
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(5));
}

TEST_F(EventLoopTest, TimersAreCalledAlthoughADescriptorIsAlwaysReady)
{
    send('a');
    bool passed = false;
    loop_.watch(reader(), [] {});
    loop_.after(milliseconds(5), [&] { passed = true; });
    loop_.runUntil([&] { return passed; });
}

TEST_F(EventLoopTest, GoesOnBesideWorkThatHangs)
{
    std::promise<void> freed;
    loop_.after(milliseconds(0), [&] { freed.set_value(); });
    EXPECT_EQ(loop_.runBeside([&] {
        freed.get_future().wait();
        return 7;
    }),
              7);
}

TEST_F(EventLoopTest, WhatWorkThrowsIsThrownAndTheLoopRunsAgain)
{
    EXPECT_THROW(loop_.runBeside([]() -> int { throw std::runtime_error("no camera"); }), std::runtime_error);
    EXPECT_EQ(loop_.runBeside([] { return 3; }), 3);
}

}  // namespace
