#include "camera/TextFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "camera/Failure.h"
#include "tests/support/PrivateTree.h"

namespace {

namespace fs = std::filesystem;
using camera::Problem;

constexpr char kFile[] = "/mnt/mtd/file";

using CameraTextFile = support::PrivateTreeTest;

void expectFailure(Problem problem, const std::string& subject, const std::string& detail,
                   const std::function<void()>& body)
{
    try
    {
        body();
        ADD_FAILURE() << subject << " was read";
    }
    catch (const camera::Failure& failure)
    {
        EXPECT_EQ(failure.problem(), problem) << failure.what();
        EXPECT_EQ(failure.subject(), subject);
        EXPECT_EQ(failure.detail(), detail);
    }
}

TEST_F(CameraTextFile, IsReadWhole)
{
    const std::string content = std::string(100000, 'x') + '\0' + "y";
    support::writeFile(kFile, content);
    EXPECT_EQ(camera::readFile(kFile, content.size()), content);
    EXPECT_EQ(camera::readExistingFile(kFile, content.size()), content);
}

TEST_F(CameraTextFile, ThatIsMissingIsNothingOrAFailure)
{
    EXPECT_FALSE(camera::readFile(kFile, 10));
    expectFailure(Problem::noFile, kFile, "", [] { camera::readExistingFile(kFile, 10); });
}

TEST_F(CameraTextFile, ThatIsTooLongIsNotRead)
{
    support::writeFile(kFile, "12345678901");
    expectFailure(Problem::tooLong, kFile, "10", [] { camera::readFile(kFile, 10); });
    fs::resize_file(kFile, std::uintmax_t{1} << 42);
    expectFailure(Problem::tooLong, kFile, "4194304", [] { camera::readFile(kFile, camera::kDocumentMax); });
}

TEST_F(CameraTextFile, ThatIsNoPlainFileIsNotRead)
{
    ASSERT_EQ(mkfifo(kFile, 0600), 0);
    for (const char* path : {kFile, "/mnt/mtd/log", "/dev/zero"})
    {
        expectFailure(Problem::noPlainFile, path, "", [&] { camera::readFile(path, 10); });
    }
}

}  // namespace
