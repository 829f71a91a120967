#include "services/linux/Description.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "services/linux/V4l2Description.h"

namespace devices {
namespace {

Description camera()
{
    Description description;
    description.name = "Webcam 300";
    description.version = "uvcvideo 6.1.0";
    Control brightness{0x00980900, "Brightness", ControlType::number, -64, 64, 1, 0, {}};
    brightness.isVolatile = true;
    Control exposure{0x009a0901, "Auto Exposure", ControlType::menu, 1, 3, 1, 3, {{1, "Manual Mode"}, {3, ""}}};
    Control press{0x009a091c, "Auto Focus, Start", ControlType::button, 0, 1, 1, 0, {}};
    press.isReadable = false;
    Control wide{0x009f0903, "Pixel Rate", ControlType::number, 1, INT64_MAX, 1, 1, {}};
    wide.is64Bits = true;
    wide.isSettable = false;
    Control flip{0x00980914, "Horizontal Flip", ControlType::yesNo, 0, 1, 1, 0, {}};
    description.controls = {brightness, exposure, press, wide, flip};
    description.values = {{0x00980900, -3}, {0x009a0901, 3}};
    return description;
}

constexpr char kText[] = "sensorcam device 1\n"
                         "name Webcam 300\n"
                         "version uvcvideo 6.1.0\n"
                         "control 0x00980900 number -64 64 1 0 rsv- Brightness\n"
                         "control 0x009a0901 menu 1 3 1 3 rs-- Auto Exposure\n"
                         "item 1 Manual Mode\n"
                         "item 3 \n"
                         "control 0x009a091c button 0 1 1 0 -s-- Auto Focus, Start\n"
                         "control 0x009f0903 number 1 9223372036854775807 1 1 r--l Pixel Rate\n"
                         "control 0x00980914 yes-no 0 1 1 0 rs-- Horizontal Flip\n"
                         "value 0x00980900 -3\n"
                         "value 0x009a0901 3\n"
                         "end\n";

std::string replaced(const std::string& what, const std::string& by)
{
    std::string text = kText;
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return text.replace(at, what.size(), by);
}

std::string refusal(const std::string& text)
{
    try
    {
        parseDescription(text);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "";
}

TEST(DescriptionText, IsALineForEachFact)
{
    EXPECT_EQ(textOf(camera()), kText);
}

TEST(DescriptionText, IsReadBackAsItWasWritten)
{
    const Description read = parseDescription(kText);
    EXPECT_EQ(textOf(read), kText);
    EXPECT_EQ(read.values, camera().values);
    ASSERT_EQ(read.controls.size(), 5u);
    EXPECT_EQ(read.controls[1].items, camera().controls[1].items);
    EXPECT_TRUE(read.controls[0].isVolatile);
    EXPECT_FALSE(read.controls[2].isReadable);
    EXPECT_FALSE(read.controls[3].isSettable);
    EXPECT_TRUE(read.controls[3].is64Bits);
    EXPECT_EQ(read.controls[3].maximum, INT64_MAX);
}

TEST(DescriptionText, HoldsNothingOfAHostileName)
{
    Description hostile = camera();
    hostile.name = "A\nend\n\x1b[2J\xff";
    hostile.version = std::string(500, 'v');
    hostile.controls[0].name = "B\r\ncontrol\xed\xa0\x80 \xef\xbf\xbe";
    hostile.controls[1].items[1] = std::string(500, 'i');
    hostile.controls[1].items[3] = "\xe2\x80\xae\x07";
    const Description read = parseDescription(textOf(hostile));
    EXPECT_EQ(read.name, "A end  [2J");
    EXPECT_EQ(read.version, std::string(49, 'v'));
    EXPECT_EQ(read.controls[0].name, "B  control");
    EXPECT_EQ(read.controls[1].items.at(1), std::string(96, 'i'));
    EXPECT_EQ(read.controls[1].items.at(3), "");
    EXPECT_EQ(read.controls.size(), 5u);
}

TEST(DescriptionText, CutsALongNameBetweenItsCharacters)
{
    Description longNamed = camera();
    longNamed.name = std::string(95, 'a') + "\xc3\xa4";
    EXPECT_EQ(parseDescription(textOf(longNamed)).name, std::string(95, 'a'));
}

TEST(DescriptionText, ThatIsCutAnywhereIsRefused)
{
    const std::string whole = kText;
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        EXPECT_NE(refusal(whole.substr(0, length)), "") << length;
    }
}

TEST(DescriptionText, IsRefusedWithTheLineThatIsWrong)
{
    const std::string line = " of the device's description ";
    EXPECT_EQ(refusal(replaced("device 1", "device 2")),
              "line 1" + line + "is not that of a description which this program knows");
    EXPECT_EQ(refusal(replaced("number -64", "thing -64")), "line 4" + line + "names no type of a control");
    EXPECT_EQ(refusal(replaced("64 1 0", "64 0 0")), "line 4" + line + "gives a range that is none");
    EXPECT_EQ(refusal(replaced("-64 64", "64 -64")), "line 4" + line + "gives a range that is none");
    EXPECT_EQ(refusal(replaced("-64 64", "-64 99999999999999999999")),
              "line 4" + line + "holds no number where one is needed");
    EXPECT_EQ(refusal(replaced("rsv-", "rsvx")), "line 4" + line + "has flags that nobody knows");
    EXPECT_EQ(refusal(replaced("rsv-", "rsv")), "line 4" + line + "has no flags");
    EXPECT_EQ(refusal(replaced("Brightness", "Bright\x01ness")),
              "line 4" + line + "holds a text that is not printable, or too long");
    EXPECT_EQ(refusal(replaced("item 3 ", "item 4 ")), "line 7" + line + "is an item outside of its menu");
    EXPECT_EQ(refusal(replaced("item 3 ", "item 1 ")), "line 7" + line + "is an item that was there");
    EXPECT_EQ(refusal(replaced("item 1 Manual Mode\nitem 3 \n", "")), "line 6" + line + "follows a menu without items");
    EXPECT_EQ(refusal(replaced("0x009a091c button", "0x009a0901 button")), "line 8" + line + "names a control twice");
    EXPECT_EQ(refusal(replaced("value 0x00980900", "value 0x00980901")),
              "line 11" + line + "gives a value of an unknown control");
    EXPECT_EQ(refusal(replaced("value 0x009a0901", "value 0x00980900")), "line 12" + line + "gives a value twice");
    EXPECT_EQ(refusal(replaced("0x009a0901 3\n", "0x009a0901 3 4\n")),
              "line 12" + line + "has something behind its end");
    EXPECT_EQ(refusal(std::string(kText) + "end\n"), "line 14" + line + "stands behind the end");
    EXPECT_EQ(refusal(replaced("end", "wish")), "line 13" + line + "is none that this program knows");
}

TEST(DescriptionText, LeavesOutValuesOfControlsThatAreNotThere)
{
    Description description = camera();
    description.values[0x00980901] = 5;
    EXPECT_EQ(textOf(description), kText);
}

TEST(DescriptionText, IsBounded)
{
    Description endless = camera();
    for (u32 id = 1; endless.controls.size() <= kMaxControls + 16; ++id)
    {
        endless.controls.push_back({id, "more", ControlType::yesNo, 0, 1, 1, 0, {}});
    }
    EXPECT_NE(refusal(textOf(endless)).find("is one control too many"), std::string::npos);
    EXPECT_EQ(refusal(std::string(5u << 20, 'x')), "the device's description is longer than any");
}

TEST(Fingerprint, IsOfControlsTypesAndItemsWhateverTheirOrder)
{
    Description other = camera();
    std::swap(other.controls[0], other.controls[4]);
    EXPECT_EQ(fingerprint(other), fingerprint(camera()));
}

TEST(Fingerprint, KnowsNeitherRangesNorValuesNorNames)
{
    Description other = camera();
    other.controls[0].maximum = 255;
    other.controls[0].defaultValue = 7;
    other.controls[0].name = "Helligkeit";
    other.values[0x00980900] = 12;
    other.version = "uvcvideo 6.6.0";
    EXPECT_EQ(fingerprint(other), fingerprint(camera()));
}

TEST(Fingerprint, DiffersWithEachControlTypeAndItem)
{
    const std::function<void(Description&)> changes[] = {
        [](Description& d) { d.controls.pop_back(); },
        [](Description& d) { d.controls[4].type = ControlType::number; },
        [](Description& d) { d.controls[1].items[2] = "Shutter Priority"; },
        [](Description& d) { d.controls[1].items[3] = "Aperture Priority"; },
        [](Description& d) { d.controls[4].id = 0x00980915; },
    };
    for (const auto& change : changes)
    {
        Description other = camera();
        change(other);
        EXPECT_NE(fingerprint(other), fingerprint(camera()));
    }
}

// Another program may have chosen another size before, and each size has rates of its own.
TEST(Fingerprint, DoesNotDependOnThePicturesSizeAtTheMoment)
{
    Description small = camera();
    small.controls.push_back({kFrameRate, "Frame rate", ControlType::menu, 15, 30, 1, 30, {{15, "15"}, {30, "30"}}});
    Description large = camera();
    large.controls.push_back({kFrameRate, "Frame rate", ControlType::menu, 5, 5, 1, 5, {{5, "5"}}});
    EXPECT_EQ(fingerprint(small), fingerprint(large));
    EXPECT_NE(fingerprint(small), fingerprint(camera()));
}

}  // namespace
}  // namespace devices
