#include "services/linux/Board.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "services/linux/ControlIds.h"

namespace {

using namespace std::chrono_literals;
using devices::Board;
using devices::FilterLines;
using devices::parseBoard;
using devices::parseFilter;

std::string errorOf(const std::function<void()>& call)
{
    try
    {
        call();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "";
}

std::string errorOf(const std::string& text)
{
    return errorOf([&] { parseBoard(text); });
}

constexpr char kWhole[] = "camera = 046d-0825-4A1B\n"
                          "light = auto\n"
                          "lamp = near=input0::capslock\n"
                          "lamp = far=white:flash\n"
                          "filter = gpiochip0:3:4,250ms\n"
                          "others = take-over\n"
                          "schemes = light\n"
                          "mains = 60\n";

TEST(Board, IsReadAndWrittenAsTheSameText)
{
    const Board board = parseBoard(kWhole);
    EXPECT_EQ("046d-0825-4A1B", board.camera);
    EXPECT_EQ("auto", board.light);
    EXPECT_EQ(
        (std::map<u32, std::string>{{devices::kLampNear, "input0::capslock"}, {devices::kLampFar, "white:flash"}}),
        board.lamps);
    EXPECT_EQ("gpiochip0", board.filter->chip);
    EXPECT_EQ(3u, board.filter->in);
    EXPECT_EQ(4u, board.filter->out);
    EXPECT_EQ(250ms, board.filter->pulse);
    EXPECT_EQ(devices::Others::takeOver, board.others);
    EXPECT_TRUE(board.schemesByLight);
    EXPECT_EQ(60, board.mains);
    EXPECT_EQ(kWhole, textOf(board));
}

TEST(Board, WhatIsNotSaidIsAsItMostlyIs)
{
    EXPECT_EQ("others = put-back\nschemes = clock\nmains = 50\n", textOf(parseBoard("")));
}

TEST(Board, MayHaveSpacesAndComments)
{
    const Board board = parseBoard("# a board\r\n\n  camera=usb-a#b\t# the left one\n#light = x\nlight=  two words \n");
    EXPECT_EQ("usb-a#b", board.camera);
    EXPECT_EQ("two words", board.light);
}

TEST(Board, AnErrorNamesItsLineAndSaysWhatIsWrong)
{
    EXPECT_EQ(
        "line 2: colour = 3: there is no such name; the names are camera, light, lamp, filter, others, schemes, mains",
        errorOf("\ncolour = 3"));
    EXPECT_EQ("line 1: camera: a line is \"name = value\"", errorOf("camera"));
    EXPECT_EQ("line 1: camera =: there is no name", errorOf("camera ="));
    EXPECT_EQ("line 2: mains = 60: this is said twice", errorOf("mains = 50\nmains = 60"));
    EXPECT_EQ("line 1: others = fight: it is one of put-back, take-over, leave", errorOf("others = fight"));
    EXPECT_EQ("line 1: mains = 55: it is one of 50, 60", errorOf("mains = 55"));
    EXPECT_EQ("line 1: schemes = moon: it is one of clock, light", errorOf("schemes = moon"));
    EXPECT_EQ("line 1: lamp = left=x: it is one of near, medium, far", errorOf("lamp = left=x"));
    EXPECT_EQ("line 1: lamp = x: a lamp is its reach and its name, like near=white:flash", errorOf("lamp = x"));
    EXPECT_EQ("line 2: lamp = near=y: this is said twice", errorOf("lamp = near=x\nlamp = near=y"));
    EXPECT_EQ("line 2: lamp = far=x: x is a lamp already", errorOf("lamp = near=x\nlamp = far=x"));
    EXPECT_EQ("line 1: filter = gpiochip0:x: \"x\" is no number of a line", errorOf("filter = gpiochip0:x"));
    EXPECT_EQ("line 1: light = a [2J: this is no name of a device", errorOf("light = a\033[2J"));
}

TEST(Board, SchemesByLightNeedALightSensor)
{
    const std::string refusal = "schemes follow the light only with a light sensor (light = NAME, or --light NAME)";
    EXPECT_EQ(refusal, errorOf("schemes = light\n"));
    EXPECT_EQ("", errorOf("schemes = light\nlight = auto\n")) << "in whatever order";
}

TEST(Board, ANameThatCouldNotBeReadBackIsNotWritten)
{
    for (const char* name : {"two\nlines", " space", "a #comment", "#", "\x7f"})
    {
        Board board;
        board.camera = name;
        EXPECT_EQ("this is no name of a device", errorOf([&] { textOf(board); })) << name;
    }
}

std::string written(const std::string& filter)
{
    Board board;
    board.filter = parseFilter(filter);
    const std::string text = textOf(board);
    return text.substr(0, text.find('\n'));
}

TEST(ParseFilter, TakesALevelOrAPulse)
{
    EXPECT_EQ("filter = gpiochip0:3,high", written("gpiochip0:3"));
    EXPECT_EQ("filter = gpiochip0:3,low", written("gpiochip0:3,low"));
    EXPECT_EQ("filter = gpiochip0:3:4,100ms", written("gpiochip0:3:4"));
    EXPECT_EQ("filter = gpiochip0:3:4,20ms", written("gpiochip0:3:4,20ms"));
    EXPECT_EQ("filter = pci:0a.1:7,high", written("pci:0a.1:7")) << "a chip by its label";
}

TEST(ParseFilter, SaysWhatIsWrong)
{
    const auto error = [](const char* text) { return errorOf([&] { parseFilter(text); }); };
    const std::string form =
        "a filter is a chip and its line, like gpiochip0:3, or two lines, like gpiochip0:3:4,100ms";
    EXPECT_EQ(form, error(""));
    EXPECT_EQ(form, error("gpiochip0"));
    EXPECT_EQ(form, error(":3"));
    EXPECT_EQ("\"\" is no number of a line", error("gpiochip0:"));
    EXPECT_EQ("\"-1\" is no number of a line", error("gpiochip0:-1"));
    EXPECT_EQ("\"65536\" is no number of a line", error("gpiochip0:65536"));
    EXPECT_EQ("\"99999999999\" is no number of a line", error("gpiochip0:99999999999"));
    EXPECT_EQ("\"1 [2J\" is no number of a line", error("gpiochip0:1\033[2J"));
    EXPECT_EQ("both ways have the same line", error("gpiochip0:3:3"));
    const std::string options = " is unknown: one line is low or high, two have a pulse like 100ms";
    EXPECT_EQ("\"100ms\"" + options, error("gpiochip0:3,100ms"));
    EXPECT_EQ("\"low\"" + options, error("gpiochip0:3:4,low"));
    EXPECT_EQ("\"\"" + options, error("gpiochip0:3,,low"));
    EXPECT_EQ("\"x\" is no length of a pulse", error("gpiochip0:3:4,xms"));
    EXPECT_EQ("\"10001\" is no length of a pulse", error("gpiochip0:3:4,10001ms"));
    EXPECT_EQ("a pulse of 0ms moves nothing", error("gpiochip0:3:4,0ms"));
}

}  // namespace
