#include "app/box/LibraryLines.h"

#include <gtest/gtest.h>

namespace {

const std::string kPause(1, app::kPause);
constexpr char kReport[] = "\033[0m\033[31m[sensor assert] file:x\nfailed\n\033[0m";

TEST(LibraryLines, EveryLineBeginsWithTheMark)
{
    app::LibraryLines lines("  | ", false);
    EXPECT_EQ(lines.feed("one\ntwo\n"), "  | one\n  | two\n");
}

TEST(LibraryLines, WithoutColourAllSequencesAreLeftOut)
{
    app::LibraryLines lines("  | ", false);
    EXPECT_EQ(lines.feed(kReport), "  | [sensor assert] file:x\n  | failed\n");
    EXPECT_EQ(lines.feed(kPause), "") << "a reset alone is no line";
}

TEST(LibraryLines, OnlyColoursAreSequencesAndAllElseThatCouldSteerATerminalIsEscaped)
{
    for (const bool colour : {false, true})
    {
        app::LibraryLines lines("", colour);
        const std::string end = colour ? "\033[0m\n" : "\n";
        EXPECT_EQ(lines.feed("a\033[2Jb\n"), "a\\x1b[2Jb" + end);
        EXPECT_EQ(lines.feed("\033]0;title\007\n"), "\\x1b]0;title\\x07" + end);
        EXPECT_EQ(lines.feed("\033\033[31mx\033[0m\n"), (colour ? "\\x1b\033[31mx\033[0m" : "\\x1bx") + end);
        EXPECT_EQ(lines.feed("\033[31\n"), "\\x1b[31" + end);
        EXPECT_EQ(lines.feed("\xc3\xa4 \xff \xc2\x9b\n"), "\xc3\xa4 \\xff \\u009b" + end);
    }
}

TEST(LibraryLines, WithColourEveryLineIsColouredAndReset)
{
    app::LibraryLines lines("  | ", true);
    EXPECT_EQ(lines.feed(kReport), "\033[2m  | \033[0m\033[31m[sensor assert] file:x\033[0m\n"
                                   "\033[2m  | \033[0m\033[31mfailed\033[0m\n");
    EXPECT_EQ(lines.feed("plain\n"), "\033[2m  | \033[0mplain\033[0m\n");
}

TEST(LibraryLines, ALineMayComeInPiecesCutAnywhere)
{
    app::LibraryLines whole("> ", false);
    const std::string expected = whole.feed(kReport);
    app::LibraryLines pieces("> ", false);
    std::string got;
    for (char c : std::string(kReport))
    {
        got += pieces.feed(std::string(1, c));
    }
    EXPECT_EQ(got, expected);
}

TEST(LibraryLines, ALineWithoutAnEndIsCompletedWhenAskedFor)
{
    app::LibraryLines lines("", false);
    EXPECT_EQ(lines.feed("get key(999) val from 2a err\033[0m"), "");
    EXPECT_EQ(lines.feed(kPause), "get key(999) val from 2a err\n");
    EXPECT_EQ(lines.feed(kPause), "");
}

TEST(LibraryLines, AnEmptyLineIsALine)
{
    app::LibraryLines lines("  | ", false);
    EXPECT_EQ(lines.feed("\n\n"), "  | \n  | \n");
}

}  // namespace
