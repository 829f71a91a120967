#include "config/TextFile.h"

#include "tests/support/PrivateTree.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

using config::makeRoom;
using config::readText;
using config::textLength;
using namespace support;

namespace {

TEST(TextLength, IsFromZeroToFourMebibytes)
{
    for (const INT64 length : {0LL, 1LL, 4LL << 20})
    {
        EXPECT_EQ(length, textLength(length));
    }
    for (const INT64 length : {-1LL, -2LL, LLONG_MIN, (4LL << 20) + 1, 1LL << 32, LLONG_MAX})
    {
        EXPECT_EQ(-1, textLength(length)) << length;
    }
}

class TextFile : public PrivateTreeTest
{
protected:
    void TearDown() override
    {
        std::free(m_szText);
        PrivateTreeTest::TearDown();
    }

    int read(const std::string& bytes, INT64 length)
    {
        writeFile(schemeFile(0), bytes);
        EXPECT_TRUE(makeRoom(m_szText, length));
        return readText(schemeFile(0).c_str(), m_szText, length);
    }

    char* m_szText = nullptr;
};

TEST_F(TextFile, RoomIsZeroedWithATerminator)
{
    ASSERT_TRUE(makeRoom(m_szText, 5));
    EXPECT_EQ(std::string(6, '\0'), std::string(m_szText, 6));
    std::memset(m_szText, 'x', 5);
    ASSERT_TRUE(makeRoom(m_szText, 9));
    EXPECT_EQ(std::string(10, '\0'), std::string(m_szText, 10));
}

TEST_F(TextFile, RoomForANegativeLengthIsAnEmptyText)
{
    for (const INT64 length : {-1LL, LLONG_MIN})
    {
        m_szText = static_cast<char*>(std::realloc(m_szText, 4));
        std::strcpy(m_szText, "abc");
        ASSERT_TRUE(makeRoom(m_szText, length));
        EXPECT_STREQ("", m_szText);
    }
}

TEST_F(TextFile, IsReadWhole)
{
    EXPECT_EQ(3, read("abc", 3));
    EXPECT_STREQ("abc", m_szText);
    EXPECT_EQ(2, read("abc", 2));
    EXPECT_STREQ("ab", m_szText);
}

TEST_F(TextFile, ThatIsEmptyReadsNothing)
{
    EXPECT_EQ(0, read("", 0));
    EXPECT_STREQ("", m_szText);
}

TEST_F(TextFile, ThatBecameShorterIsNotKeptInPart)
{
    EXPECT_EQ(-1, read("abc", 4));
    EXPECT_EQ(std::string(5, '\0'), std::string(m_szText, 5));
}

TEST_F(TextFile, WithANulEndsThere)
{
    EXPECT_EQ(3, read(std::string("\0bc", 3), 3));
    EXPECT_STREQ("", m_szText);
    EXPECT_EQ(3, read(std::string("a\0c", 3), 3));
    EXPECT_STREQ("a", m_szText);
    EXPECT_EQ(3, read(std::string("ab\0", 3), 3));
    EXPECT_STREQ("ab", m_szText);
}

TEST_F(TextFile, OfANegativeLengthIsNotRead)
{
    EXPECT_EQ(-1, read("abc", -1));
    EXPECT_STREQ("", m_szText);
}

}  // namespace
