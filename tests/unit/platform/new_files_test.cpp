#include <sys/stat.h>

#include <string>

#include "KSFile.h"
#include "KSLogger.h"
#include "tests/support/PrivateTree.h"

namespace {

// Many boards start their programs without a mask: what new files and folders allow is what is asked for.
class NewFiles : public support::PrivateTreeTest
{
protected:
    ~NewFiles() override { umask(before_); }

    static unsigned modeOf(const char* path)
    {
        struct stat status = {};
        EXPECT_EQ(stat(path, &status), 0) << path;
        return status.st_mode & 07777;
    }

private:
    const mode_t before_ = umask(0);
};

TEST_F(NewFiles, OnlyTheOwnerWritesALogAndItsFolder)
{
    KSLogger logger;
    ASSERT_TRUE(logger.init("/mnt/mtd/logs/Some.log", 1000, 2));
    ASSERT_GE(logger.writeLog("prefix", "text"), 0);
    EXPECT_EQ(modeOf("/mnt/mtd/logs"), 0755u);
    EXPECT_EQ(modeOf("/mnt/mtd/logs/Some.log"), 0644u);
}

TEST_F(NewFiles, OnlyTheOwnerWritesAFileHoweverItIsOpened)
{
    for (const int truncation : {0, static_cast<int>(KSFile::modeTruncate)})
    {
        const std::string path = "/mnt/mtd/file" + std::to_string(truncation);
        KSFile file;
        ASSERT_TRUE(file.open(path.c_str(), static_cast<unsigned char>(KSFile::modeWrite | truncation)));
        ASSERT_TRUE(file.close());
        EXPECT_EQ(modeOf(path.c_str()), 0644u) << path;
    }
}

}  // namespace
