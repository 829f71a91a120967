#include "app/cli/Answer.h"

#include <gtest/gtest.h>

namespace {

TEST(Answer, ADocumentHasCommandStatusAndDataInThisOrder)
{
    app::Answer answer;
    answer.data = {{"values", app::Json::array({{{"key", 34}, {"name", "KEY_BRIGHTNESS"}, {"value", 60}}})}};
    EXPECT_EQ(app::jsonDocument("get", answer),
              "{\"command\":\"get\",\"ok\":true,\"values\":[{\"key\":34,\"name\":\"KEY_BRIGHTNESS\",\"value\":60}]}\n");
}

TEST(Answer, AFailureIsADocumentTooWithWhatWasDone)
{
    app::Answer answer = app::Answer::failure({app::ErrorCode::unknownKey, "no \"such\" key\n"});
    answer.data["values"] = app::Json::array();
    EXPECT_EQ(app::jsonDocument("set", answer),
              "{\"command\":\"set\",\"ok\":false,\"values\":[],\"error\":{\"code\":\"unknown-key\","
              "\"message\":\"no \\\"such\\\" key\\n\",\"hint\":\"'keys' lists the keys\"}}\n");
}

TEST(Answer, BytesThatAreNoTextAreReplaced)
{
    app::Answer answer;
    answer.data = {{"style", "a\xff"}};
    EXPECT_EQ(app::jsonDocument("style", answer), "{\"command\":\"style\",\"ok\":true,\"style\":\"a\xEF\xBF\xBD\"}\n");
}

TEST(TextTable, AlignsColumnsAndLeavesNoBlanksAtLineEnds)
{
    app::TextTable table;
    table.addRow({"KEY", "NAME", ""});
    table.addRow({"34", "KEY_BRIGHTNESS", "60"});
    table.addRow({"8000"});
    EXPECT_EQ(table.text(), "KEY   NAME\n34    KEY_BRIGHTNESS  60\n8000\n");
}

}  // namespace
