#include "services/linux/Documents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <stdexcept>

#include "SensorKeys.h"
#include "XmlGuard.h"
#include "services/CommandNames.h"
#include "services/linux/ControlIds.h"
#include "services/linux/ControlTable.h"
#include "services/linux/Service.h"
#include "tests/unit/services/linux/Webcam.h"

namespace devices {
namespace {

constexpr char kStyle[] = "hd1/moduleConfig/sensorConfig/style/Style.xml";
constexpr char kModule[] = "hd1/moduleConfig/moduleConfig.xml";
constexpr char kMachine[] = "mnt/mtd/code/factory_setting/machineinfo.ini";

std::string shared(const std::string& name)
{
    std::ifstream stream(std::string(SENSORDLL_SOURCE_DIR "/share/") + name, std::ios::binary);
    EXPECT_TRUE(stream.is_open()) << name;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::map<std::string, std::string> languages()
{
    std::map<std::string, std::string> files;
    for (const char* name : {"languages.xml", "en/texts.xml", "en/common.xml", "de/texts.xml", "de/common.xml"})
    {
        files[name] = shared(std::string("language/") + name);
    }
    return files;
}

Description board()
{
    Description description = support::cameraWith(support::webcam());
    for (const Control& more :
         {support::number(kLampNear, 0, 255, 0), support::number(kLampFar, 0, 255, 0), support::yesNo(kFilter, true),
          support::menu(kFrameRate, {5, 15, 25, 30, 60}, 30), support::yesNo(V4L2_CID_HFLIP, false),
          support::yesNo(V4L2_CID_VFLIP, false), support::button(V4L2_CID_AUTO_FOCUS_START)})
    {
        description.controls.push_back(more);
        description.values[more.id] = more.defaultValue;
    }
    return description;
}

Board lit(bool schemesByLight)
{
    Board board;
    board.light = "auto";
    board.schemesByLight = schemesByLight;
    return board;
}

Documents documentsFor(const Description& description, const Board& with = {})
{
    return documentsOf(description, parametersOf(description, with), with, languages());
}

std::vector<int> keysOf(const Documents& documents)
{
    std::vector<int> keys;
    for (const DocumentParameter& parameter : documents.parameters)
    {
        keys.push_back(parameter.key);
    }
    return keys;
}

bool has(const Documents& documents, int key)
{
    const std::vector<int> keys = keysOf(documents);
    return std::count(keys.begin(), keys.end(), key) == 1;
}

// The element with that id, up to its end.
std::string elementOf(const Documents& documents, int key)
{
    std::smatch found;
    const std::string& style = documents.files.at(kStyle);
    const std::regex pattern("<[a-z]+ id=\"" + std::to_string(key) + "\"[^>]*>");
    return std::regex_search(style, found, pattern) ? found[0].str() : "";
}

// The values of all attributes of that name, in document order.
std::vector<std::string> all(const std::string& document, const std::string& attribute)
{
    std::vector<std::string> values;
    const std::regex pattern(" " + attribute + "=\"([^\"]*)\"");
    for (std::sregex_iterator at(document.begin(), document.end(), pattern), end; at != end; ++at)
    {
        values.push_back((*at)[1]);
    }
    return values;
}

std::set<std::string> idsIn(const std::string& texts)
{
    const std::vector<std::string> ids = all(texts, "id");
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size()) << "an id comes twice";
    return {ids.begin(), ids.end()};
}

TEST(DeviceDocuments, OfASmallCameraAreTheseByteForByte)
{
    const Documents documents = documentsFor(support::cameraWith(
        {support::number(V4L2_CID_BRIGHTNESS, -64, 64, 0), support::yesNo(V4L2_CID_FOCUS_AUTO, true)}));
    EXPECT_EQ(documents.files.at(kStyle),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<SensorStyle version=\"1\">\n"
              "    <tab key=\"schedule\" text=\"tab_schedule\">\n"
              "        <group text=\"group_window\">\n"
              "            <switch id=\"8000\" value=\"0\" text=\"scheme_enabled\"/>\n"
              "            <window text=\"scheme_window\">\n"
              "                <time text=\"window_start\">\n"
              "                    <hour id=\"8001\" value=\"0\" min=\"0\" max=\"24\" step=\"1\"/>\n"
              "                    <minute id=\"8002\" value=\"0\" min=\"0\" max=\"59\" step=\"1\"/>\n"
              "                </time>\n"
              "                <time text=\"window_end\">\n"
              "                    <hour id=\"8003\" value=\"24\" min=\"0\" max=\"24\" step=\"1\"/>\n"
              "                    <minute id=\"8004\" value=\"0\" min=\"0\" max=\"59\" step=\"1\"/>\n"
              "                </time>\n"
              "            </window>\n"
              "        </group>\n"
              "    </tab>\n"
              "    <tab key=\"image\" text=\"tab_image\">\n"
              "        <group text=\"group_picture\">\n"
              "            <slider id=\"34\" value=\"50\" min=\"0\" max=\"100\" step=\"1\" unit=\"percent\" "
              "text=\"brightness\"/>\n"
              "        </group>\n"
              "    </tab>\n"
              "    <tab key=\"lens\" text=\"tab_lens\">\n"
              "        <group text=\"group_focus\">\n"
              "            <radio id=\"1536\" value=\"0\" text=\"focus_mode\">\n"
              "                <item index=\"0\" text=\"mode_automatic\"/>\n"
              "                <item index=\"1\" text=\"mode_manual\"/>\n"
              "                <item index=\"2\" text=\"mode_after_zoom\"/>\n"
              "            </radio>\n"
              "        </group>\n"
              "    </tab>\n"
              "</SensorStyle>\n");
    EXPECT_EQ(documents.files.at(kMachine), "DeviceType=1\nHardwareModel=device\nHardwareCode=1\n");
    EXPECT_EQ(documents.files.at(kModule), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                           "<ModuleConfigs>\n"
                                           "    <ModuleConfig hardwareModel=\"device\" hardwareCode=\"1\">\n"
                                           "        <ModuleId>1</ModuleId>\n"
                                           "        <Detail>(model=device)(max_scheme=4)</Detail>\n"
                                           "        <Parameters>(fps=25)</Parameters>\n"
                                           "    </ModuleConfig>\n"
                                           "</ModuleConfigs>\n");
    EXPECT_EQ(documents.files.at("hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<Rule model=\"none\">\n"
              "    <Delete tab_key=\"none\"/>\n"
              "</Rule>\n");
    EXPECT_EQ(keysOf(documents), (std::vector<int>{8000, 8001, 8002, 8003, 8004, 34, 1536}));
}

TEST(DeviceDocuments, HaveTheWindowFirstAndWhatMovesLast)
{
    const std::vector<int> keys = keysOf(documentsFor(board(), lit(false)));
    EXPECT_EQ(std::vector<int>(keys.begin(), keys.begin() + 5), (std::vector<int>{8000, 8001, 8002, 8003, 8004}));
    const std::vector<std::string> tabs = all(documentsFor(board(), lit(false)).files.at(kStyle), "key");
    EXPECT_EQ(tabs, (std::vector<std::string>{"schedule", "image", "sensor", "exposure", "white", "daynight",
                                              "infrared", "compensation", "iris", "lens"}));
}

TEST(DeviceDocuments, ListTheRecordsInTheOrderOfTheStyle)
{
    const Documents documents = documentsFor(board(), lit(false));
    std::vector<std::string> ids;
    for (const int key : keysOf(documents))
    {
        ids.push_back(std::to_string(key));
    }
    EXPECT_EQ(all(documents.files.at(kStyle), "id"), ids);
}

// A key without a place would be lost without a word.
TEST(DeviceDocuments, HaveAPlaceForEveryCommandThatACameraMayHave)
{
    std::vector<Control> everything;
    for (const Row& row : rows())
    {
        if (findControl(everything, row.control) == nullptr)
        {
            std::vector<int> items;
            for (int i = 0; i < row.entryCount; ++i)
            {
                for (const std::int64_t value : {row.entries[i].value, row.entries[i].instead})
                {
                    if (value >= 0 && value < 20)
                    {
                        items.push_back(static_cast<int>(value));
                    }
                }
            }
            std::sort(items.begin(), items.end());
            everything.push_back(row.conversion == Conversion::press ? support::button(row.control)
                                 : row.control == kFrameRate         ? support::menu(row.control, {25, 50}, 25)
                                 : items.size() > 2 && items.back() > 1
                                     ? support::menu(row.control, items, items.front())
                                     : support::number(row.control, 0, 5000, 7));
        }
    }
    const Description description = support::cameraWith(everything);
    const Documents documents = documentsFor(description, lit(false));
    for (const services::ParameterState& state : parametersOf(description, lit(false)))
    {
        const bool leavesAChoice = state.kind == services::Kind::choice ? state.allowed.items.size() > 1
                                                                        : state.kind != services::Kind::reading;
        EXPECT_EQ(has(documents, static_cast<int>(services::keyOfCommand(state.cmd))), leavesAChoice) << state.name;
    }
    EXPECT_LE(documents.parameters.size(), 100u);
}

TEST(DeviceDocuments, OfACameraWithMoreThanAHundredControlsHoldThoseWithAKey)
{
    std::vector<Control> controls = support::webcam();
    for (u32 i = 0; i < 150; ++i)
    {
        controls.push_back(support::number(0x08000000 + i, 0, 9, 1));
    }
    EXPECT_EQ(documentsFor(support::cameraWith(controls)).files,
              documentsFor(support::cameraWith(support::webcam())).files);
}

TEST(DeviceDocuments, NameConditionsThatTheDeviceCanFulfil)
{
    const Documents documents = documentsFor(board(), lit(false));
    EXPECT_NE(elementOf(documents, KEY_FIX_SHUTTER).find("when=\"16=1,3\""), std::string::npos);
    EXPECT_NE(elementOf(documents, KEY_IR_MANUAL_STRG_FAR).find("when=\"160=1;161=2\""), std::string::npos);
    EXPECT_NE(elementOf(documents, KEY_IR_AUTO_STRG_FAR).find("when=\"160=1;161=0\""), std::string::npos);
    for (const std::string& conditions : all(documents.files.at(kStyle), "when"))
    {
        std::stringstream stream(conditions);
        for (std::string one; std::getline(stream, one, ';');)
        {
            EXPECT_TRUE(has(documents, std::stoi(one))) << one;
        }
    }
}

TEST(DeviceDocuments, TakeTimesTogether)
{
    const std::string style = documentsFor(board(), lit(false)).files.at(kStyle);
    EXPECT_NE(style.find("            <time text=\"day_to_night_at\" when=\"144=3\">\n"), std::string::npos);
    std::size_t opened = 0;
    std::size_t closed = 0;
    for (std::size_t at = style.find("<time "); at != std::string::npos; at = style.find("<time ", at + 1))
    {
        ++opened;
    }
    for (std::size_t at = style.find("</time>"); at != std::string::npos; at = style.find("</time>", at + 1))
    {
        ++closed;
    }
    EXPECT_EQ(opened, 4u);
    EXPECT_EQ(closed, 4u);
}

TEST(DeviceDocuments, LeaveOutWhatIsSentAsOneRecordButIsNotWhole)
{
    const Description description = board();
    std::vector<services::ParameterState> states = parametersOf(description, lit(false));
    states.erase(std::remove_if(states.begin(), states.end(),
                                [](const auto& s) { return s.cmd == IA_CMD_NTD_M || s.cmd == IA_CMD_DTN_THR; }),
                 states.end());
    const Documents documents = documentsOf(description, states, lit(false), languages());
    for (const int key : {KEY_DTN_H, KEY_DTN_M, KEY_NTD_H, KEY_NTD_M, KEY_DTN_THR, KEY_NTD_THR})
    {
        EXPECT_FALSE(has(documents, key)) << key;
    }
    EXPECT_TRUE(has(documents, KEY_DN_MODE));
}

TEST(DeviceDocuments, OfSchemesByLightAreThoseOfAPlateCamera)
{
    const Documents documents = documentsFor(board(), lit(true));
    EXPECT_EQ(documents.files.at(kMachine), "DeviceType=8\nHardwareModel=device\nHardwareCode=1\n");
    EXPECT_TRUE(has(documents, KEY_DN_MODE));
    EXPECT_TRUE(has(documents, KEY_IR_MODE));
}

TEST(DeviceDocuments, HaveNoKeyWhoseNightValueTheDeviceWouldRefuse)
{
    Board blind;
    blind.schemesByLight = true;
    EXPECT_FALSE(has(documentsFor(board(), blind), KEY_DN_MODE)) << "night by light, without a light sensor";
    EXPECT_TRUE(has(documentsFor(board(), Board()), KEY_DN_MODE));
}

TEST(DeviceDocuments, ReadWellInBothLanguages)
{
    const Documents documents = documentsFor(board(), lit(false));
    for (const char* language : {"en", "de"})
    {
        const std::string folder = std::string("share/language/") + language;
        const std::set<std::string> texts = idsIn(documents.files.at(folder + "/texts.xml"));
        const std::set<std::string> common = idsIn(documents.files.at(folder + "/common.xml"));
        for (const std::string& text : all(documents.files.at(kStyle), "text"))
        {
            EXPECT_EQ(texts.count(text), 1u) << text;
        }
        for (const std::string& unit : all(documents.files.at(kStyle), "unit"))
        {
            EXPECT_EQ(common.count("unit_" + unit), 1u) << unit;
        }
        EXPECT_NE(documents.files.at(folder + "/common.xml").find("<text id=\"model_device\">Webcam 300</text>"),
                  std::string::npos);
    }
    EXPECT_NE(documents.files.at("share/language/en/texts.xml").find("<text id=\"fps_15\">15 frames per second</text>"),
              std::string::npos);
    EXPECT_NE(documents.files.at("share/language/de/texts.xml").find("<text id=\"fps_5\">5 "), std::string::npos);
    EXPECT_EQ(documents.files.at("share/language/languages.xml"), shared("language/languages.xml"));
}

TEST(DeviceDocuments, StreamAtARateThatTheDeviceHas)
{
    EXPECT_NE(documentsFor(board()).files.at(kModule).find("(fps=30)"), std::string::npos);
}

TEST(DeviceDocuments, StreamBelowTheRateThatHasNoWideDynamicRange)
{
    Description fast = board();
    for (Control& control : fast.controls)
    {
        control = control.id == kFrameRate ? support::menu(kFrameRate, {25, 50}, 50) : control;
    }
    EXPECT_NE(documentsFor(fast).files.at(kModule).find("(fps=25)"), std::string::npos);
}

TEST(DeviceDocuments, HoldNothingOfAHostileNameButCharactersOfXml)
{
    Description hostile = board();
    hostile.name =
        "</text>\x01\xff&\"'\xef\xbf\xbf\xed\xa0\x80\xf4\x90\x80\x80<b>" + std::string(300, 'x') + "\xc3\xa4";
    for (Control& control : hostile.controls)
    {
        control.name = "\"/><x id=\"1\" value=\"2\"/>";
        for (auto& [value, label] : control.items)
        {
            label = "]]>&#0;\x02\xfe";
        }
    }
    std::vector<services::ParameterState> states = parametersOf(hostile, lit(false));
    for (services::ParameterState& state : states)
    {
        state.name = "<\x03>";
        state.unit = "\"\x04";
        for (auto& [value, label] : state.labels)
        {
            label = "\"/><item index=\"9\x05" + std::string(500, 'y');
        }
    }
    const Documents documents = documentsOf(hostile, states, lit(false), languages());
    for (const auto& [path, content] : documents.files)
    {
        EXPECT_EQ(std::count_if(content.begin(), content.end(), [](char c) { return c >= 0 && c < ' ' && c != '\n'; }),
                  0)
            << path;
        EXPECT_TRUE(path == kMachine || host::isPlainXml(content)) << path;
        EXPECT_EQ(content.find("<x "), std::string::npos) << path;
        EXPECT_EQ(content.find("<b>"), std::string::npos) << path;
        EXPECT_EQ(content.find(std::string(97, 'y')), std::string::npos) << path;
    }
    EXPECT_NE(documents.files.at("share/language/en/common.xml").find("&lt;/text&gt;  &amp;&quot;&apos;"),
              std::string::npos);
    EXPECT_EQ(keysOf(documents), keysOf(documentsFor(board(), lit(false))));
}

TEST(DeviceDocuments, CutALongNameBetweenItsCharacters)
{
    Description longNamed = board();
    longNamed.name = std::string(95, 'a') + "\xc3\xa4";
    EXPECT_NE(documentsFor(longNamed)
                  .files.at("share/language/en/common.xml")
                  .find("\"model_device\">" + std::string(95, 'a') + "</text>"),
              std::string::npos);
}

TEST(DeviceDocuments, OfACameraWithoutANameSayDevice)
{
    Description nameless = board();
    nameless.name = "\x01\x02 ";
    EXPECT_NE(documentsFor(nameless).files.at("share/language/en/common.xml").find("\"model_device\">device</text>"),
              std::string::npos);
}

TEST(DeviceDocuments, CannotBeMadeOfALanguageFileThatIsNone)
{
    std::map<std::string, std::string> files = languages();
    files["de/common.xml"] = "nothing";
    try
    {
        documentsOf(board(), parametersOf(board(), {}), {}, files);
        FAIL();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ(error.what(), "there are no texts in language/de/common.xml");
    }
}

}  // namespace
}  // namespace devices
