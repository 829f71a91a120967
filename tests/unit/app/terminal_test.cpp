#include "app/cli/Terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

#include "app/box/Supervisor.h"

namespace {

using app::LibraryView;
using app::Terminal;

constexpr auto kLong = std::chrono::minutes(10);

void printAsTheLibrary(const char* text)
{
    std::fputs(text, stdout);
    std::fflush(stdout);  // the test's own report has been there before, with another buffer
}

// Standard input and output are pipes, whose other ends the test has.
class TerminalTest : public testing::Test
{
protected:
    void SetUp() override
    {
        sigprocmask(SIG_SETMASK, nullptr, &mask_);
        app::blockEndSignals();
        std::fflush(stdout);
        for (int descriptor : {STDIN_FILENO, STDOUT_FILENO})
        {
            saved_[descriptor] = dup(descriptor);
            int ends[2];
            ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
            const int own = descriptor == STDIN_FILENO ? 0 : 1;
            dup2(ends[own], descriptor);
            close(ends[own]);
            others_[descriptor] = ends[1 - own];
        }
    }

    void TearDown() override
    {
        std::fflush(stdout);
        for (int descriptor : {STDIN_FILENO, STDOUT_FILENO})
        {
            dup2(saved_[descriptor], descriptor);
            close(saved_[descriptor]);
            close(others_[descriptor]);
        }
        app::EndSignals().takeIn();
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
    }

    // Does work beside the loop.
    void run(const std::function<void(Terminal&)>& work, LibraryView::Way way = LibraryView::Way::between,
             bool interactive = false)
    {
        app::EventLoop loop;
        app::EndSignals signals;
        app::LibraryOutput output;
        Terminal terminal(loop, signals, output, way, interactive);
        loop.watch(signals.descriptor(), [&] {
            signals.takeIn();
            terminal.wake();
        });
        loop.runBeside([&] {
            work(terminal);
            return 0;
        });
    }

    void type(const std::string& text)
    {
        ASSERT_EQ(write(others_[STDIN_FILENO], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // So many bytes as they come.
    std::string shown(std::size_t count)
    {
        std::string text(count, '\0');
        std::size_t got = 0;
        while (got < count)
        {
            const ssize_t more = read(others_[STDOUT_FILENO], &text[got], count - got);
            if (more <= 0)
            {
                break;
            }
            got += static_cast<std::size_t>(more);
        }
        return text.substr(0, got);
    }

    // Until these come.
    std::string shownUpTo(const std::string& end)
    {
        std::string text;
        char buffer[1 << 16];
        ssize_t count = 1;
        while (text.find(end) == std::string::npos && count > 0)
        {
            count = read(others_[STDOUT_FILENO], buffer, sizeof buffer);
            text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return text;
    }

private:
    sigset_t mask_;
    int saved_[2];
    int others_[2];
};

TEST_F(TerminalTest, LinesOfTheLibraryAreShownAsTheyComeWhateverTheSessionDoes)
{
    run([&](Terminal&) {
        printAsTheLibrary("one\n");
        EXPECT_EQ(shown(8), "  | one\n");
    });
}

TEST_F(TerminalTest, AnAnswerComesBehindTheLinesThatWerePrintedBeforeIt)
{
    run([&](Terminal& terminal) {
        for (int i = 0; i < 200; ++i)
        {
            std::printf("begun");
            terminal.showLibrary();
            terminal.print("answer\n");
            EXPECT_EQ(shown(17), "  | begun\nanswer\n") << i;
        }
    });
}

TEST_F(TerminalTest, WhileALineIsEditedTheyWaitToBeTaken)
{
    run([&](Terminal& terminal) {
        terminal.beginEditing();
        printAsTheLibrary("one\n");
        EXPECT_FALSE(terminal.awaitInput());
        EXPECT_EQ(terminal.takeLines(), "  | one\n");
        printAsTheLibrary("two\n");
        EXPECT_FALSE(terminal.awaitInput());
        terminal.endEditing();
        EXPECT_EQ(shown(8), "  | two\n");
        EXPECT_EQ(terminal.takeLines(), "");
    });
}

TEST_F(TerminalTest, ALibraryThatNobodyReadsIsNotHeldAndWhatIsLeftOutIsTold)
{
    const std::string line(999, 'x');
    run([&](Terminal&) {
        for (int i = 0; i < 4000; ++i)
        {
            printAsTheLibrary((line + "\n").c_str());
        }
        const std::string end = " bytes of the library's lines are left out: nobody read them)\n";
        const std::string text = shownUpTo(end);
        const std::size_t note = text.rfind('(', text.find(end));
        ASSERT_NE(note, std::string::npos);
        EXPECT_GT(note, 1u << 20);
        EXPECT_EQ(note % 1004, 0u) << "whole lines";
        EXPECT_EQ(std::stoul(text.substr(note + 1)) % 1004, 0u);
        std::thread reader([&] { EXPECT_NE(shownUpTo("answer\n"), ""); });
        printAsTheLibrary("answer\n");
        reader.join();
    });
}

TEST_F(TerminalTest, OfAFailedStartAllLinesAreShownOnce)
{
    const LibraryView::Way way = LibraryView::Way::keptBack;
    run(
        [&](Terminal& terminal) {
            std::printf("one\n[sensor err] file:x\nfailed\n");
            terminal.showAll();
            EXPECT_EQ(shown(43), "  | one\n  | [sensor err] file:x\n  | failed\n");
        },
        way);
}

TEST_F(TerminalTest, InputIsAwaitedOverAndOverUntilItsEnd)
{
    run([&](Terminal& terminal) {
        for (int i = 0; i < 3; ++i)
        {
            type("x");
            EXPECT_TRUE(terminal.awaitInput());
            char byte = 0;
            EXPECT_EQ(read(STDIN_FILENO, &byte, 1), 1);
        }
        terminal.wake();
        EXPECT_FALSE(terminal.awaitInput()) << "something else has happened";
        type("y");
        EXPECT_TRUE(terminal.awaitInput());
    });
}

TEST_F(TerminalTest, APauseLastsItsSpanWhateverIsPrinted)
{
    run([&](Terminal& terminal) {
        const auto begin = std::chrono::steady_clock::now();
        printAsTheLibrary("one\n");
        EXPECT_TRUE(terminal.pause(std::chrono::milliseconds(5)));
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(5));
    });
}

TEST_F(TerminalTest, ASignalEndsAPauseAndTheSession)
{
    run([&](Terminal& terminal) {
        EXPECT_FALSE(terminal.ended());
        kill(getpid(), SIGINT);
        EXPECT_FALSE(terminal.pause(kLong));
        EXPECT_FALSE(terminal.takeInterrupt());
        EXPECT_TRUE(terminal.ended());
    });
}

TEST_F(TerminalTest, AtAPromptAnInterruptEndsThePauseAlone)
{
    const auto work = [&](Terminal& terminal) {
        kill(getpid(), SIGINT);
        EXPECT_FALSE(terminal.pause(kLong));
        EXPECT_FALSE(terminal.ended());
        EXPECT_TRUE(terminal.takeInterrupt());
        EXPECT_TRUE(terminal.pause(std::chrono::milliseconds(1)));
        kill(getpid(), SIGTERM);
        EXPECT_FALSE(terminal.pause(kLong));
        EXPECT_TRUE(terminal.ended());
    };
    run(work, LibraryView::Way::keptBack, true);
}

}  // namespace
