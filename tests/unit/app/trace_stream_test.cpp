#include "app/web/TraceStream.h"

#include <gtest/gtest.h>

namespace web {
namespace {

std::string lineEvent(const std::string& line)
{
    return "event: line\ndata: {\"line\":\"" + line + "\"}\n\n";
}

TEST(TraceLog, EveryReaderGetsTheLinesSinceItCame)
{
    TraceLog log;
    const auto first = log.reader("");
    log.take("one\n");
    const auto second = log.reader("");
    log.take("two\nthree\n");
    EXPECT_EQ(*first->next(), lineEvent("one") + lineEvent("two") + lineEvent("three"));
    EXPECT_EQ(*second->next(), lineEvent("two") + lineEvent("three"));
    EXPECT_EQ(*first->next(), "");
}

TEST(TraceLog, AFilterLetsOnlyLinesThroughThatContainIt)
{
    TraceLog log;
    const auto reader = log.reader("key");
    int woken = 0;
    reader->onWake([&woken] { ++woken; });
    log.take("nothing\n");
    EXPECT_EQ(woken, 0);
    log.take("a key\nno\nkeys\n");
    EXPECT_EQ(woken, 1);
    EXPECT_EQ(*reader->next(), lineEvent("a key") + lineEvent("keys"));
}

TEST(TraceLog, ASlowReaderLosesTheOldestLinesAndIsToldHowMany)
{
    TraceLog log;
    const auto slow = log.reader("");
    const auto quick = log.reader("");
    const std::string line(1024, 'x');
    std::string all;
    for (int i = 0; i < 100; ++i)
    {
        log.take(line + "\n");
        all += *quick->next();
    }
    const std::string one = lineEvent(line);
    EXPECT_EQ(all.size(), 100 * one.size());
    const std::string text = *slow->next();
    EXPECT_EQ(text.substr(0, text.find(one)), "event: lost\ndata: {\"lines\":36}\n\n");
    EXPECT_EQ(text.size(), text.find(one) + 64 * one.size());
    log.take("next\n");
    EXPECT_EQ(*slow->next(), lineEvent("next"));
}

TEST(TraceLog, ALongLineIsCutAndBytesThatAreNoTextAreReplaced)
{
    TraceLog log;
    const auto reader = log.reader("");
    log.take(std::string(5000, 'x') + "\n\xff\n");
    EXPECT_EQ(*reader->next(), lineEvent(std::string(4096, 'x')) + lineEvent("\xef\xbf\xbd"));
}

TEST(TraceLog, AReaderThatWentAwayIsForgotten)
{
    TraceLog log;
    log.reader("").reset();
    log.take("one\n");
    EXPECT_EQ(*log.reader("")->next(), "");
}

TEST(TraceLog, TheLastLinesAreKeptForThoseWhoComeLater)
{
    TraceLog log;
    log.take("one\ntwo\n");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"one", "two"}));
    const std::string line(TraceLog::kLongest - 1, 'x');
    for (std::size_t bytes = 0; bytes < TraceLog::kKept; bytes += TraceLog::kLongest)
    {
        log.take(line + "\n");
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>(TraceLog::kKept / TraceLog::kLongest, line));
}

}  // namespace
}  // namespace web
