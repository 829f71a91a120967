#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/PrivateTree.h"
#include "tests/support/Reports.h"

// Reports as they must appear, on the console and in the error log.
namespace support {

// Expressions of reports that several tests expect.
inline constexpr char kStyleParse[] = "doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)";
inline constexpr char kDiversityParse[] = "doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)";
inline constexpr char kNoRule[] = "NULL != (node_first = doc_style_div.RootElement())";
inline constexpr char kReadBack[] = "loadFromFile(\"/tmp/merge_style.xml\", *ui_style, file_len) > 0";
inline constexpr char kOpenRead[] = "file.open(file_name)";
inline constexpr char kOpenReplace[] = "file.open(file_name, KSFile::modeWrite | KSFile::modeTruncate)";
inline constexpr char kNoTab[] = "NULL != (tab_node = doc_style->RootElement()->FirstChildElement())";

// A file in a folder that is not there, and a style of three tabs.
inline constexpr char kNoFolder[] = "/mnt/mtd/nowhere/file";
inline constexpr char kTabs[] = "<S><T key=\"a\" n=\"1\"/><T key=\"b\" n=\"2\"/><T key=\"c\" n=\"3\"/></S>";

struct ExpectedReport
{
    std::string function;
    std::string expression;
    std::string detail = "";
    std::string line = kAnyLine;
};

inline std::string consoleText(const std::string& unit, const std::vector<ExpectedReport>& reports)
{
    std::string text;
    for (const ExpectedReport& report : reports)
    {
        text += asserted(unit, report.function, report.expression, report.detail, report.line);
    }
    return text;
}

// The error log holds three records a report, and nothing else.
inline void expectLogged(const std::string& unit, const std::vector<ExpectedReport>& reports)
{
    const std::vector<LogRecord> records = errorLog();
    ASSERT_EQ(3 * reports.size(), records.size());
    for (size_t i = 0; i < reports.size(); ++i)
    {
        const ExpectedReport& report = reports[i];
        std::string detail = report.detail;
        if (!detail.empty() && detail.back() == '\n')
        {
            detail.pop_back();
        }
        for (size_t k = 3 * i; k < 3 * i + 3; ++k)
        {
            EXPECT_EQ("[sensor assert]", records[k].prefix);
        }
        EXPECT_TRUE(saysOnly(records[3 * i].text, "file:" + unit + " fun:" + report.function + " line:" + report.line));
        EXPECT_EQ(report.expression + "   ~~~Assertion failed.", records[3 * i + 1].text);
        EXPECT_EQ(detail, records[3 * i + 2].text);
    }
}

// output is these reports, whole, and the error log holds them.
inline void expectReports(const std::string& unit, const std::string& output,
                          const std::vector<ExpectedReport>& reports)
{
    EXPECT_TRUE(saysOnly(output, consoleText(unit, reports)));
    expectLogged(unit, reports);
}

}  // namespace support
