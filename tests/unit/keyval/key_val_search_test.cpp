#include "keyval/KeyValSearch.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr u32 kMost = 100;  // as many as a scheme can hold

// Exactly as large as its records: a sanitizer sees a look behind the last.
std::vector<KeyVal> recordsWithKeysFrom(u32 key, u32 count)
{
    std::vector<KeyVal> records;
    records.reserve(count);
    for (u32 i = 0; i < count; ++i)
    {
        records.push_back({key + i, 7});
    }
    return records;
}

}  // namespace

TEST(KeyValSearch, FindsEveryPositionOfEveryCount)
{
    for (u32 count = 1; count <= kMost; ++count)
    {
        const std::vector<KeyVal> records = recordsWithKeysFrom(2000, count);
        for (u32 i = 0; i < count; ++i)
        {
            ASSERT_EQ(findKey(records.data(), count, 2000 + i), static_cast<int>(i)) << count << " records";
        }
    }
}

TEST(KeyValSearch, FindsNoKeyThatIsNotThere)
{
    for (u32 count = 0; count <= kMost; ++count)
    {
        const std::vector<KeyVal> records = recordsWithKeysFrom(2000, count);
        ASSERT_EQ(findKey(records.data(), count, 1999), -1) << count << " records";
        ASSERT_EQ(findKey(records.data(), count, 2000 + count), -1) << count << " records";
        ASSERT_EQ(findKey(records.data(), count, 7), -1) << "a value is no key";
    }
}

TEST(KeyValSearch, LooksAtNothingBehindTheCount)
{
    const std::vector<KeyVal> records = recordsWithKeysFrom(2000, 20);
    for (u32 count = 0; count < 20; ++count)
    {
        ASSERT_EQ(findKey(records.data(), count, 2000 + count), -1) << count << " records";
    }
}

TEST(KeyValSearch, OfSeveralWithTheKeyTheFirstIsFound)
{
    for (u32 first = 0; first < 20; ++first)
    {
        for (u32 second = first + 1; second < 20; ++second)
        {
            std::vector<KeyVal> records = recordsWithKeysFrom(2000, 20);
            records[first].key = records[second].key = 34;
            ASSERT_EQ(findKey(records.data(), 20, 34), static_cast<int>(first)) << "the second is " << second;
        }
    }
}

TEST(KeyValSearch, NoRecordsAtAllHoldNoKey)
{
    EXPECT_EQ(findKey(nullptr, 0, 34), -1);
}
