#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "tests/support/Sandbox.h"

namespace {

bool onlyLists(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--gtest_list_tests") == 0 || std::strcmp(argv[i], "--help") == 0)
        {
            return true;
        }
    }
    return false;
}

// While a test takes standard output away from the library, it takes it from its own failures, too: these go to
// standard error then.
class FailuresInSight : public testing::EmptyTestEventListener
{
public:
    FailuresInSight() { fstat(STDOUT_FILENO, &atStart_); }

private:
    void OnTestPartResult(const testing::TestPartResult& result) override
    {
        if (result.failed() && isTakenAway())
        {
            const char* const file = result.file_name();
            std::fprintf(stderr, "%s:%d: Failure\n%s\n", file != nullptr ? file : "unknown file", result.line_number(),
                         result.message());
        }
    }

    bool isTakenAway() const
    {
        struct stat now = {};
        return fstat(STDOUT_FILENO, &now) != 0 || now.st_dev != atStart_.st_dev || now.st_ino != atStart_.st_ino;
    }

    struct stat atStart_ = {};
};

}  // namespace

int main(int argc, char** argv)
{
    if (!onlyLists(argc, argv) && !support::insidePrivateTree())
    {
        // In memory: to wait for a disk at every sync would take longer than the tests themselves.
        return support::runInPrivateTree(argv, {{}, true});
    }
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new FailuresInSight);
    return RUN_ALL_TESTS();
}
