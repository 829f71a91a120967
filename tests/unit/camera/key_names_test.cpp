#include "camera/KeyNames.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>

#include "SensorKeys.h"
#include "tests/support/KeyRows.h"

namespace {

TEST(KeyNames, CoverEveryParameterOnce)
{
    std::set<int> keys;
    std::set<std::string> names;
    int stored = 0;
    for (const camera::KeyName& row : camera::keyNames())
    {
        keys.insert(row.key);
        names.insert(row.name);
        stored += row.onlyStored ? 1 : 0;
        EXPECT_EQ(row.onlyStored, row.command == 0) << row.name;
    }
    EXPECT_EQ(camera::keyNames().size(), std::size(support::kKeyRows));
    EXPECT_EQ(keys.size(), std::size(support::kKeyRows));
    EXPECT_EQ(names.size(), std::size(support::kKeyRows));
    EXPECT_EQ(stored, 5);
}

TEST(KeyNames, SayWhichKeysTheLibraryNeverSendsInBulk)
{
    std::set<int> keys;
    for (const camera::KeyName& row : camera::keyNames())
    {
        if (row.neverInBulk)
        {
            keys.insert(row.key);
        }
    }
    EXPECT_EQ(keys, (std::set<int>{KEY_IRIS_UP, KEY_IRIS_DOWN, KEY_AUTO_FOCUS_ONCE, KEY_LENS_RESET, KEY_ZOOM_OUT,
                                   KEY_ZOOM_IN, KEY_FOCUS_NEAR, KEY_FOCUS_FAR, KEY_SENSOR_FPS}));
}

}  // namespace
