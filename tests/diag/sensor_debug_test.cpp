#include "PrivateTree.h"
#include "SensorDebug.h"
#include "TestName.h"

using support::setDebug;
using support::writeFile;

namespace {

const int kLevelAtStart = g_nDebugLevel;
const bool kAssertAtStart = g_bEnAssert;

class DebugMarker : public support::PrivateTreeTest
{
};

TEST_F(DebugMarker, TheGlobalsStartAtLevelOneWithAssertionsOff)
{
    EXPECT_EQ(1, kLevelAtStart);
    EXPECT_FALSE(kAssertAtStart);
}

TEST_F(DebugMarker, WithoutTheFileTheLevelIsOneAndAssertionsAreOff)
{
    setDebug(7, 1);
    updateDebugLevel();
    support::removeDebug();
    updateDebugLevel();
    EXPECT_EQ(1, g_nDebugLevel);
    EXPECT_FALSE(g_bEnAssert);
}

struct MarkerText
{
    const char* name;
    const char* text;
    int level;
    bool assertion;
};

void PrintTo(const MarkerText& marker, std::ostream* stream)
{
    *stream << marker.name;
}

class DebugMarkerText : public support::PrivateTreeTest, public testing::WithParamInterface<MarkerText>
{
};

TEST_P(DebugMarkerText, IsReadAsTwoDecimals)
{
    writeFile(support::kDebugMarkerFile, GetParam().text);
    updateDebugLevel();
    EXPECT_EQ(GetParam().level, g_nDebugLevel);
    EXPECT_EQ(GetParam().assertion, g_bEnAssert);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DebugMarkerText,
    testing::Values(MarkerText{"BothLines", "6\n1\n", 6, true}, MarkerText{"LevelOnly", "7", 7, false},
                    MarkerText{"LevelOnlyWithLineEnd", "7\n", 7, false},
                    MarkerText{"NoLineEndAtTheEnd", "5\n1", 5, true}, MarkerText{"EmptyFile", "", 1, false},
                    MarkerText{"FirstLineEmpty", "\n1\n", 1, true}, MarkerText{"BothLinesEmpty", "\n\n", 1, false},
                    MarkerText{"SecondLineEmpty", "4\n\n", 4, false}, MarkerText{"SwitchZero", "4\n0\n", 4, false},
                    MarkerText{"SwitchTwo", "4\n2\n", 4, true}, MarkerText{"SwitchNegative", "4\n-1\n", 4, true},
                    MarkerText{"NegativeLevel", "-1\n", -1, false}, MarkerText{"NotANumber", "loud\nyes\n", 0, false},
                    MarkerText{"LeadingNumber", "6 loud\n1x\n", 6, true},
                    MarkerText{"LeadingBlanksAndSign", "  +6\n  1\n", 6, true},
                    MarkerText{"OnlyBlanks", "   \n", 0, false},
                    MarkerText{"ThirdLineIsNotRead", "3\n0\n1\n", 3, false}),
    support::ByName());

TEST_F(DebugMarker, AFileThatCannotBeOpenedChangesNothing)
{
    setDebug(6, 1);
    updateDebugLevel();
    support::removeDebug();
    // It exists, and it cannot be opened by anybody.
    support::writeFile(std::string(support::kDebugMarkerFile) + "/inside", "");
    updateDebugLevel();
    EXPECT_EQ(6, g_nDebugLevel);
    EXPECT_TRUE(g_bEnAssert);
}

}  // namespace
