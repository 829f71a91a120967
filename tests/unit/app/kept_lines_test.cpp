#include "app/box/KeptLines.h"

#include <gtest/gtest.h>

namespace {

using Lines = std::deque<std::string>;

TEST(KeptLines, LinesAreKeptAndNotShown)
{
    app::KeptLines kept("> ");
    EXPECT_EQ(kept.take("> one\n> two\n"), "");
    EXPECT_EQ(kept.take("> \n"), "");
    EXPECT_EQ(kept.lines(), (Lines{"one", "two", ""}));
}

TEST(KeptLines, OfAReportPlaceAndReasonAreShownInOneLine)
{
    for (const std::string kind : {"[sensor assert]", "[sensor warn]", "[sensor err]"})
    {
        app::KeptLines kept("> ");
        EXPECT_EQ(kept.take("> before\n> " + kind + " file:a line:1\n> reason\n> more\n"),
                  "> " + kind + " file:a line:1 reason\n");
        EXPECT_EQ(kept.lines(), (Lines{"before", kind + " file:a line:1", "reason", "more"}));
    }
    app::KeptLines kept("> ");
    EXPECT_EQ(kept.take("> [sensor dbg] file:a line:1\n> text\n> [sensor info] file:a line:2\n> text\n"), "");
}

TEST(KeptLines, AReportMayComeInTwoPieces)
{
    app::KeptLines kept("");
    EXPECT_EQ(kept.take("[sensor err] file:a\n"), "");
    EXPECT_EQ(kept.take("[sensor warn] file:b\n"), "[sensor err] file:a\n") << "another thread's";
    EXPECT_EQ(kept.take("reason\n"), "[sensor warn] file:b reason\n");
}

TEST(KeptLines, TheLastThousandAreKept)
{
    app::KeptLines kept("");
    for (int i = 0; i < 1001; ++i)
    {
        kept.take(std::to_string(i) + "\n");
    }
    EXPECT_EQ(kept.lines().size(), 1000u);
    EXPECT_EQ(kept.lines().front(), "1");
    EXPECT_EQ(kept.lines().back(), "1000");
}

}  // namespace
