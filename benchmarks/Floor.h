#pragma once

#include <string>
#include <vector>

#include <tinyxml.h>

#include "KeyVal.h"
#include "benchmarks/ConstantService.h"

// What an operation cannot do without, done by hand: the cost that every implementation of its contract has.
namespace bench {

// What the library asks the file system before each threshold test.
void existenceTest();
void existenceTests(int count);

// Existence tests and calls of the service, in the operation's order.
class CallScript
{
public:
    void test(int count = 1);
    void call(u32 cmd, int opt, std::vector<u32> words = {});

    void run() const;
    int tests() const;

private:
    struct Step
    {
        int testsBefore;
        bool hasCall;
        ia_cmd_e cmd;
        int opt;
        std::vector<u32> words;
    };

    std::vector<Step> steps_;
};

// The script of one record that is sent by a scheme switch or a list: the line that announces it, its handler.
// isBulk: one-shot actions are announced and not sent. scheme holds the partners' values.
void sendRecord(CallScript& script, u32 key, u32 value, const std::vector<KeyVal>& scheme, bool isBulk);

// "(key,value)" for each record, formatted and appended.
void appendPairs(std::string& text, const std::vector<KeyVal>& records);

// ---- documents -------------------------------------------------------------------------------------------------

void parse(TiXmlDocument& document, const std::string& text);
std::string print(const TiXmlDocument& document);

// What rewriting a style for the service costs beside parsing and printing it: threshold tests, questions to the
// service, and the lines about the shutters, which are printed at every level.
class RewriteScript
{
public:
    explicit RewriteScript(const std::string& style);

    void run() const;
    int tests() const;

private:
    void addShutterLines(const std::string& style, int index, u32 cmd);

    CallScript calls_;
    std::string lines_;
};

// Threshold tests of the merge: the conditions of the rules.
int testsOfRules(const std::string& diversity, const std::string& detail);

// ---- files -----------------------------------------------------------------------------------------------------

// Opens, asks for the length, closes.
void askLength(const std::string& path);
// Opens, reads up to bytes, closes.
std::string readWhole(const std::string& path, std::size_t bytes);
// The least that leaves the old or the new file after a power cut: a new file beside it, written, synced and renamed,
// and the folder synced.
void replaceFile(const std::string& path, const std::string& bytes);

}  // namespace bench
