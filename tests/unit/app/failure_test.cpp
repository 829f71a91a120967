#include "app/Failure.h"

#include <gtest/gtest.h>

namespace {

using camera::Failure;
using camera::Problem;

TEST(FailureText, IsASentenceForEveryProblem)
{
    const auto text = [](Problem problem, const std::string& detail = "") {
        return app::failureText(Failure(problem, "/f", detail));
    };
    EXPECT_EQ(text(Problem::machineInfo), "/f cannot be read or names no device type");
    EXPECT_EQ(text(Problem::noBoard, "6 SM1"), "/f has no entry for the board 6 SM1");
    EXPECT_EQ(text(Problem::noModule, "7"), "/f names sensor module 7, which does not exist");
    EXPECT_EQ(text(Problem::noParameters),
              "the camera has no parameters: the style documents in /hd1/moduleConfig/sensorConfig could not be read, "
              "or not merged into /tmp/merge_style.xml; is the disk full?");
    EXPECT_EQ(text(Problem::noSchemeFile), "factory values are in force, but /f could not be made; is the disk full?");
    EXPECT_EQ(text(Problem::noLanguages), "cannot read the languages in /f");
    EXPECT_EQ(text(Problem::languageNumber), "a language without a number in /f");
    EXPECT_EQ(text(Problem::noFile), "cannot read /f: there is no such file");
    EXPECT_EQ(text(Problem::noPlainFile), "cannot read /f: it is not a regular file");
    EXPECT_EQ(text(Problem::tooLong, "10"), "cannot read /f: it is longer than 10 bytes");
    EXPECT_EQ(text(Problem::unreadable, "why"), "cannot read /f: why");
    EXPECT_EQ(text(Problem::noThread), "the system cannot start another thread");
    EXPECT_EQ(text(Problem::boardFilesGone),
              "the board's files no longer name this camera (/mnt/mtd/code/factory_setting/machineinfo.ini, "
              "/hd1/moduleConfig/moduleConfig.xml): the camera is down. It starts again as a new one");
}

}  // namespace
