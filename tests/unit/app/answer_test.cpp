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
    app::Answer answer = app::Answer::failure("no \"such\" key\n");
    answer.data["applied"] = app::Json::array();
    EXPECT_EQ(app::jsonDocument("set", answer),
              "{\"command\":\"set\",\"ok\":false,\"applied\":[],\"error\":\"no \\\"such\\\" key\\n\"}\n");
}

TEST(Answer, BytesThatAreNoTextAreReplaced)
{
    EXPECT_EQ(app::jsonDocument("x", app::Answer::failure("a\xff")),
              "{\"command\":\"x\",\"ok\":false,\"error\":\"a\xEF\xBF\xBD\"}\n");
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
