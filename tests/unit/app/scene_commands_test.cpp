#include <gtest/gtest.h>

#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/support/KeyRows.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

namespace {

using nlohmann::json;
using support::Ended;
using support::execute;
using support::has;
using support::lastDocument;

class SceneCommandsTest : public support::PrivateTreeTest
{
};

// "34=60 applied, 35=999 refused", in their order.
std::string outcomes(const json& answer)
{
    std::string text;
    for (const json& entry : answer["values"])
    {
        text += (text.empty() ? "" : ", ") + entry["key"].dump() + "=" + entry["asked"].dump() + " " +
                entry["outcome"].get<std::string>();
    }
    return text;
}

TEST_F(SceneCommandsTest, TheLensMovesAndComesToRest)
{
    const Ended ended = execute({"lens zoom 20480", "lens wait"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out << ended.err;
    const json lens = lastDocument(ended.out);
    EXPECT_EQ(lens["zoom"], 20480);
    EXPECT_EQ(lens["ratio"], 1500);
    EXPECT_EQ(lens["zoomMoving"], false);
}

TEST_F(SceneCommandsTest, EveryMovementOfTheLensIsACommand)
{
    const Ended ended =
        execute({"lens", "lens zoom in", "lens wait", "lens zoom out", "lens wait", "lens focus far", "lens focus near",
                 "lens focus mode 1", "lens focus 3000", "lens wait", "lens focus once", "lens wait", "lens iris up",
                 "lens iris down", "lens wait", "lens reset", "lens wait"});
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
}

TEST_F(SceneCommandsTest, ALensThatRefusesSaysWhy)
{
    const Ended far = execute({"lens zoom 99999"});
    EXPECT_EQ(far.status, 1);
    EXPECT_TRUE(has(far.err, "99999 is not allowed; allowed: 16384..31424 steps")) << far.err;
    const Ended busy = execute({"lens reset", "lens zoom 20000"});
    EXPECT_EQ(busy.status, 1);
    EXPECT_TRUE(has(busy.err, "the lens is being reset")) << busy.err;
    EXPECT_EQ(execute({"lens dance"}).status, 1);
}

TEST_F(SceneCommandsTest, LightAndTimeAreTheScenesOwn)
{
    const Ended ended = execute({"light 42.5", "time 13:30", "status"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out;
    EXPECT_EQ(lastDocument(ended.out)["lux"], 42.5);
    EXPECT_EQ(lastDocument(ended.out)["time"].get<std::string>().substr(0, 2), "13");
    EXPECT_EQ(execute({"light dark"}).status, 1);
    EXPECT_EQ(execute({"time 24:00"}).status, 1);
}

TEST_F(SceneCommandsTest, WeatherIsHazeAndWindAndWhatIsNotNamedStays)
{
    const Ended ended = execute({"weather", "weather haze=60", "weather WIND=0"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out, "haze 0 %, wind 20 %\nhaze 60 %, wind 20 %\nhaze 60 %, wind 0 %\n");
    EXPECT_EQ(execute({"weather haze=101"}).err, "sensorcam: 101 is no haze in per cent, 0 to 100\n");
    EXPECT_EQ(execute({"weather haze=60 wind=-1"}).err, "sensorcam: -1 is no wind in per cent, 0 to 100\n");
    for (const char* line : {"weather fine", "weather rain=1", "weather haze"})
    {
        EXPECT_EQ(execute({line}).err, "sensorcam: usage: weather [haze=PERCENT] [wind=PERCENT]   ('help weather' says "
                                       "more)\n");
    }
}

TEST_F(SceneCommandsTest, LightCanFollowTheSun)
{
    const Ended ended = execute({"light sun", "time 12:00", "light", "time 00:30", "light"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out;
    EXPECT_LT(lastDocument(ended.out)["lux"].get<double>(), 1.0);
}

TEST_F(SceneCommandsTest, TraceWritesTheMarkerFileAndKeepsTheAssertionSwitch)
{
    EXPECT_EQ(execute({"trace 6"}).status, 0);
    EXPECT_EQ(support::readFile(support::kDebugMarkerFile), "6\n");
    support::writeFile(support::kDebugMarkerFile, "6\n0\n");
    EXPECT_EQ(execute({"trace 4"}).status, 0);
    EXPECT_EQ(support::readFile(support::kDebugMarkerFile), "4\n0\n");
    EXPECT_EQ(execute({"trace off"}).status, 0);
    EXPECT_FALSE(support::fileExists(support::kDebugMarkerFile));
    EXPECT_EQ(execute({"trace off"}).status, 0);
    EXPECT_EQ(execute({"trace loud"}).status, 1);
}

TEST_F(SceneCommandsTest, AFailedAssertionThatEndsTheProcessIsReportedFirst)
{
    support::writeFile(support::kDebugMarkerFile, "1\n1\n");
    const Ended ended = execute({"get 999", "status"});
    EXPECT_EQ(ended.status, 128 + SIGABRT);
    EXPECT_TRUE(has(ended.err, "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)   ~~~Assertion failed."))
        << ended.err;
}

TEST_F(SceneCommandsTest, TheErrorLogCanBeRead)
{
    EXPECT_EQ(execute({"log"}).out, "the error log is empty\n");
    EXPECT_EQ(execute({"get 999"}).status, 1);
    const Ended ended = execute({"log 2"}, {"--json"});
    EXPECT_EQ(lastDocument(ended.out)["lines"].size(), 2u);
    EXPECT_TRUE(has(execute({"log"}).out, "IA_CMD_OPT_GET"));
}

TEST_F(SceneCommandsTest, TheErrorLogGoesOnFromItsPredecessors)
{
    support::writeFile(std::string(support::kErrorLogFile) + ".2", "one\ntwo\n");
    support::writeFile(std::string(support::kErrorLogFile) + ".1", "three\n");
    support::writeFile(support::kErrorLogFile, "four\n");
    EXPECT_EQ(execute({"log 3"}).out, "two\nthree\nfour\n");
}

TEST_F(SceneCommandsTest, DocumentsAreServedAsTheLibraryServesThem)
{
    const Ended ended = execute({"style", "language", "language 1", "language 77"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out;
    EXPECT_TRUE(has(ended.out, "id=\\\"34\\\""));
    EXPECT_EQ(lastDocument(ended.out)["known"], false);
    EXPECT_FALSE(lastDocument(ended.out)["texts"].get<std::string>().empty()) << "the first language stands in";
}

TEST_F(SceneCommandsTest, PairTextComesOutAsItGoesIn)
{
    const Ended before = execute({"all"}, {"--json"});
    const std::string pairs = lastDocument(before.out)["pairs"];
    const Ended ended = execute({"text '" + pairs + "'", "all"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out;
    EXPECT_EQ(lastDocument(ended.out)["pairs"], pairs);
    EXPECT_EQ(execute({"text '(34,61)(144,2)'", "get 34 144"}).status, 0);
    EXPECT_EQ(execute({"text nonsense"}).status, 1);
}

TEST_F(SceneCommandsTest, RestoreSendsAStoredValueAgain)
{
    EXPECT_EQ(execute({"restore brightness"}).out, "KEY_BRIGHTNESS = 50 sent again\n");
    EXPECT_EQ(execute({"restore 999"}).status, 1);
}

TEST_F(SceneCommandsTest, KeysAndHelpListEverything)
{
    const Ended ended = execute({"keys"}, {"--json"});
    EXPECT_EQ(lastDocument(ended.out)["keys"].size(), std::size(support::kKeyRows));
    const Ended help = execute({"help", "help window"});
    EXPECT_EQ(help.status, 0);
    for (const char* name :
         {"keys",   "get",  "set",  "text",  "all",  "save",  "reload", "restore", "reset",    "schemes", "window",
          "scheme", "mode", "lens", "light", "time", "trace", "log",    "style",   "language", "watch",   "quit"})
    {
        EXPECT_TRUE(has(help.out, std::string("\n") + name)) << name;
    }
}

TEST_F(SceneCommandsTest, PairTextWithKeyZeroOrAnUnknownKeyIsRefused)
{
    const Ended zero = execute({"text '(0,1)(34,70)'"});
    EXPECT_EQ(zero.status, 1);
    EXPECT_TRUE(has(zero.err, "key 0 refused: this camera has no such parameter.\n"
                              "  before it applied: nothing\n"
                              "  after it not applied: KEY_BRIGHTNESS=70\n"))
        << zero.err;
    const Ended unknown = execute({"text '(34,60)(9999,1)(35,70)'"}, {"--json"});
    EXPECT_EQ(unknown.status, 1);
    const json answer = lastDocument(unknown.out);
    EXPECT_EQ(outcomes(answer), "34=60 applied, 9999=1 refused, 35=70 notReached");
    EXPECT_EQ(answer["error"]["code"], "not-on-device");
    EXPECT_EQ(answer["error"]["key"], 9999);
    EXPECT_EQ(execute({"text '(-2147483648,1)'"}).status, 1);
}

TEST_F(SceneCommandsTest, OfAKeyThatIsSentTwiceTheRefusedRecordIsNamed)
{
    const json second = lastDocument(execute({"text '(34,60)(34,999)(35,10)'"}, {"--json"}).out);
    EXPECT_EQ(second["ok"], false);
    EXPECT_EQ(outcomes(second), "34=60 applied, 34=999 refused, 35=10 notReached");
    const json first = lastDocument(execute({"text '(34,999)(34,60)'"}, {"--json"}).out);
    EXPECT_EQ(outcomes(first), "34=999 refused, 34=60 notReached");
}

TEST_F(SceneCommandsTest, PairTextThatCannotBeReadIsRefusedAsAWhole)
{
    for (const char* text : {"(", "()", "(34)", "(34,60", "34,60", "(34,60)(35)", "(34,60),(35,60)", "(34,6x)"})
    {
        const Ended ended = execute({std::string("text '") + text + "'"});
        EXPECT_EQ(ended.status, 1) << text;
        EXPECT_TRUE(has(ended.err, "is not a pair (KEY,VALUE) of whole numbers; nothing was applied")) << ended.err;
    }
    EXPECT_TRUE(has(execute({"text ' '"}).err, "no pair (KEY,VALUE) in it"));
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

TEST_F(SceneCommandsTest, MorePairsThanTheLibraryTakesAreRefused)
{
    std::string pairs;
    for (int i = 0; i < 200; ++i)
    {
        pairs += "(34," + std::to_string(60 + i % 2) + ")";
    }
    const Ended ended = execute({"text '" + pairs + "'"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.err, "200 values are too many at once, this camera takes ")) << ended.err;
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

TEST_F(SceneCommandsTest, AsManyPairsAsTheLibraryTakesAreApplied)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    std::string pairs;
    for (std::size_t records = support::readFile(support::schemeFile(0)).size() / 8; records > 1; --records)
    {
        pairs += "(34,60)";
    }
    const Ended ended = execute({"text '" + pairs + "(34,61)'", "get brightness"}, {"--json"});
    EXPECT_EQ(ended.status, 0) << ended.out;
    EXPECT_EQ(lastDocument(ended.out)["values"][0]["value"], 61);
}

TEST_F(SceneCommandsTest, ExplainsWhichSchemeHoldsAndWhatComesNext)
{
    const Ended ended = execute({"window 0 on 08:00-18:00", "time 09:00", "explain"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.out << ended.err;
    const json explained = lastDocument(ended.out);
    EXPECT_EQ(explained["scheme"], 0);
    EXPECT_EQ(explained["until"], "18:00");
    EXPECT_EQ(explained["next"], 4);
    const Ended manual = execute({"mode manual", "explain"});
    EXPECT_TRUE(has(manual.out, "the mode is manual")) << manual.out;
    EXPECT_EQ(execute({"explain one two"}).status, 1);
}

TEST_F(SceneCommandsTest, ExplainsAKey)
{
    const Ended ended = execute({"mode manual", "scheme 0", "set brightness=61", "explain brightness"});
    ASSERT_EQ(ended.status, 0) << ended.out << ended.err;
    EXPECT_TRUE(has(ended.out, "KEY_BRIGHTNESS = 61, of scheme 0, not saved: 'reload' brings back 50\n"
                               "allowed: 0..100 %\nit would change with\n  scheme 1: 50\n"))
        << ended.out;
    EXPECT_TRUE(has(ended.out, "  'reset': 50\n")) << ended.out;
    EXPECT_TRUE(has(execute({"explain 999"}).out, "key 999: unknown")) << ended.out;
    EXPECT_EQ(execute({"explain nonsense"}).status, 1);
}

}  // namespace
