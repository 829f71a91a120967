#include "KSLogger.h"
#include "ModuleConfigure.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "config/TextFile.h"
#include "config/XmlCheck.h"
#include "config/XmlDocument.h"
#include "diag/SensorTrace.h"
#include "tests/robust/memory/HeapBlocks.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/unit/config/ExpectedReports.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using support::kFiles;
using support::outputOf;
using support::RefusedBlocks;
using support::saysOnly;

namespace {

constexpr size_t kMegabyte = 1U << 20;
constexpr diag::Place kPlace{"SensorFile", "loadFromFile", "int loadFromFile(const char*, char*, INT64)", 27};

class WithoutMemory : public support::PrivateTreeTest
{
};

TEST_F(WithoutMemory, MessageIsEmptyAndNobodyFails)
{
    const std::string text(kMegabyte, 'x');
    support::setDebug(4);
    const std::string output = outputOf([&] {
        const RefusedBlocks refused(kMegabyte);
        diag::warn(kPlace, "%s\n", text.c_str());
        EXPECT_FALSE(diag::reportUnless(false, kPlace, "expression", "%s\n", text.c_str()));
    });
    EXPECT_TRUE(saysOnly(output, support::traced("warn", kFiles, "loadFromFile", "", "27") +
                                     support::asserted(kFiles, "loadFromFile", "expression", "", "27")));
    const auto records = support::errorLog();
    ASSERT_EQ(5U, records.size());
    EXPECT_EQ("", records[1].text);
    EXPECT_EQ("", records[4].text);
}

TEST_F(WithoutMemory, LogThatCannotBeRotatedIsNeitherLeftOpenNorLocked)
{
    const std::string path = "/mnt/mtd/log/" + std::string(200, 'l');
    KSLogger logger;
    ASSERT_TRUE(logger.init(path.c_str(), 100, 3));
    ASSERT_GT(logger.writeLog("[p]", std::string(70, 'x').c_str()), 0);
    const size_t before = support::filesIn("/proc/self/fd").size();
    {
        const RefusedBlocks refused(path.size());
        EXPECT_EQ(-1, logger.writeLog("[p]", "second"));
    }
    EXPECT_EQ(before, support::filesIn("/proc/self/fd").size());
    EXPECT_GT(logger.writeLog("[p]", "third"), 0);
    EXPECT_EQ(2U, support::filesIn("/mnt/mtd/log").size());
}

TEST_F(WithoutMemory, RecordsAreNeitherReadNorWritten)
{
    std::vector<KeyVal> records(kMegabyte / sizeof(KeyVal), KeyVal{1, 2});
    std::string file = support::schemeFile(0);
    support::writeFile(file, "old");
    const std::string output = outputOf([&] {
        const RefusedBlocks refused(kMegabyte);
        const u32 count = static_cast<u32>(records.size());
        EXPECT_EQ(SNS_SUCCESS, keyValFromFile(file.data(), records.data(), count));
        EXPECT_EQ(SNS_SUCCESS, keyValToFile(file.data(), records.data(), count));
    });
    support::expectReports(kFiles, output,
                           {{"keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                             "file_name(" + file + ") nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(131072)\n", "54"},
                            {"keyValToFile", "nSize == sizeof(KeyVal)*p_nKeyValSum",
                             "nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(131072)\n", "68"}});
    EXPECT_EQ((KeyVal{1, 2}), records.front());
    EXPECT_EQ("old", support::readFile(file));
}

TEST_F(WithoutMemory, RoomForATextLeavesItEmptyOrNone)
{
    const RefusedBlocks refused(kMegabyte);
    char* text = nullptr;
    EXPECT_FALSE(config::makeRoom(text, kMegabyte));
    EXPECT_EQ(nullptr, text);
    text = strdup("abc");
    EXPECT_FALSE(config::makeRoom(text, kMegabyte));
    EXPECT_EQ(std::string("\0bc", 4), std::string(text, 4));
    std::free(text);
}

TEST_F(WithoutMemory, DocumentsCountAsNotRead)
{
    support::CameraFiles files = support::smallCamera();
    files.style = "<S>" + std::string(kMegabyte, ' ') + "</S>";
    files.diversity = "<R>" + std::string(kMegabyte, ' ') + "</R>";
    support::writeCameraFiles(files);
    SysConfig sysConf = {};
    const std::string output = outputOf([&] {
        const RefusedBlocks refused(kMegabyte);
        EXPECT_EQ(SNS_SUCCESS, initSysConf(ModuleConfigure(), &sysConf));
    });
    const auto says = [&output](const std::string& line) { return support::timesSaid(output, line); };
    EXPECT_EQ(1, says("fun:initSysConf line:158\n"));
    EXPECT_EQ(1, says("fun:initSysConf line:170\n"));
    uinitSysConf(&sysConf);
}

// Nodes at the deepest level, short as they stand: printed, each takes a line indented by its depth.
std::string deepLines(int lines, const std::string& node)
{
    std::string text;
    std::string ends;
    for (size_t depth = 1; depth < config::kXmlDepthMax; ++depth)
    {
        text += "<a>";
        ends += "</a>";
    }
    for (int i = 0; i < lines; ++i)
    {
        text += node;
    }
    return text + ends;
}

TEST(MemoryForADocument, PrintingStopsSoonWhateverTheNodes)
{
    for (const char* node : {"<b/>", "<b></b>", "<b>t</b>", "<?xml?>", "<!---->", "<!b>", "<![CDATA[]]>", "t<b/>"})
    {
        XmlDocument document;
        ASSERT_TRUE(document.LoadMem(deepLines(100000, node), TIXML_ENCODING_UTF8)) << node;
        support::forgetLargestBlock();
        EXPECT_EQ("", document.getXmlString());
        EXPECT_GT(13U << 20, support::largestBlock()) << node;  // whole, it would take a block of 25 MB
    }
}

}  // namespace
