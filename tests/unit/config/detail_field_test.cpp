#include "SensorFile.h"
#include "tests/support/TestName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct FieldCase
{
    const char* name;
    std::string detail;
    int result;
    std::string text;
    u32 number;
};

void PrintTo(const FieldCase& fieldCase, std::ostream* stream)
{
    *stream << fieldCase.name;
}

class DetailField : public testing::TestWithParam<FieldCase>
{
};

TEST_P(DetailField, IsFoundAsText)
{
    char value[100];
    std::memset(value, '#', sizeof value);
    EXPECT_EQ(GetParam().result, getDetailFieldToStr(GetParam().detail.c_str(), "model", value));
    // No terminator: what lies behind the value is untouched.
    EXPECT_EQ(GetParam().text + std::string(sizeof value - GetParam().text.size(), '#'),
              std::string(value, sizeof value));
}

TEST_P(DetailField, IsFoundAsNumber)
{
    u32 number = 4711;
    EXPECT_EQ(GetParam().result, getDetailFieldTou32(GetParam().detail.c_str(), "model", &number));
    EXPECT_EQ(GetParam().result == 0 ? GetParam().number : 4711U, number);
}

INSTANTIATE_TEST_SUITE_P(
    Details, DetailField,
    testing::Values(FieldCase{"Alone", "(model=25)", 0, "25", 25},
                    FieldCase{"AmongOthers", "(a=1)(model=7)(b=2)", 0, "7", 7},
                    FieldCase{"FirstOfTwo", "(model=1)(model=2)", 0, "1", 1},
                    FieldCase{"Text", "(model=X3)", 0, "X3", 0},
                    FieldCase{"NumberBeforeText", "(model=12ab)", 0, "12ab", 12},
                    FieldCase{"Negative", "(model=-1)", 0, "-1", 0xFFFFFFFFU}, FieldCase{"Empty", "(model=)", 0, "", 0},
                    FieldCase{"TenCharacters", "(model=1234567890)", 0, "1234567890", 1234567890U},
                    FieldCase{"ManyCharacters", "(model=00000000000000000000000000000042)", 0,
                              "00000000000000000000000000000042", 42},
                    FieldCase{"BeyondThirtyTwoBitsIsClamped", "(model=99999999999)", 0, "99999999999", 0x7FFFFFFFU},
                    FieldCase{"PartOfALongerNameIsFound", "(supermodel=5)", 0, "5", 5},
                    FieldCase{"LeadingPartOfALongerNameIsFound", "(model_b=6)(model=5)", 0, "6", 6},
                    FieldCase{"NameInsideAnotherValueIsFound", "(x=model)(y=3)", 0, "3", 3},
                    FieldCase{"Absent", "(other=1)", -1, "", 0}, FieldCase{"EmptyDetail", "", -1, "", 0},
                    FieldCase{"WithoutEquals", "(model)", -1, "", 0}, FieldCase{"WithoutEnd", "(model=5", -1, "", 0},
                    FieldCase{"EndBeforeTheEquals", "(model)=5", -1, "", 0}),
    support::ByName());

}  // namespace
