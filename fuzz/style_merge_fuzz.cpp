#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SensorFile.h"
#include "SysConfig.h"
#include "config/XmlCheck.h"
#include "fuzz/CameraTree.h"
#include "fuzz/DetailField.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "fuzz/XmlTree.h"

// A style merged with the diversity rules that fit a module.
// Input: the module's detail text %% the style %% the diversity rules.

namespace {

using fuzz::kMergedStyleFile;

// A tab and all below it.
struct Tab
{
    std::optional<std::string> key;
    std::string outline;
};
using Tabs = std::vector<Tab>;

bool operator==(const Tab& left, const Tab& right)
{
    return left.key == right.key && left.outline == right.outline;
}

std::optional<std::string> attributeOf(const TiXmlElement& element, const char* name)
{
    const char* const value = element.Attribute(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

Tab tabOf(const TiXmlElement& element)
{
    return {attributeOf(element, "key"), fuzz::outlineOf(element)};
}

Tabs tabsOf(const TiXmlDocument& style)
{
    Tabs tabs;
    const TiXmlElement* const root = style.RootElement();
    for (const TiXmlElement* tab = root == nullptr ? nullptr : root->FirstChildElement(); tab != nullptr;
         tab = tab->NextSiblingElement())
    {
        tabs.push_back(tabOf(*tab));
    }
    return tabs;
}

bool applies(const TiXmlElement& rule, const std::string& detail)
{
    for (const TiXmlAttribute* attribute = rule.FirstAttribute(); attribute != nullptr; attribute = attribute->Next())
    {
        std::string value;
        if (fuzz::fieldByDefinition(detail, attribute->Name(), value) &&
            std::string(attribute->Value()).find(value) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

void apply(const TiXmlElement& operation, Tabs& tabs)
{
    const std::optional<std::string> target = attributeOf(operation, "tab_key");
    const TiXmlElement* const made = operation.FirstChildElement();
    const std::string name = operation.Value();
    const auto tab =
        std::find_if(tabs.begin(), tabs.end(), [&target](const Tab& candidate) { return candidate.key == target; });
    if (!target.has_value() || tab == tabs.end())
    {
        return;
    }
    if (name == "Modify" && made != nullptr)
    {
        *tab = tabOf(*made);
    }
    else if (name == "AddAfter" && made != nullptr)
    {
        tabs.insert(tab + 1, tabOf(*made));
    }
    else if (name == "Delete")
    {
        tabs.erase(tab);
    }
}

Tabs expectedTabs(const TiXmlDocument& style, const TiXmlDocument& rules, const std::string& detail)
{
    Tabs tabs = tabsOf(style);
    for (const TiXmlElement* rule = rules.RootElement(); rule != nullptr; rule = rule->NextSiblingElement())
    {
        const TiXmlElement* operation = applies(*rule, detail) ? rule->FirstChildElement() : nullptr;
        for (; operation != nullptr; operation = operation->NextSiblingElement())
        {
            apply(*operation, tabs);
        }
    }
    return tabs;
}

// What is used of a text: of one that the parser may see all that it read, an error or not.
void load(const std::string& text, TiXmlDocument& document)
{
    if (config::isSafeXml(text))
    {
        fuzz::parse(text, document);
    }
}

std::string merged(const std::string& detail, const std::string& style, const std::string& rules)
{
    const auto module = std::make_unique<ModuleConfig>();
    std::strncpy(module->szDetail, detail.c_str(), sizeof module->szDetail - 1);
    char* text = fuzz::tight(style).release();
    FUZZ_REQUIRE(mergeStyle(module.get(), &text, fuzz::tight(rules).get()) == SNS_SUCCESS);
    const fuzz::TightText owner(text);
    FUZZ_REQUIRE(text != nullptr);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 3);
    const std::string detail = std::string(parts[0].c_str()).substr(0, sizeof(ModuleConfig::szDetail) - 1);
    const std::string style = parts[1].c_str();
    const std::string rules = parts[2].c_str();
    fuzz::writeFile(kMergedStyleFile, "<Left><By/></Left><An/><Earlier/><Merge/>");
    const std::string result = merged(detail, style, rules);

    FUZZ_REQUIRE(result == fuzz::readFile(kMergedStyleFile));
    FUZZ_REQUIRE(config::isSafeXml(result));
    TiXmlDocument before;
    TiXmlDocument diversity;
    TiXmlDocument after;
    load(style, before);
    load(rules, diversity);
    FUZZ_REQUIRE(result.empty() == before.NoChildren());
    if (!result.empty() && !fuzz::hasUnprintableDeclaration(before) && !fuzz::hasUnprintableDeclaration(diversity))
    {
        FUZZ_REQUIRE(fuzz::parse(result, after));
        FUZZ_REQUIRE(before.RootElement() == nullptr || tabsOf(after) == expectedTabs(before, diversity, detail));
    }
    return 0;
}
