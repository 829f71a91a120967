#include "app/box/WorkingFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "app/Failure.h"
#include "camera/Descriptor.h"
#include "tests/support/PrivateTree.h"

namespace {

namespace fs = std::filesystem;

class WorkingFolderTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        fs::create_directories("/tmp/real/people/otto");
        fs::create_directories("/tmp/people/otto");
    }

    static std::string failureOf(const app::WorkingFolder& folder, const std::string& file)
    {
        try
        {
            folder.write(file, "JPEG");
        }
        catch (const app::Failure& failure)
        {
            return failure.what();
        }
        return "";
    }

    // As if / of the machine were /tmp here.
    const camera::Descriptor root_{open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    const app::WorkingFolder handedOver_{std::to_string(root_.number()) + ":/real/people/otto"};
};

TEST_F(WorkingFolderTest, OfThisProcessIsWhereItWorks)
{
    const app::WorkingFolder own;
    support::writeFile("/tmp/picture.jpg", "a longer one");
    own.write("/tmp/picture.jpg", "JPEG");
    EXPECT_EQ(support::readFile("/tmp/picture.jpg"), "JPEG");
    EXPECT_EQ(failureOf(own, "/tmp/none/picture.jpg"), "cannot write /tmp/none/picture.jpg: No such file or directory");
    EXPECT_EQ(failureOf(own, "/tmp"), "cannot write /tmp: Is a directory");
}

TEST_F(WorkingFolderTest, ThatIsHandedOverIsAnotherProcesssWithItsLinks)
{
    handedOver_.write("picture.jpg", "JPEG");
    EXPECT_EQ(support::readFile("/tmp/real/people/otto/picture.jpg"), "JPEG");
    handedOver_.write("../up.jpg", "JPEG");
    EXPECT_EQ(support::readFile("/tmp/real/people/up.jpg"), "JPEG");
    handedOver_.write("/people/otto/absolute.jpg", "JPEG");
    EXPECT_EQ(support::readFile("/tmp/people/otto/absolute.jpg"), "JPEG");
    fs::create_symlink("/people/otto/linked.jpg", "/tmp/real/people/otto/link.jpg");
    handedOver_.write("link.jpg", "JPEG");
    EXPECT_EQ(support::readFile("/tmp/people/otto/linked.jpg"), "JPEG");
    EXPECT_EQ(failureOf(handedOver_, "none/picture.jpg"), "cannot write none/picture.jpg: No such file or directory");
}

TEST_F(WorkingFolderTest, OfAFolderThatWasRemovedOnlyWholePathsAreKnown)
{
    const app::WorkingFolder gone(std::to_string(root_.number()) + ":");
    EXPECT_EQ(failureOf(gone, "picture.jpg"), "cannot write picture.jpg: No such file or directory");
    EXPECT_EQ(failureOf(gone, "/picture.jpg"), "");
    EXPECT_EQ(support::readFile("/tmp/picture.jpg"), "JPEG");
}

TEST_F(WorkingFolderTest, APipeThatNobodyReadsIsNotWaitedFor)
{
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    EXPECT_EQ(failureOf({}, "/tmp/pipe"), "cannot write /tmp/pipe: No such device or address");
}

}  // namespace
