#include <cstring>
#include <string>

#include <tinyxml.h>

#include "SensorFile.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "base/Decimal.h"
#include "config/ConfigUnit.h"
#include "config/TextFile.h"
#include "config/XmlDocument.h"
#include "diag/SensorTrace.h"

using config::kSensorFile;
using sensorpaths::kMergedStyleFile;

namespace {

// The value of the first field found by the plain search, without its end; false if there is none.
bool findDetailField(const char* detail, const char* name, const char*& value, std::size_t& length)
{
    // contract: a name that is part of a longer name finds that one
    const char* field = std::strstr(detail, name);
    const char* equals = field == nullptr ? nullptr : std::strchr(field, '=');
    const char* end = equals == nullptr ? nullptr : std::strchr(equals, ')');
    if (end == nullptr)
    {
        return false;
    }
    value = equals + 1;
    length = static_cast<std::size_t>(end - value);
    return true;
}

// One attribute that matches is enough. The traces carry the merge's name.
bool ruleApplies(const TiXmlElement& rule, const char* detail, const diag::Place& place)
{
    for (const TiXmlAttribute* attribute = rule.FirstAttribute(); attribute != nullptr; attribute = attribute->Next())
    {
        diag::trace(diag::Kind::debug, place, "modi_attr->Name()(%s), modi_attr->Value()(%s)\n", attribute->Name(),
                    attribute->Value());
        char value[sizeof(ModuleConfig::szDetail)] = {};  // no value is longer than the text it stands in
        // contract: a plain search, so that an empty detail value and a leading part of a listed value match too
        if (getDetailFieldToStr(detail, attribute->Name(), value) == 0 &&
            std::strstr(attribute->Value(), value) != nullptr)
        {
            return true;
        }
        diag::trace(diag::Kind::debug, place, "modi_attr->Name()(%s), modi_attr->Value()(%s) nVal(%s)\n",
                    attribute->Name(), attribute->Value(), value);
    }
    return false;
}

void applyOperations(TiXmlDocument* style, const TiXmlElement* operation)
{
    for (; operation != nullptr; operation = operation->NextSiblingElement())
    {
        updateStyleTab(style, operation->Value(), operation->Attribute("tab_key"), operation->FirstChildElement());
    }
}

// contract: the style is what the file holds, not what was printed. Where it could not be saved, an earlier merge
// serves a camera better than no parameters.
int readBack(char*& style)
{
    const INT64 file_len = config::textLength(getFileLen(kMergedStyleFile));
    return config::makeRoom(style, file_len) ? config::readText(kMergedStyleFile, style, file_len) : -1;
}

bool equals(const char* text, const char* expected)
{
    return text != nullptr && expected != nullptr && std::strcmp(text, expected) == 0;
}

// Null without such a tab.
TiXmlElement* findTab(TiXmlElement* tab, const char* key)
{
    while (tab != nullptr && !equals(tab->Attribute("key"), key))
    {
        tab = tab->NextSiblingElement();
    }
    return tab;
}

}  // namespace

int getDetailFieldTou32(const char* detail, const char* name, u32* value)
{
    const char* text = nullptr;
    std::size_t length = 0;
    if (!findDetailField(detail, name, text, length))
    {
        return -1;
    }
    *value = static_cast<u32>(base::decimal(std::string(text, length).c_str()));
    return 0;
}

int getDetailFieldToStr(const char* detail, const char* name, char* value)
{
    const char* text = nullptr;
    std::size_t length = 0;
    if (!findDetailField(detail, name, text, length))
    {
        return -1;
    }
    std::memcpy(value, text, length);  // contract: no terminator
    return 0;
}

int updateStyleTab(TiXmlDocument* doc_style, const char* operation, const char* tab_key, const TiXmlElement* new_tab)
{
    TiXmlElement* root = doc_style == nullptr ? nullptr : doc_style->RootElement();
    TiXmlElement* first = root == nullptr ? nullptr : root->FirstChildElement();
    diag::reportUnless(first != nullptr, DIAG_PLACE_AT(kSensorFile, 106),
                       "NULL != (tab_node = doc_style->RootElement()->FirstChildElement())");
    TiXmlElement* tab = findTab(first, tab_key);
    if (tab == nullptr)
    {
        return SNS_SUCCESS;
    }
    const bool isModify = equals(operation, "Modify");
    if ((isModify || equals(operation, "AddAfter")) && new_tab != nullptr)
    {
        root->InsertAfterChild(tab, *new_tab);
    }
    if ((isModify && new_tab != nullptr) || equals(operation, "Delete"))
    {
        root->RemoveChild(tab);
    }
    return SNS_SUCCESS;  // contract: always success
}

int DeleteNode(TiXmlElement* root, TiXmlElement* node)
{
    if (root == nullptr || node == nullptr)  // contract: all that root is for
    {
        return -1;
    }
    TiXmlNode* parent = node->Parent();
    if (parent != nullptr && parent->ToElement() != nullptr)
    {
        parent->RemoveChild(node);
    }
    return 0;
}

int mergeStyle(ModuleConfig* moduleConfig, char** ui_style, char* ui_styleDiversity)
{
    XmlDocument doc_style;
    XmlDocument doc_style_div;
    // contract: of both the part before an error is used
    constexpr auto keepPart = XmlDocument::OnError::keepPart;
    diag::reportUnless(doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8, keepPart), DIAG_PLACE_AT(kSensorFile, 140),
                       "doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)");
    diag::reportUnless(doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8, keepPart),
                       DIAG_PLACE_AT(kSensorFile, 141),
                       "doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)");
    const TiXmlElement* rule = doc_style_div.RootElement();
    diag::reportUnless(rule != nullptr, DIAG_PLACE_AT(kSensorFile, 143),
                       "NULL != (node_first = doc_style_div.RootElement())");
    for (; rule != nullptr; rule = rule->NextSiblingElement())
    {
        if (ruleApplies(*rule, moduleConfig->szDetail, DIAG_PLACE(kSensorFile)))
        {
            const TiXmlElement* operation = rule->FirstChildElement();
            diag::reportUnless(operation != nullptr, DIAG_PLACE_AT(kSensorFile, 164),
                               "NULL != (node_second = node_first->FirstChildElement())");
            applyOperations(doc_style.document(), operation);
        }
    }
    doc_style.SaveFile(kMergedStyleFile);
    if (diag::enabled(diag::Kind::information))  // otherwise the document would be turned into text for nothing
    {
        diag::trace(diag::Kind::information, DIAG_PLACE(kSensorFile), "%s\n", doc_style.getXmlString().c_str());
    }
    diag::reportUnless(readBack(*ui_style) > 0, DIAG_PLACE_AT(kSensorFile, 190),
                       "loadFromFile(\"/tmp/merge_style.xml\", *ui_style, file_len) > 0");
    return SNS_SUCCESS;  // contract: always success
}
