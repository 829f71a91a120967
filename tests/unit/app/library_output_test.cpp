#include "app/box/LibraryOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

namespace {

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

TEST(LibraryOutput, AListenerIsToldWholeLinesWithoutColours)
{
    LibraryOutput output(LibraryOutput::Way::collected);
    std::string told;
    output.setListener([&told](const std::string& lines) { told += lines; });
    std::printf("\033[31mone\033[0m\ntwo\n");
    EXPECT_EQ(output.take(), "  | one\n  | two\n");
    output.setListener(nullptr);
    std::printf("three\n");
    EXPECT_EQ(output.take(), "  | three\n");
    EXPECT_EQ(told, "one\ntwo\n");
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

TEST(LibraryOutput, KeepsLinesBackAndShowsReportsInOneLineEach)
{
    LibraryOutput output(LibraryOutput::Way::keptBack);
    std::printf("one\n\033[0m\033[31m[sensor assert] file:x\nfailed\n\033[0mtwo");
    EXPECT_EQ(output.take(), "  | [sensor assert] file:x failed\n");
    EXPECT_EQ(output.take(), "");
    EXPECT_EQ(output.kept(), (std::deque<std::string>{"one", "[sensor assert] file:x", "failed", "two"}));
    EXPECT_EQ(output.takeAll(), "  | one\n  | [sensor assert] file:x\n  | failed\n  | two\n");
}

TEST(LibraryOutput, WithoutKeepingLinesBackAllThereAreIsWhatWasNotTaken)
{
    LibraryOutput output(LibraryOutput::Way::collected);
    std::printf("one\n");
    output.take();
    std::printf("two\n");
    EXPECT_EQ(output.takeAll(), "  | two\n");
    EXPECT_FALSE(output.kept());
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
        output.answers().print("answer\n");
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
