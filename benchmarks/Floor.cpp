#include "benchmarks/Floor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "benchmarks/BenchCamera.h"
#include "tests/support/KeyRows.h"

namespace bench {
namespace {

using support::KeyRow;

const KeyRow& rowOf(u32 key)
{
    const KeyRow* const row = support::findKeyRow(key);
    if (row == nullptr)
    {
        std::fprintf(stderr, "key %u stands in no map\n", key);
        std::abort();
    }
    return *row;
}

u32 valueOf(const std::vector<KeyVal>& scheme, u32 key)
{
    for (const KeyVal& record : scheme)
    {
        if (record.key == key)
        {
            return record.value;
        }
    }
    return 0;
}

// The words that a handler hands to the service for its key.
std::vector<u32> wordsFor(const KeyRow& row, u32 value, const std::vector<KeyVal>& scheme)
{
    const auto own = [&](u32 key) { return key == row.key ? value : valueOf(scheme, key); };
    if (std::strcmp(row.handler, "doDNThr") == 0)
    {
        return {own(KEY_DTN_THR), own(KEY_NTD_THR)};
    }
    if (std::strcmp(row.handler, "doDNTime") == 0)
    {
        return {own(KEY_DTN_H), own(KEY_DTN_M), own(KEY_NTD_H), own(KEY_NTD_M)};
    }
    if (std::strcmp(row.handler, "doMirror") == 0 && valueOf(scheme, KEY_BEAWAY) != 0 && (value == 1 || value == 2))
    {
        return {3 - value};  // the flip directions trade places in a turned picture
    }
    return {value};
}

// Handlers that announce what they combined before they send it.
bool announcesItself(const KeyRow& row)
{
    return std::strcmp(row.handler, "doMirror") == 0 || std::strcmp(row.handler, "doDNThr") == 0 ||
           std::strcmp(row.handler, "doDNTime") == 0;
}

// ---- documents -------------------------------------------------------------------------------------------------

bool hasNumber(const TiXmlElement& element, const char* attribute, int number)
{
    const char* text = element.Attribute(attribute);
    return text != nullptr && std::atoi(text) == number;
}

// Every element with the id that is not below another such element, in document order.
void collectWithId(const TiXmlElement* element, int id, std::vector<const TiXmlElement*>& found)
{
    if (element == nullptr)
    {
        return;
    }
    if (hasNumber(*element, "id", id))
    {
        found.push_back(element);
        return;
    }
    for (const TiXmlElement* child = element->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement())
    {
        collectWithId(child, id, found);
    }
}

bool allows(const ia_dynamic_params_attr_st& attr, const TiXmlElement& item)
{
    for (int i = 0; i < attr.items_cnt; ++i)
    {
        if (hasNumber(item, "index", attr.item[i]))
        {
            return true;
        }
    }
    return false;
}

// A line for each control and for each of its choices that goes.
int linesOfRewrite(const TiXmlDocument& document, u32 cmd)
{
    std::vector<const TiXmlElement*> controls;
    collectWithId(document.RootElement(), static_cast<int>(cmd), controls);
    const ia_dynamic_params_attr_st attr = allowedValues(cmd);
    int lines = 0;
    for (const TiXmlElement* control : controls)
    {
        ++lines;
        for (const TiXmlElement* item = control->FirstChildElement(); item != nullptr;
             item = item->NextSiblingElement())
        {
            lines += allows(attr, *item) ? 0 : 1;
        }
    }
    return lines;
}

}  // namespace

// ---- calls -----------------------------------------------------------------------------------------------------

void existenceTest()
{
    if (access(kDebugMarkerFile, F_OK) == 0)
    {
        std::fprintf(stderr, "%s must not exist here\n", kDebugMarkerFile);
        std::abort();
    }
}

void existenceTests(int count)
{
    for (int i = 0; i < count; ++i)
    {
        existenceTest();
    }
}

void CallScript::test(int count)
{
    if (steps_.empty() || steps_.back().hasCall)
    {
        steps_.push_back({});
    }
    steps_.back().testsBefore += count;
}

void CallScript::call(u32 cmd, int opt, std::vector<u32> words)
{
    test(0);
    Step& step = steps_.back();
    step.hasCall = true;
    step.cmd = static_cast<ia_cmd_e>(cmd);
    step.opt = opt;
    step.words = std::move(words);
}

void CallScript::run() const
{
    union
    {
        u32 words[4];
        ia_dynamic_params_cmds_st commands;
        ia_dynamic_params_attr_st attributes;
    } data;
    for (const Step& step : steps_)
    {
        existenceTests(step.testsBefore);
        if (step.hasCall)
        {
            std::copy(step.words.begin(), step.words.end(), data.words);
            ia_ioctrl(step.cmd, step.opt, &data);
        }
    }
}

int CallScript::tests() const
{
    int tests = 0;
    for (const Step& step : steps_)
    {
        tests += step.testsBefore;
    }
    return tests;
}

void sendRecord(CallScript& script, u32 key, u32 value, const std::vector<KeyVal>& scheme, bool isBulk)
{
    const KeyRow& row = rowOf(key);
    script.test();  // "set <key name>"
    if (isBulk && std::strcmp(row.handler, "doIaCmd_User") == 0)
    {
        script.test();  // "ignored auto focus once"
        return;
    }
    script.test(announcesItself(row) ? 1 : 0);
    script.test();  // "begin"
    script.call(row.cmd, IA_CMD_OPT_SET, wordsFor(row, value, scheme));
    script.test();  // "end"
}

void appendPairs(std::string& text, const std::vector<KeyVal>& records)
{
    for (const KeyVal& record : records)
    {
        char pair[25];
        pair[0] = '(';
        char* position = std::to_chars(pair + 1, pair + 12, static_cast<int>(record.key)).ptr;
        *position++ = ',';
        position = std::to_chars(position, pair + 24, static_cast<int>(record.value)).ptr;
        *position++ = ')';
        text.append(pair, position);
    }
}

// ---- documents -------------------------------------------------------------------------------------------------

void parse(TiXmlDocument& document, const std::string& text)
{
    document.SetTabSize(0);  // without it TinyXML counts rows and columns as well, which nothing here asks for
    document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
}

std::string print(const TiXmlDocument& document)
{
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.Str();
}

RewriteScript::RewriteScript(const std::string& style)
{
    TiXmlDocument document;
    parse(document, style);
    const ia_dynamic_params_cmds_st& commands = dynamicCommands();
    calls_.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET);
    calls_.test();  // "cmd_cnt"
    for (int i = 0; i < commands.cmd_cnt; ++i)
    {
        const u32 cmd = commands.cmd_list[i];
        calls_.test();  // "cmd_list"
        calls_.call(cmd, IA_CMD_OPT_GET_PARAM_RNAGE);
        if (cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER)
        {
            addShutterLines(style, i, cmd);
        }
        calls_.test(linesOfRewrite(document, cmd));
    }
}

void RewriteScript::addShutterLines(const std::string& style, int index, u32 cmd)
{
    TiXmlDocument document;
    parse(document, style);
    std::vector<const TiXmlElement*> controls;
    collectWithId(document.RootElement(), static_cast<int>(cmd), controls);
    const int stored = controls.empty() ? 0 : std::atoi(controls.back()->Attribute("value"));
    if (stored == 100)
    {
        return;
    }
    const ia_dynamic_params_attr_st attr = allowedValues(cmd);
    lines_ += "dnaCmdList.cmd_list[" + std::to_string(index) + "] = dnaParamList.items_cnt(" +
              std::to_string(attr.items_cnt) + ")\n";
    for (int i = 0; i < attr.items_cnt; ++i)
    {
        lines_ += " dnaParamList.item[" + std::to_string(i) + "] = " + std::to_string(attr.item[i]) +
                  " nVal = " + std::to_string(stored) + " \n";
        if (attr.item[i] == stored)
        {
            return;
        }
    }
}

void RewriteScript::run() const
{
    calls_.run();
    std::fputs(lines_.c_str(), stdout);
}

int RewriteScript::tests() const
{
    return calls_.tests();
}

int testsOfRules(const std::string& diversity, const std::string& detail)
{
    TiXmlDocument document;
    parse(document, diversity);
    int tests = 0;
    for (const TiXmlElement* rule = document.RootElement(); rule != nullptr; rule = rule->NextSiblingElement())
    {
        for (const TiXmlAttribute* condition = rule->FirstAttribute(); condition != nullptr;
             condition = condition->Next())
        {
            char value[512] = {};
            ++tests;  // the condition is shown before it is judged
            if (getDetailFieldToStr(detail.c_str(), condition->Name(), value) == 0 &&
                std::strstr(condition->Value(), value) != nullptr)
            {
                break;
            }
            ++tests;  // and again when it does not fit
        }
    }
    return tests;
}

// ---- files -----------------------------------------------------------------------------------------------------

void askLength(const std::string& path)
{
    const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    fstat(handle, &status);
    close(handle);
}

std::string readWhole(const std::string& path, std::size_t bytes)
{
    std::string text(bytes, '\0');
    const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = read(handle, text.data(), bytes);
    close(handle);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

void replaceFile(const std::string& path, const std::string& bytes)
{
    const std::string staged = path + ".floor";
    const int handle = open(staged.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool isWritten = write(handle, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const bool isPlaced = isWritten && fsync(handle) == 0 && std::rename(staged.c_str(), path.c_str()) == 0;
    close(handle);
    const int folder = open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!isPlaced || fsync(folder) != 0)
    {
        std::fprintf(stderr, "cannot replace %s\n", path.c_str());
        std::abort();
    }
    close(folder);
}

}  // namespace bench
