#include <cstdlib>

#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

constexpr char kFolder[] = "/tmp/portcheck-files";

class FrameworkChecks : public PortTest
{
protected:
    // Not the time of Greenwich. And a zone that is given is taken over once, where a thread sanitizer does not see the
    // lock under which the C library does so anew at every call.
    void SetUp() override
    {
        PortTest::SetUp();
        setenv("TZ", "TST-5:45", 1);
    }

    void TearDown() override
    {
        unsetenv("TZ");
        PortTest::TearDown();
    }

    static std::string reportOfFolder(const std::string& folder)
    {
        return reportOf([&](portcheck::Report& to) {
            portcheck::Options options;
            options.folder = folder;
            portcheck::checkFolder(to, options);
        });
    }
};

TEST_F(FrameworkChecks, OfThreadsPassTheReference)
{
    EXPECT_THAT(reportOf(portcheck::checkThreads), HasSubstr(" 0 failed, 0 left out"));
}

TEST_F(FrameworkChecks, OfTimeAndTextsPassTheReference)
{
    EXPECT_THAT(reportOf(portcheck::checkTimeAndTexts), HasSubstr(" 0 failed, 0 left out"));
}

TEST_F(FrameworkChecks, OfTheShellPassTheReference)
{
    EXPECT_THAT(reportOf(portcheck::checkShell), HasSubstr(" 0 failed, 0 left out"));
}

TEST_F(FrameworkChecks, OfFilesPassTheReferenceAndLeaveNothingBehind)
{
    const std::vector<std::string> before = support::filesIn("/tmp");
    EXPECT_THAT(reportOfFolder("/tmp"), HasSubstr(" 0 failed, 0 left out"));
    EXPECT_EQ(support::filesIn("/tmp"), before);
}

TEST_F(FrameworkChecks, OfFilesMakeNoneUntilAFolderIsNamed)
{
    EXPECT_THAT(reportOfFolder(""), HasSubstr("portcheck: 0 passed, 0 failed, 12 left out"));
}

TEST_F(FrameworkChecks, OfFilesLeaveAFolderAloneThatIsThereAlready)
{
    support::writeFile(std::string(kFolder) + "/mine", "contents");
    EXPECT_THAT(reportOfFolder("/tmp"), HasSubstr("/tmp/portcheck-files is there already, or cannot be made"));
    EXPECT_EQ(support::filesIn(kFolder), std::vector<std::string>{"mine"});
    support::removeFile(std::string(kFolder) + "/mine");
    support::removeFile(kFolder);
}

TEST_F(FrameworkChecks, OfFilesTellOfAFolderThatIsMissing)
{
    EXPECT_THAT(reportOfFolder("/tmp/missing"), HasSubstr("portcheck: 0 passed, 12 failed, 0 left out"));
}

}  // namespace
}  // namespace checks_tests
