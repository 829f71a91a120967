#include "tests/unit/controller/StartUpFixture.h"

#include <pthread.h>

#include "keycmd.h"

using namespace support;

namespace {

using StartUp = StartUpFixture;

TEST_F(StartUp, FirstStartPrintsNothingAtTheUsualLevel)
{
    EXPECT_EQ("", initOutput());
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(StartUp, FirstStartMakesSchemeFilesAndVersionFile)
{
    initOutput();
    EXPECT_EQ((std::vector<std::string>{"sensor0.cfg", "sensor1.cfg", "sensor2.cfg", "snsversion.cfg"}),
              filesIn(kConfigFolder));
    EXPECT_EQ(std::string("\x08\0\0\0", 4), readFile(kVersionFile));
}

TEST_F(StartUp, FirstStartSetsAllMembers)
{
    initOutput();
    EXPECT_EQ(29U, Probe::keyValSum(c()));
    EXPECT_NE(nullptr, Probe::keyValTmp(c()));
    EXPECT_NE(nullptr, Probe::keyValBuf(c()));
    EXPECT_EQ(Probe::fctKeyVal(c()), Probe::userKeyVal(c())[3]);
    EXPECT_EQ(g_pKeyCmdMap, Probe::keyCmdMap(c()));
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(0, current());
    EXPECT_EQ(-1, Probe::lastScheme(c()));
    EXPECT_FALSE(Probe::lpr(c()));
    EXPECT_TRUE(c().getSensorStatus());
}

TEST_F(StartUp, SchemesLieInOneBlock)
{
    initOutput();
    KeyVal** schemes = Probe::userKeyVal(c());
    for (int i = 1; i <= 3; ++i)
    {
        EXPECT_EQ(schemes[0] + i * 29, schemes[i]);
    }
}

TEST_F(StartUp, RecordsStandInTheOrderOfTheStyle)
{
    initOutput();
    std::vector<KeyVal> expected;
    for (const Parameter& parameter : files_.schedule)
    {
        expected.push_back({static_cast<u32>(parameter.id), static_cast<u32>(parameter.value)});
    }
    for (const Parameter& parameter : files_.parameters)
    {
        expected.push_back({static_cast<u32>(parameter.id), static_cast<u32>(parameter.value)});
    }
    EXPECT_EQ(expected, scheme(3));
    EXPECT_EQ(expected, scheme(1));
}

TEST_F(StartUp, OrdinaryCameraStartsWithSchemeZeroEnabledAndTheFactoryEntryUntouched)
{
    initOutput();
    EXPECT_EQ(1U, storedValue(0, KEY_SCHEME_ENABLE));
    EXPECT_EQ(0U, storedValue(1, KEY_SCHEME_ENABLE));
    EXPECT_EQ(0U, storedValue(2, KEY_SCHEME_ENABLE));
    EXPECT_EQ(1U, valueOf(0, KEY_SCHEME_ENABLE));
    EXPECT_EQ(0U, valueOf(3, KEY_SCHEME_ENABLE));
}

TEST_F(StartUp, FactoryEntryIsZeroAfterwardsEvenIfTheStyleEnablesIt)
{
    files_.schedule[0].value = 1;
    writeCameraFiles(files_);
    initOutput();
    EXPECT_EQ(0U, valueOf(3, KEY_SCHEME_ENABLE));
    EXPECT_EQ(0U, storedValue(1, KEY_SCHEME_ENABLE));
    EXPECT_EQ(1U, storedValue(0, KEY_SCHEME_ENABLE));
}

TEST_F(StartUp, FirstSchemeIsAppliedWholeBeforeInitReturns)
{
    initOutput();
    // 29 parameters without the schedule, the two one-shot actions; before that the list of dynamic commands.
    EXPECT_EQ(29U - 5U - 2U, service_.sets().size());
    EXPECT_EQ(0U, service_.count(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_SET));
    EXPECT_EQ(0U, service_.count(0x9A0, 0));
    EXPECT_EQ(50U, service_.stored(IA_CMD_BRIGHTNESS));
}

TEST_F(StartUp, FirstTurnPausesOneSecondOnTheCallingThread)
{
    const host::Span before = clock_->monotonic();
    initOutput();
    EXPECT_EQ(std::chrono::seconds(1), clock_->monotonic() - before);
    for (const ServiceCall& call : service_.calls())
    {
        EXPECT_EQ(std::this_thread::get_id(), call.thread);
    }
}

TEST_F(StartUp, OutsideEveryWindowTheDefaultSchemeComesUp)
{
    setTime(20, 0);
    initOutput();
    EXPECT_EQ(3, current());
}

TEST_F(StartUp, InitialisingBitIsUpDuringInitAndInitialisedBitAfterIt)
{
    std::vector<unsigned char> seen;
    service_.onCall([&](const ServiceCall&) { seen.push_back(flags()); });
    initOutput();
    ASSERT_FALSE(seen.empty());
    for (const unsigned char bits : seen)
    {
        EXPECT_EQ(kInitialisingBit, bits & (kInitialisingBit | kInitialisedBit));
    }
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(StartUp, ExistingFileIsTrusted)
{
    initOutput();
    setValue(1, KEY_BRIGHTNESS, 70);
    writeFile(schemeFile(1), bytesOf(scheme(1)));
    initOutput();
    EXPECT_EQ(70U, valueOf(1, KEY_BRIGHTNESS));
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(StartUp, MissingFileIsMadeAgainFromTheFactoryValues)
{
    initOutput();
    setValue(1, KEY_BRIGHTNESS, 70);
    writeFile(schemeFile(1), bytesOf(scheme(1)));
    removeFile(schemeFile(2));
    initOutput();
    EXPECT_EQ(70U, storedValue(1, KEY_BRIGHTNESS));
    EXPECT_EQ(50U, storedValue(2, KEY_BRIGHTNESS));
}

TEST_F(StartUp, ShortFileIsReportedAndNotRepaired)
{
    initOutput();
    const std::string whole = readFile(schemeFile(1));
    writeFile(schemeFile(1), whole.substr(0, 64));
    const std::string output = initOutput();
    EXPECT_TRUE(says(output, asserted("SensorFile", "keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                                      "file_name(/mnt/mtd/code/config_file/sensor1.cfg) nSize(64) sizeof(KeyVal) = 8, "
                                      "p_nKeyValNum(29)\n",
                                      "54")));
    EXPECT_EQ(64U, readFile(schemeFile(1)).size());
    EXPECT_EQ(50U, valueOf(1, KEY_BRIGHTNESS));
}

TEST_F(StartUp, LongerFileLoadsItsFirstRecords)
{
    initOutput();
    writeFile(schemeFile(1), readFile(schemeFile(1)) + std::string(80, 'x'));
    EXPECT_EQ("", initOutput());
    EXPECT_EQ(50U, valueOf(1, KEY_BRIGHTNESS));
}

// ---- traces ----------------------------------------------------------------------------------------------------

TEST_F(StartUp, CountAndSuccessArePrintedAboveLevelFive)
{
    writeFile(kVersionFile, std::string("\x08\0\0\0", 4));
    setDebug(6);
    const std::string output = initOutput();
    EXPECT_EQ(1, timesSaid(output, plain("m_nKeyValNum(29)\n")));
    const std::string success = plain("ISensorController::initSensor  success\n");
    EXPECT_EQ(1, timesSaid(output, success));
    // The thread may have begun to talk behind it.
    EXPECT_LT(output.find("m_nKeyValNum"), output.find("initSensor"));
}

TEST_F(StartUp, ThreadThatCannotStartIsReported)
{
    pthread_attr_t usual;
    ASSERT_EQ(0, pthread_getattr_default_np(&usual));
    constexpr size_t wholeAddressSpace = ~size_t{0xffff};
    pthread_attr_t impossible;
    ASSERT_EQ(0, pthread_attr_init(&impossible));
    ASSERT_EQ(0, pthread_attr_setstacksize(&impossible, wholeAddressSpace));
    ASSERT_EQ(0, pthread_setattr_default_np(&impossible));
    const std::string output = initOutput();
    ASSERT_EQ(0, pthread_setattr_default_np(&usual));
    pthread_attr_destroy(&impossible);
    pthread_attr_destroy(&usual);
    EXPECT_TRUE(says(output, asserted(kController, "init", "m_pSensorThread->start()")));
    EXPECT_EQ(kInitialisedBit, flags());
}

// ---- number of schemes and parameters --------------------------------------------------------------------------

TEST_F(StartUp, WithoutSchemesThereIsTheFactoryEntryTheMapAndTheThread)
{
    detail_ = "(max_scheme=0)";
    bringUpRunning();
    EXPECT_EQ((std::vector<std::string>{"snsversion.cfg"}), filesIn(kConfigFolder));
    EXPECT_EQ(Probe::fctKeyVal(c()), Probe::userKeyVal(c())[0]);
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(87U, g_nKeyCmdNum);
    EXPECT_EQ(0, current());
    EXPECT_TRUE(threadTurn());
}

TEST_F(StartUp, StyleOfMoreThanAHundredParametersIsCutAndComesUp)
{
    files_.parameters.assign(200, {34, 50});
    writeCameraFiles(files_);
    const std::string output = initOutput();
    EXPECT_EQ(100U, Probe::keyValSum(c()));
    EXPECT_NE("", output);
    EXPECT_EQ(800U, readFile(schemeFile(0)).size());
}

TEST_F(StartUp, StyleOfAHundredParametersFits)
{
    files_.parameters.assign(95, {34, 50});
    writeCameraFiles(files_);
    EXPECT_EQ("", initOutput());
    EXPECT_EQ(100U, Probe::keyValSum(c()));
}

TEST_F(StartUp, EmptyStyleComesUpWithoutParameters)
{
    files_.style = "<Style/>";
    files_.diversity = "<None/>";
    writeCameraFiles(files_);
    EXPECT_EQ("", initOutput());
    EXPECT_EQ(0U, Probe::keyValSum(c()));
    EXPECT_EQ(kInitialisedBit, flags());
    std::string text;
    EXPECT_TRUE(c().getAllParameters(text));
    EXPECT_EQ("", text);
}

TEST_F(StartUp, WithoutAnyFileReportsAndComesUp)
{
    wipeTree();
    const std::string output = initOutput();
    EXPECT_TRUE(says(output, "SystemInfoParser::parseMachineInfo"));
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(0U, Probe::keyValSum(c()));
}

TEST_F(StartUp, DocumentsWithoutARootComeUpWithoutParameters)
{
    files_.style = "<!-- nothing -->";
    files_.diversity = "<!-- nothing -->";
    writeCameraFiles(files_);
    initOutput();
    EXPECT_EQ(0U, Probe::keyValSum(c()));
    EXPECT_EQ(kInitialisedBit, flags());
}

// ---- wide dynamic range ----------------------------------------------------------------------------------------

TEST_F(StartUp, WideDynamicRangeIsOfferedUnlessAStreamRunsAtFiftyOrSixty)
{
    struct Case
    {
        std::vector<int> rates;
        bool offered;
    };
    for (const Case& tried : {Case{{25}, true}, Case{{30, 25, 12}, true}, Case{{}, true}, Case{{49, 51, 59, 61}, true},
                              Case{{50}, false}, Case{{60}, false}, Case{{60, 25}, false}, Case{{25, 30, 50}, false}})
    {
        video_.setFrameRates(tried.rates);
        initOutput();
        EXPECT_EQ(tried.offered, getshowWDRFalg()) << testing::PrintToString(tried.rates);
    }
}

TEST_F(StartUp, WideDynamicRangeIsOfferedWithoutAVideoModule)
{
    setshowWDRFalg(false);
    construct();
    c().setVideoStreamModule(nullptr);
    EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(initialise()); }));
    EXPECT_TRUE(getshowWDRFalg());
}

TEST_F(StartUp, StreamsAreAskedForWhenTheBitsAreSettled)
{
    std::vector<unsigned char> seen;
    video_.onStreamsAsked([&] { seen.push_back(flags()); });
    initOutput();
    EXPECT_EQ((std::vector<unsigned char>{kInitialisedBit}), seen);
}

TEST_F(StartUp, WideDynamicRangeIsSettledAfterTheFirstSchemeWasApplied)
{
    setshowWDRFalg(false);
    initOutput();
    EXPECT_EQ(0U, service_.count(IA_CMD_WDR_MODE, IA_CMD_OPT_SET));
    EXPECT_TRUE(getshowWDRFalg());
}

}  // namespace
