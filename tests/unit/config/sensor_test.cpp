#include "ModuleConfigure.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/TestName.h"
#include "tests/unit/config/DiskFailure.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

using namespace support;

namespace {

constexpr char kMachineInfo[] =
    "SystemInfoParser::parseMachineInfo(\"/mnt/mtd/code/factory_setting/machineinfo.ini\", machineInfo)";
constexpr char kSchemeSum[] = "nSchemeSum <= 65535";
constexpr char kDeviceType[] =
    "DEVICE_TYPE_CAMERA == p_stSysConf->nDeviceType || DEVICE_TYPE_DOME == p_stSysConf->nDeviceType || "
    "DEVICE_TYPE_LPR == p_stSysConf->nDeviceType || DEVICE_TYPE_FISHEYE == p_stSysConf->nDeviceType";
constexpr char kStyle[] = "loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, "
                          "getFileLen(strStyleFileName.c_str())) > 0";
constexpr char kDiversity[] = "loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, "
                              "getFileLen(strStyleDivFileName.c_str())) > 0";

std::string asserted(const std::string& expression, const std::string& detail, const std::string& line)
{
    return support::asserted(kConfiguration, "initSysConf", expression, detail, line);
}

std::string openFailed(const std::string& path)
{
    return support::asserted(kFiles, "getFileLen", "file.open(file_name)", "file_name(" + path + ")", "19");
}

std::string mergeFailed(const std::string& expression, const std::string& line)
{
    return support::asserted(kFiles, "mergeStyle", expression, "", line);
}

class SysConfTest : public PrivateTreeTest
{
protected:
    void TearDown() override
    {
        std::free(m_stSysConf.szUIStyle);
        PrivateTreeTest::TearDown();
    }

    void setFiles(int deviceType)
    {
        CameraFiles files;
        files.deviceType = deviceType;
        files.style = "<S><T key=\"raw\"/></S>";
        writeCameraFiles(files);
    }

    std::string init()
    {
        std::free(m_stSysConf.szUIStyle);
        m_stSysConf.szUIStyle = nullptr;
        return outputOf([this] { EXPECT_EQ(SNS_SUCCESS, initSysConf(m_objModule, &m_stSysConf)); });
    }

    u32 schemesFor(const std::string& detail)
    {
        m_objModule.setDetail(detail);
        init();
        return m_stSysConf.nSchemeSum;
    }

    ModuleConfigure m_objModule;
    SysConfig m_stSysConf = {};
};

TEST_F(SysConfTest, RecordIsFilledFromModuleMachineAndStyle)
{
    setFiles(kCameraDevice);
    std::memset(static_cast<void*>(&m_stSysConf), 0x55, sizeof m_stSysConf);
    m_stSysConf.szUIStyle = nullptr;
    m_objModule.setModuleId(-17);
    m_objModule.setDetail("(model=A1)(max_scheme=2)");
    m_objModule.setParameters("(mirror=1)");
    EXPECT_EQ("", init());
    EXPECT_EQ(-17, m_stSysConf.moduleConfig.nModuleId);
    EXPECT_STREQ("xxx", m_stSysConf.moduleConfig.szName);
    EXPECT_STREQ("xxx", m_stSysConf.moduleConfig.szShortName);
    EXPECT_STREQ("(model=A1)(max_scheme=2)", m_stSysConf.moduleConfig.szDetail);
    EXPECT_STREQ("(mirror=1)", m_stSysConf.moduleConfig.szParameters);
    EXPECT_EQ(2U, m_stSysConf.nSchemeSum);
    EXPECT_EQ(0U, m_stSysConf.nUIFileSum);
    EXPECT_EQ(nullptr, m_stSysConf.pUIFiles);
    EXPECT_EQ(1U, m_stSysConf.nDeviceType);
    EXPECT_STREQ("<S>\n    <T key=\"raw\" />\n</S>\n", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, WhatTheRecordPointedAtBeforeIsLeftAlone)
{
    setFiles(kCameraDevice);
    char text[] = "not on the heap";
    UIFileEntry entry = {};
    m_stSysConf.szUIStyle = text;
    m_stSysConf.pUIFiles = &entry;
    m_stSysConf.nUIFileSum = 1;
    EXPECT_EQ(SNS_SUCCESS, initSysConf(m_objModule, &m_stSysConf));
    EXPECT_STREQ("not on the heap", text);
    EXPECT_STREQ("<S>\n    <T key=\"raw\" />\n</S>\n", m_stSysConf.szUIStyle);
    EXPECT_EQ(nullptr, m_stSysConf.pUIFiles);
    EXPECT_EQ(0U, m_stSysConf.nUIFileSum);
}

TEST_F(SysConfTest, TextsAreZeroBehindTheirEnd)
{
    setFiles(kCameraDevice);
    std::memset(&m_stSysConf.moduleConfig, 0x55, sizeof m_stSysConf.moduleConfig);
    m_objModule.setDetail("(a=1)");
    init();
    const ModuleConfig& module = m_stSysConf.moduleConfig;
    EXPECT_EQ("xxx" + std::string(29, '\0'), std::string(module.szName, sizeof module.szName));
    EXPECT_EQ("xxx" + std::string(7, '\0'), std::string(module.szShortName, sizeof module.szShortName));
    EXPECT_EQ(std::string(256, '\0'), std::string(module.szParameters, sizeof module.szParameters));
    EXPECT_EQ("(a=1)" + std::string(507, '\0'), std::string(module.szDetail, sizeof module.szDetail));
}

TEST_F(SysConfTest, LongTextsAreCutAndTerminated)
{
    setFiles(kCameraDevice);
    m_objModule.setDetail(std::string(1000, 'd'));
    m_objModule.setParameters(std::string(1000, 'p'));
    init();
    EXPECT_EQ(std::string(511, 'd'), m_stSysConf.moduleConfig.szDetail);
    EXPECT_EQ(std::string(255, 'p'), m_stSysConf.moduleConfig.szParameters);
}

TEST_F(SysConfTest, TextsThatJustFitAreWhole)
{
    setFiles(kCameraDevice);
    m_objModule.setDetail(std::string(511, 'd'));
    m_objModule.setParameters(std::string(255, 'p'));
    init();
    EXPECT_EQ(std::string(511, 'd'), m_stSysConf.moduleConfig.szDetail);
    EXPECT_EQ(std::string(255, 'p'), m_stSysConf.moduleConfig.szParameters);
}

TEST_F(SysConfTest, NumberOfSchemesComesFromTheDetail)
{
    setFiles(kCameraDevice);
    EXPECT_EQ(2U, schemesFor("(max_scheme=2)"));
    EXPECT_EQ(0U, schemesFor("(max_scheme=0)"));
    EXPECT_EQ(1001U, schemesFor("(max_scheme=1001)"));
    m_objModule.setDetail("(max_scheme=65535)");
    EXPECT_EQ("", init());
    EXPECT_EQ(65535U, m_stSysConf.nSchemeSum);
}

TEST_F(SysConfTest, NumberOfSchemesIsFourWhenTheFieldIsAbsentOrMalformed)
{
    setFiles(kCameraDevice);
    for (const char* detail : {"", "(model=A1)", "(max_scheme)", "(max_scheme=2"})
    {
        EXPECT_EQ(4U, schemesFor(detail)) << detail;
    }
}

TEST_F(SysConfTest, NumberOfSchemesThatNoCameraCanHoldIsFour)
{
    setFiles(kCameraDevice);
    for (const char* number : {"65536", "-1", "4294967295", "4294967294", "99999999999999999999", "-2147483648"})
    {
        EXPECT_EQ(4U, schemesFor("(max_scheme=" + std::string(number) + ")")) << number;
    }
}

TEST_F(SysConfTest, NumberOfSchemesThatNoCameraCanHoldIsReported)
{
    setFiles(kCameraDevice);
    m_objModule.setDetail("(max_scheme=65536)");
    expectReports(kConfiguration, init(), {{"initSysConf", kSchemeSum, "max_scheme(65536)\n"}});
    removeFile(kErrorLogFile);
    m_objModule.setDetail("(max_scheme=-1)");
    expectReports(kConfiguration, init(), {{"initSysConf", kSchemeSum, "max_scheme(4294967295)\n"}});
}

TEST_F(SysConfTest, StyleIsTheMergedDocument)
{
    CameraFiles files;
    files.style = "<S><T key=\"a\"/><T key=\"b\"/></S>";
    files.diversity = "<Rule model=\"A1\"><Delete tab_key=\"a\"/></Rule>";
    writeCameraFiles(files);
    m_objModule.setDetail("(model=A1)");
    EXPECT_EQ("", init());
    EXPECT_STREQ("<S>\n    <T key=\"b\" />\n</S>\n", m_stSysConf.szUIStyle);
    EXPECT_EQ(readFile(kMergedStyleFile), m_stSysConf.szUIStyle);
}

struct DeviceCase
{
    const char* name;
    int type;
    bool isKnown;
    bool isDome;
};

void PrintTo(const DeviceCase& deviceCase, std::ostream* stream)
{
    *stream << deviceCase.name;
}

class DeviceTypes : public SysConfTest, public testing::WithParamInterface<DeviceCase>
{
};

TEST_P(DeviceTypes, DecideWhichDocumentsAreRead)
{
    writeFile(kMachineInfoFile, "DeviceType=" + std::to_string(GetParam().type) + "\n");
    writeFile(kStyleFile, "<Fixed><T key=\"a\"/><T key=\"b\"/></Fixed>");
    writeFile(kDiversityFile, "<R model=\"A1\"><Delete tab_key=\"a\"/></R>");
    writeFile(kDomeStyleFile, "<Dome><T key=\"a\"/><T key=\"b\"/></Dome>");
    writeFile(kDomeDiversityFile, "<R model=\"A1\"><Delete tab_key=\"b\"/></R>");
    m_objModule.setDetail("(model=A1)");
    const std::string output = init();
    EXPECT_EQ(static_cast<u32>(GetParam().type), m_stSysConf.nDeviceType);
    EXPECT_STREQ(GetParam().isDome ? "<Dome>\n    <T key=\"a\" />\n</Dome>\n"
                                   : "<Fixed>\n    <T key=\"b\" />\n</Fixed>\n",
                 m_stSysConf.szUIStyle);
    if (GetParam().isKnown)
    {
        EXPECT_EQ("", output);
        return;
    }
    const std::string detail =
        "machineinfo, devicetype(" + std::to_string(GetParam().type) + ") error, must be 1 or 4 or 8\n";
    expectReports(kConfiguration, output, {{"initSysConf", kDeviceType, detail, "146"}});
}

INSTANTIATE_TEST_SUITE_P(Types, DeviceTypes,
                         testing::Values(DeviceCase{"Camera", 1, true, false}, DeviceCase{"Dome", 4, true, true},
                                         DeviceCase{"LicencePlate", 8, true, false},
                                         DeviceCase{"Fisheye", 9, true, false}, DeviceCase{"Five", 5, false, true},
                                         DeviceCase{"Zero", 0, false, true}, DeviceCase{"Negative", -1, false, true}),
                         ByName());

TEST_F(SysConfTest, MissingFilesAreReportedOneByOneAndLeaveAnEmptyStyle)
{
    const std::string styleFile = kDomeStyleFile;
    const std::string diversityFile = kDomeDiversityFile;
    EXPECT_EQ(asserted(kMachineInfo, "", "141") +
                  asserted(kDeviceType, "machineinfo, devicetype(0) error, must be 1 or 4 or 8\n", "146") +
                  openFailed(styleFile) + openFailed(styleFile) + asserted(kStyle, "", "158") +
                  openFailed(diversityFile) + openFailed(diversityFile) + asserted(kDiversity, "", "170") +
                  mergeFailed(kStyleParse, "140") + mergeFailed(kDiversityParse, "141") + mergeFailed(kNoRule, "143") +
                  mergeFailed(kReadBack, "190"),
              init());
    EXPECT_STREQ("", m_stSysConf.szUIStyle);
    EXPECT_EQ(0U, m_stSysConf.nDeviceType);
    EXPECT_EQ(4U, m_stSysConf.nSchemeSum);
}

TEST_F(SysConfTest, ReportsAreLogged)
{
    setFiles(kCameraDevice);
    removeFile(kMachineInfoFile);
    writeFile(kDomeStyleFile, "<S/>");
    writeFile(kDomeDiversityFile, "<R/>");
    const std::string output = init();
    expectReports(kConfiguration, output,
                  {{"initSysConf", kMachineInfo, "", "141"},
                   {"initSysConf", kDeviceType, "machineinfo, devicetype(0) error, must be 1 or 4 or 8\n", "146"}});
}

TEST_F(SysConfTest, EmptyDocumentsAreReported)
{
    setFiles(kCameraDevice);
    writeFile(kStyleFile, "");
    writeFile(kDiversityFile, "");
    const std::string output = init();
    EXPECT_TRUE(says(output, asserted(kStyle, "", "158")));
    EXPECT_TRUE(says(output, asserted(kDiversity, "", "170")));
    EXPECT_STREQ("", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, NulEndsTheStyleAndWhatFollowsItIsNotSeen)
{
    for (const std::string& end : {std::string(1, '\0'), std::string("\0<Hidden/>\xFF", 11)})
    {
        setFiles(kCameraDevice);
        writeFile(kStyleFile, "<S><T key=\"a\"/></S>" + end);
        EXPECT_EQ("", init());
        EXPECT_STREQ("<S>\n    <T key=\"a\" />\n</S>\n", m_stSysConf.szUIStyle);
    }
}

TEST_F(SysConfTest, NulInTheMiddleOfTheStyleLeavesThePartBeforeIt)
{
    setFiles(kCameraDevice);
    writeFile(kStyleFile, std::string("<S><T key=\"a\"/>\0<T key=\"b\"/></S>", 32));
    EXPECT_TRUE(saysOnly(init(), mergeFailed(kStyleParse, "140")));
    EXPECT_STREQ("<S>\n    <T key=\"a\" />\n</S>\n", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, NulEndsTheDiversityAndWhatFollowsItIsNotSeen)
{
    setFiles(kCameraDevice);
    writeFile(kStyleFile, "<S><T key=\"a\"/><T key=\"b\"/></S>");
    m_objModule.setDetail("(model=A1)");
    writeFile(kDiversityFile, std::string("<R model=\"A1\"><Delete tab_key=\"a\"/></R>") + '\0' +
                                  "<R model=\"A1\"><Delete tab_key=\"b\"/></R>");
    EXPECT_EQ("", init());
    EXPECT_STREQ("<S>\n    <T key=\"b\" />\n</S>\n", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, StyleThatGrowsBetweenTheTwoLooksIsReadAsLongAsItWasAtTheFirst)
{
    setFiles(kCameraDevice);
    std::string style;
    std::string merged;
    for (int i = 0; i < 100; ++i)
    {
        style += "<A/>";
    }
    writeFile(kStyleFile, style);
    const GrowingFile growing(kStyleFile, 4);
    const INT64 before = getFileLen(kStyleFile);
    const INT64 grown = getFileLen(kStyleFile) - before;
    ASSERT_GT(grown, 0);
    EXPECT_EQ("", init());
    for (INT64 i = 0; i < before + 2 * grown; i += 4)
    {
        merged += "<A />\n";
    }
    EXPECT_EQ(merged, m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, DocumentsThatAreTooLongAreNotRead)
{
    for (const unsigned long long length : {(4ULL << 20) + 1, 1ULL << 30, 1ULL << 40})
    {
        setFiles(kCameraDevice);
        // All but the beginning is a hole, which takes no room on the disk.
        std::filesystem::resize_file(kStyleFile, length);
        std::filesystem::resize_file(kDiversityFile, length);
        EXPECT_TRUE(saysOnly(init(), asserted(kStyle, "", "158") + asserted(kDiversity, "", "170") +
                                         mergeFailed(kStyleParse, "140") + mergeFailed(kDiversityParse, "141") +
                                         mergeFailed(kNoRule, "143") + mergeFailed(kReadBack, "190")));
        EXPECT_STREQ("", m_stSysConf.szUIStyle);
    }
}

TEST_F(SysConfTest, LongestDocumentIsRead)
{
    setFiles(kCameraDevice);
    writeFile(kStyleFile, "<S/>" + std::string((4U << 20) - 4, '\n'));
    EXPECT_EQ("", init());
    EXPECT_STREQ("<S />\n", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, NegativeLengthsReadNothing)
{
    setFiles(kCameraDevice);
    const FileLengths lengths(-1);
    EXPECT_TRUE(saysOnly(init(), asserted(kStyle, "", "158") + asserted(kDiversity, "", "170") +
                                     mergeFailed(kStyleParse, "140") + mergeFailed(kDiversityParse, "141") +
                                     mergeFailed(kNoRule, "143") + mergeFailed(kReadBack, "190")));
    EXPECT_STREQ("", m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, TracesTheFilesItLoads)
{
    setFiles(kFisheyeDevice);
    setDebug(6);
    const std::string output = init();
    for (const char* file : {kStyleFile, kDiversityFile, kMergedStyleFile})
    {
        EXPECT_EQ(
            1, timesSaid(output, traced("dbg", kFiles, "loadFromFile", "open file:" + std::string(file) + "\n", "27")))
            << file;
    }
}

TEST_F(SysConfTest, UninitFreesTheTextsAndResetsNothing)
{
    UIFileEntry entries[2] = {};
    entries[0].szLanguageFile = strdup("language");
    entries[0].szCommonFile = strdup("common");
    entries[1].szCommonFile = strdup("common");  // the other text is missing
    m_stSysConf.pUIFiles = entries;
    m_stSysConf.nUIFileSum = 2;
    m_stSysConf.szUIStyle = strdup("<S/>");
    m_stSysConf.nSchemeSum = 4;
    const SysConfig before = m_stSysConf;
    uinitSysConf(&m_stSysConf);  // LeakSanitizer misses nothing, AddressSanitizer finds no second free
    EXPECT_EQ(0, std::memcmp(&before, &m_stSysConf, sizeof before));
    m_stSysConf.szUIStyle = nullptr;
}

TEST_F(SysConfTest, UninitOfAnEmptyRecordDoesNothing)
{
    m_stSysConf.nUIFileSum = 3;  // without an array
    uinitSysConf(&m_stSysConf);
    EXPECT_EQ(nullptr, m_stSysConf.szUIStyle);
}

TEST_F(SysConfTest, UninitWithoutEntriesLeavesTheArrayAlone)
{
    UIFileEntry entry = {};
    char text[] = "not on the heap";
    entry.szCommonFile = text;
    m_stSysConf.pUIFiles = &entry;
    uinitSysConf(&m_stSysConf);
    EXPECT_STREQ("not on the heap", entry.szCommonFile);
}

TEST_F(SysConfTest, GlobalRecordIsFilledLikeAnyOther)
{
    setFiles(kLprDevice);
    m_objModule.setDetail("(max_scheme=3)");
    outputOf([this] { EXPECT_EQ(SNS_SUCCESS, initSysConf(m_objModule, &g_stSysConf)); });
    EXPECT_EQ(3U, g_stSysConf.nSchemeSum);
    EXPECT_EQ(8U, g_stSysConf.nDeviceType);
    uinitSysConf(&g_stSysConf);
}

}  // namespace
