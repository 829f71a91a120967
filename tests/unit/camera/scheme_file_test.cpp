#include "camera/SchemeFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/PrivateTree.h"

namespace {

using SchemeFileTest = support::PrivateTreeTest;

TEST_F(SchemeFileTest, WhatIsWrittenIsRead)
{
    ASSERT_TRUE(camera::writeSchemeFile(1, {{34, 60}, {2384, 1}}));
    const std::vector<KeyVal> records = camera::readSchemeFile(1);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].key, 2384u);
    EXPECT_EQ(records[1].value, 1u);
}

TEST_F(SchemeFileTest, WhatIsNoWholeNumberOfRecordsIsNone)
{
    EXPECT_TRUE(camera::readSchemeFile(1).empty());
    support::writeFile(support::schemeFile(1), "123456789");
    EXPECT_TRUE(camera::readSchemeFile(1).empty());
}

TEST_F(SchemeFileTest, AGiantIsNone)
{
    support::writeFile(support::schemeFile(1), std::string(64 * 1024, '\0'));
    EXPECT_EQ(camera::readSchemeFile(1).size(), 8192u);
    for (const std::uintmax_t size : {std::uintmax_t{64 * 1024 + 8}, std::uintmax_t{1} << 32, std::uintmax_t{1} << 42})
    {
        std::filesystem::resize_file(support::schemeFile(1), size);
        EXPECT_TRUE(camera::readSchemeFile(1).empty()) << size;
    }
}

TEST_F(SchemeFileTest, ANamedPipeIsNone)
{
    ASSERT_EQ(mkfifo(support::schemeFile(1).c_str(), 0600), 0);
    EXPECT_TRUE(camera::readSchemeFile(1).empty());
}

}  // namespace
