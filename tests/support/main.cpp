#include <gmock/gmock.h>

#include <cstring>

#include "Sandbox.h"

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

}  // namespace

int main(int argc, char** argv)
{
    if (!onlyLists(argc, argv) && !support::insidePrivateTree())
    {
        return support::runInPrivateTree(argv);
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
