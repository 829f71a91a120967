#include "app/Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

#include "app/Options.h"
#include "camera/Descriptor.h"

namespace {

TEST(WriteAll, WaitsForRoomAndLosesNothing)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string text(1000 * 1000, 'x');
    std::string arrived;
    std::thread reader([&] {
        char buffer[4096];
        while (arrived.size() < text.size())
        {
            pollfd more = {ends[0], POLLIN, 0};
            poll(&more, 1, -1);
            const ssize_t count = read(ends[0], buffer, sizeof buffer);
            arrived.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    });
    EXPECT_TRUE(app::writeAll(ends[1], text));
    reader.join();
    EXPECT_EQ(arrived, text);
    close(ends[0]);
    close(ends[1]);
    EXPECT_FALSE(app::writeAll(ends[1], text));
}

TEST(Printable, KeepsTextsWithTheirLineEndsAndTabs)
{
    const std::string text = "plain \\ \"quoted\"\n\tgr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x93\xb7\n";
    EXPECT_EQ(app::printable(text), text);
    EXPECT_EQ(app::printable(""), "");
}

TEST(Printable, EscapesWhatCouldSteerATerminal)
{
    EXPECT_EQ(app::printable("\x1b[2J\r\b\a"), "\\x1b[2J\\x0d\\x08\\x07");
    EXPECT_EQ(app::printable(std::string(1, '\0')), "\\x00");
    EXPECT_EQ(app::printable("\x7f\xc2\x80\xc2\x9b\xc2\x9f\xc2\xa0"), "\\u007f\\u0080\\u009b\\u009f\xc2\xa0");
}

TEST(Printable, EscapesBytesThatAreNoUtf8OneByOne)
{
    EXPECT_EQ(app::printable("a\x9b\xff z"), "a\\x9b\\xff z");
    EXPECT_EQ(app::printable("\xe2\x82"), "\\xe2\\x82") << "cut short";
    EXPECT_EQ(app::printable("\xc0\x9b"), "\\xc0\\x9b") << "overlong";
}

TEST(Answers, ThatCannotBeWrittenAreToldOnceAndMakeTheStatus)
{
    const camera::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    app::Answers answers(full.number());
    EXPECT_EQ(answers.status(app::kExitOk), app::kExitOk);
    testing::internal::CaptureStderr();
    answers.print("one\n");
    answers.print("two\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "sensorcam: answers cannot be written to standard output: No space left on device\n");
    EXPECT_TRUE(answers.broken());
    EXPECT_FALSE(answers.readerGone());
    EXPECT_EQ(answers.status(app::kExitOk), app::kExitCommandFailed);
}

TEST(Answers, WhoseReaderHasGoneEndQuietlyAsIfBySigpipe)
{
    const auto before = signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const camera::Descriptor pipe(ends[1]);
    app::Answers answers(pipe.number());
    testing::internal::CaptureStderr();
    answers.print("one\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(answers.readerGone());
    EXPECT_EQ(answers.status(app::kExitCommandFailed), 128 + SIGPIPE);
    signal(SIGPIPE, before);
}

}  // namespace
