#include "app/box/LibraryOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <thread>
#include <unistd.h>

#include <cstdio>
#include <thread>

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

using app::LibraryOutput;

TEST(LibraryOutput, TakesWhatWasPrintedBeforeACompletedLineOrNot)
{
    LibraryOutput output(LibraryOutput::Way::collected);
    for (int i = 0; i < 200; ++i)
    {
        std::printf("a line\n");
        std::printf("begun\033[0m");
        EXPECT_EQ(output.take(), "  | a line\n  | begun\n") << i;
    }
    EXPECT_EQ(output.take(), "");
}

TEST(LibraryOutput, TakesMoreThanAPipeHolds)
{
    LibraryOutput output(LibraryOutput::Way::collected);
    const std::string line(1000, 'x');
    for (int i = 0; i < 500; ++i)
    {
        std::printf("%s\n", line.c_str());
    }
    EXPECT_EQ(output.take().size(), 500 * (line.size() + 5));
}

TEST(LibraryOutput, TakesFromSeveralThreads)
{
    LibraryOutput output(LibraryOutput::Way::collected);
    std::thread other([] {
        for (int i = 0; i < 1000; ++i)
        {
            std::printf("other\n");
        }
    });
    std::string text;
    for (int i = 0; i < 1000; ++i)
    {
        std::printf("own\n");
        text += output.take();
    }
    other.join();
    text += output.take();
    EXPECT_EQ(text.size(), 1000 * (std::string("  | other\n").size() + std::string("  | own\n").size()));
}

TEST(LibraryOutput, GivesStandardOutputBack)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    {
        LibraryOutput output(LibraryOutput::Way::collected);
        std::printf("the library's\n");
        ASSERT_EQ(write(output.answerDescriptor(), "answer\n", 7), 7);
    }
    std::printf("later\n");
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(ends[1]);
    char text[64] = {};
    EXPECT_EQ(read(ends[0], text, sizeof text), 13);
    EXPECT_STREQ(text, "answer\nlater\n");
    close(ends[0]);
}

}  // namespace
