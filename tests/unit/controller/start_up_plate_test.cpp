#include "tests/unit/controller/StartUpFixture.h"

using namespace support;

namespace {

using StartUpPlate = StartUpFixture;

TEST_F(StartUpPlate, PlateCameraIsTheDeviceTypeWithoutAnInfraredVariant)
{
    struct Case
    {
        int type;
        const char* detail;
        bool lpr;
    };
    for (const Case& tried : {
             Case{8, "(max_scheme=3)", true},
             Case{8, "(a=1)", true},
             Case{8, "", true},
             Case{8, "(isInfrared=0", true},
             Case{8, "(isInfrared=0)", false},
             Case{8, "(isInfrared=1)", false},
             Case{8, "(max_scheme=3)(isInfrared=1)(x=2)", false},
             Case{8, "(max_scheme=3)(isInfrared=2)", true},
             Case{8, "(max_scheme=3)(isinfrared=1)", true},
             Case{1, "(max_scheme=3)", false},
             Case{4, "(max_scheme=3)", false},
             Case{9, "(max_scheme=3)", false},
         })
    {
        wipeTree();
        useDevice(tried.type, tried.detail);
        initOutput();
        EXPECT_EQ(tried.lpr, Probe::lpr(c())) << tried.type << " " << tried.detail;
        bringDown();
    }
}

TEST_F(StartUpPlate, PlateCameraStaysOneWhateverALaterInitFinds)
{
    useDevice(8, "(max_scheme=3)");
    initOutput();
    struct Case
    {
        int type;
        const char* detail;
    };
    for (const Case& tried : {Case{1, "(max_scheme=3)"}, Case{8, "(max_scheme=3)(isInfrared=0)"},
                              Case{8, "(max_scheme=3)(isInfrared=1)"}, Case{4, "(max_scheme=3)(isInfrared=1)"}})
    {
        c().uinit();
        wipeTree();
        useDevice(tried.type, tried.detail);
        EXPECT_TRUE(initialise());
        stopThread();
        EXPECT_TRUE(Probe::lpr(c())) << tried.type << " " << tried.detail;
        EXPECT_EQ(0U, storedValue(0, KEY_SCHEME_ENABLE));
        EXPECT_EQ(18U, storedValue(1, KEY_MAX_SHUTTER));
    }
    useDevice(1, detail_);
    EXPECT_TRUE(c().resetParameters());
    stopThread();
    EXPECT_TRUE(Probe::lpr(c()));
}

TEST_F(StartUpPlate, PlateCamerasSecondSchemeHasNightValuesAndTheFirstIsNotEnabled)
{
    useDevice(8, "(max_scheme=3)");
    initOutput();
    std::map<u32, u32> night = {
        {KEY_DN_MODE, 0}, {KEY_MAX_SHUTTER, 18}, {KEY_METER_AREA, 1}, {KEY_IR_MODE, 2}, {KEY_IR_MANUAL_STRG_NEAR, 40}};
    const std::vector<KeyVal> factory = scheme(3);
    const std::vector<KeyVal> stored = recordsOf(readFile(schemeFile(1)));
    ASSERT_EQ(factory.size(), stored.size());
    for (size_t i = 0; i < factory.size(); ++i)
    {
        const auto changed = night.find(factory[i].key);
        EXPECT_EQ(changed == night.end() ? factory[i].value : changed->second, stored[i].value) << factory[i].key;
    }
    EXPECT_EQ(factory, recordsOf(readFile(schemeFile(0))));
    EXPECT_EQ(factory, recordsOf(readFile(schemeFile(2))));
    EXPECT_EQ(0U, storedValue(0, KEY_SCHEME_ENABLE));
    EXPECT_EQ(1U, valueOf(3, KEY_DN_MODE));
}

TEST_F(StartUpPlate, PlateCameraWithoutTheNightKeysSkipsThem)
{
    files_.parameters = {{KEY_BRIGHTNESS, 50}, {KEY_DN_MODE, 1}};
    useDevice(8, "(max_scheme=3)");
    EXPECT_EQ("", initOutput());
    EXPECT_EQ(7U, recordsOf(readFile(schemeFile(1))).size());
    EXPECT_EQ(0U, storedValue(1, KEY_DN_MODE));
}

TEST_F(StartUpPlate, PlateCameraOfAHundredParametersUsesAllTheRoomAndNotMore)
{
    files_.parameters.clear();
    for (int key = 1000; key < 1095; ++key)
    {
        files_.parameters.push_back({key, key});
    }
    useDevice(8, "(max_scheme=3)");
    initOutput();
    ASSERT_EQ(100U, Probe::keyValSum(c()));
    EXPECT_EQ(recordsOf(readFile(schemeFile(0))), recordsOf(readFile(schemeFile(1))));
    outputOf([this] { c().LPR_switch_to(3); });  // AddressSanitizer finds nothing behind the last record
    EXPECT_EQ(1094U, Probe::keyValBuf(c())[99].value);
}

TEST_F(StartUpPlate, OnlyTheFirstRecordOfANightKeyIsChanged)
{
    files_.parameters = {{KEY_DN_MODE, 1}, {KEY_DN_MODE, 5}};
    useDevice(8, "(max_scheme=3)");
    initOutput();
    const std::vector<KeyVal> stored = recordsOf(readFile(schemeFile(1)));
    EXPECT_EQ(0U, stored[5].value);
    EXPECT_EQ(5U, stored[6].value);
}

TEST_F(StartUpPlate, PlateCameraWithItsFileKeepsIt)
{
    useDevice(8, "(max_scheme=3)");
    initOutput();
    setValue(1, KEY_MAX_SHUTTER, 7);
    writeFile(schemeFile(1), bytesOf(scheme(1)));
    initOutput();
    EXPECT_EQ(7U, valueOf(1, KEY_MAX_SHUTTER));
}

}  // namespace
