#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

// In place, where nobody looks at the tree beforehand: named pipes and files without end hold nothing up.
namespace {

namespace fs = std::filesystem;
using support::Ended;
using support::execute;
using support::has;
using support::SensorcamRun;

constexpr char kModel[] = "/mnt/mtd/sensorcam/model";
constexpr char kHistory[] = "/mnt/mtd/sensorcam/history";

class SpecialFilesTest : public support::PrivateTreeTest
{
protected:
    static void makePipe(const std::string& path)
    {
        fs::create_directories(fs::path(path).parent_path());
        fs::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    }

    static void makeGiant(const std::string& path)
    {
        support::writeFile(path, "");
        fs::resize_file(path, std::uintmax_t{1} << 42);
    }
};

TEST_F(SpecialFilesTest, APipeInPlaceOfAFileOfSensorcamItselfIsRefused)
{
    for (const char* path : {"/mnt/mtd/sensorcam/lock", kModel, kHistory})
    {
        support::wipeTree();
        makePipe(path);
        const Ended ended = execute({"status"});
        EXPECT_EQ(ended.status, 3) << path;
        EXPECT_TRUE(has(ended.err, std::string(path) + " is a named pipe")) << ended.err;
    }
}

TEST_F(SpecialFilesTest, ARememberedModelWithoutEndIsRefused)
{
    makeGiant(kModel);
    const Ended ended = execute({"status"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_TRUE(has(ended.err, std::string("cannot read ") + kModel)) << ended.err;
}

TEST_F(SpecialFilesTest, APipeInPlaceOfADocumentHoldsNoStartUp)
{
    for (const char* path :
         {support::kMachineInfoFile, support::kModuleConfigFile, support::kStyleFile, support::kDiversityFile})
    {
        support::wipeTree();
        makePipe(path);
        EXPECT_TRUE(execute({"status"}).status == 3 || path == support::kDiversityFile) << path;
    }
}

TEST_F(SpecialFilesTest, ATraceMarkerThatIsNoFileIsToldAndCanBeTakenAway)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    makePipe(support::kDebugMarkerFile);
    for (const char* command : {"trace", "trace 6"})
    {
        const Ended ended = execute({command});
        EXPECT_EQ(ended.status, 1) << command;
        EXPECT_TRUE(has(ended.err, "Debug.sign: it is not a regular file")) << ended.err;
    }
    EXPECT_EQ(execute({"trace off"}).status, 0);
    EXPECT_FALSE(support::fileExists(support::kDebugMarkerFile));
}

TEST_F(SpecialFilesTest, AnErrorLogThatCannotBeReadIsTold)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    makePipe(support::kErrorLogFile);
    EXPECT_TRUE(has(execute({"log"}).err, "SensorError.log: it is not a regular file"));
    fs::remove(support::kErrorLogFile);
    makeGiant(std::string(support::kErrorLogFile) + ".1");
    EXPECT_TRUE(has(execute({"log"}).err, "SensorError.log.1: it is longer than"));
}

TEST_F(SpecialFilesTest, AHistoryWithoutEndIsNotReadAndBeginsAnew)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    makeGiant(kHistory);
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("get contrast\n");
    run.waitFor("KEY_CONTRAST = 50");
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_TRUE(has(support::readFile(kHistory), "contrast"));
}

TEST_F(SpecialFilesTest, APipeThatTakesThePlaceOfTheHistoryHoldsNoEndUp)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    makePipe(kHistory);
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

}  // namespace
