#include "app/box/LibraryOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <thread>
#include <utility>

#include "app/Output.h"
#include "app/box/LibraryView.h"

namespace {

using app::LibraryOutput;
using app::LibraryView;

// What a reader sees of it.
class Reader : public LibraryOutput::Listener
{
public:
    explicit Reader(LibraryOutput& output, LibraryView::Way way = LibraryView::Way::between)
        : output_(output),
          view_(way, false)
    {
        output_.add(*this);
    }
    ~Reader() override { output_.remove(*this); }

    std::string take()
    {
        output_.sync();
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(lines_, "");
    }

    const LibraryView& view() const { return view_; }

private:
    void libraryPrinted(const std::string& bytes) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_ += view_.take(bytes);
    }

    LibraryOutput& output_;
    std::mutex mutex_;
    LibraryView view_;
    std::string lines_;
};

TEST(LibraryOutput, TakesWhatWasPrintedBeforeACompletedLineOrNot)
{
    LibraryOutput output;
    Reader reader(output);
    for (int i = 0; i < 200; ++i)
    {
        std::printf("a line\n");
        std::printf("begun\033[0m");
        EXPECT_EQ(reader.take(), "  | a line\n  | begun\n") << i;
    }
    EXPECT_EQ(reader.take(), "");
}

TEST(LibraryOutput, TakesMoreThanAPipeHolds)
{
    LibraryOutput output;
    Reader reader(output);
    const std::string line(1000, 'x');
    for (int i = 0; i < 500; ++i)
    {
        std::printf("%s\n", line.c_str());
    }
    EXPECT_EQ(reader.take().size(), 500 * (line.size() + 5));
}

TEST(LibraryOutput, TakesFromSeveralThreads)
{
    LibraryOutput output;
    Reader reader(output);
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
        text += reader.take();
    }
    other.join();
    text += reader.take();
    EXPECT_EQ(text.size(), 1000 * (std::string("  | other\n").size() + std::string("  | own\n").size()));
}

TEST(LibraryOutput, SeveralReadersOnThreadsOfTheirOwnEachSeeAllOfItTheirOwnWay)
{
    constexpr int kTurns = 300;
    LibraryOutput output;
    Reader reader(output);
    std::string seen;
    std::thread other([&] {
        Reader own(output, LibraryView::Way::beside);
        for (int i = 0; i < kTurns; ++i)
        {
            std::printf("other %d\n", i);
            seen = own.take();
            EXPECT_NE(("\n" + seen).find("\nother " + std::to_string(i) + "\n"), std::string::npos) << seen;
        }
    });
    std::string text;
    for (int i = 0; i < kTurns; ++i)
    {
        std::printf("own\n");
        const std::string lines = reader.take();
        EXPECT_NE(lines.find("  | own\n"), std::string::npos) << lines;
        text += lines;
    }
    other.join();
    text += reader.take();
    for (int i = 0; i < kTurns; ++i)
    {
        EXPECT_NE(text.find("  | other " + std::to_string(i) + "\n"), std::string::npos) << i;
    }
}

TEST(LibraryOutput, KeepsLinesBackAndShowsReportsInOneLineEach)
{
    LibraryOutput output;
    Reader reader(output, LibraryView::Way::keptBack);
    std::printf("one\n\033[0m\033[31m[sensor assert] file:x\nfailed\n\033[0mtwo");
    EXPECT_EQ(reader.take(), "  | [sensor assert] file:x failed\n");
    EXPECT_EQ(reader.take(), "");
    EXPECT_EQ(reader.view().kept(), (std::deque<std::string>{"one", "[sensor assert] file:x", "failed", "two"}));
    EXPECT_EQ(reader.view().keptText(), "  | one\n  | [sensor assert] file:x\n  | failed\n  | two\n");
}

TEST(LibraryOutput, WithoutKeepingLinesBackThereAreNone)
{
    LibraryOutput output;
    Reader reader(output);
    std::printf("one\n");
    EXPECT_EQ(reader.take(), "  | one\n");
    EXPECT_FALSE(reader.view().kept());
    EXPECT_EQ(reader.view().keptText(), "");
}

TEST(LibraryOutput, GivesStandardOutputBack)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    {
        LibraryOutput output;
        std::printf("the library's\n");
        EXPECT_TRUE(app::writeAll(output.descriptor(), "answer\n"));
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
