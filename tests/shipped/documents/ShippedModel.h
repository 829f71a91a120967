#pragma once

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "HostPlatform.h"
#include "KeyVal.h"
#include "SensorFile.h"
#include "SensorKeys.h"
#include "SysConfig.h"
#include "tests/support/TestName.h"

// The documents under share as a camera reads them.
namespace documents {

struct Model
{
    const char* name;
    int deviceType;
    const char* style;
    const char* diversity;
};

constexpr Model kModels[] = {
    {"fixed", DEVICE_TYPE_CAMERA, "style/Style.xml", "styleDiversity/StyleDiversity.xml"},
    {"dome", DEVICE_TYPE_DOME, "style/Style_dome.xml", "styleDiversity/StyleDiversity_dome.xml"},
    {"lpr", DEVICE_TYPE_LPR, "style/Style.xml", "styleDiversity/StyleDiversity.xml"},
    {"fisheye", DEVICE_TYPE_FISHEYE, "style/Style.xml", "styleDiversity/StyleDiversity.xml"},
};

// In the messages of parameterised tests.
inline void PrintTo(const Model& model, std::ostream* stream)
{
    *stream << model.name;
}

inline std::string sharePath(const std::string& name)
{
    return std::string(SENSORDLL_SOURCE_DIR "/share/") + name;
}

inline std::string readShared(const std::string& name)
{
    std::ifstream stream(sharePath(name), std::ios::binary);
    EXPECT_TRUE(stream.is_open()) << name;
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

inline std::unique_ptr<TiXmlDocument> parse(const std::string& text)
{
    auto document = std::make_unique<TiXmlDocument>();
    document->Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    EXPECT_FALSE(document->Error()) << document->ErrorDesc() << " in line " << document->ErrorRow();
    EXPECT_NE(document->RootElement(), nullptr);
    return document;
}

inline std::string printed(const TiXmlDocument& document)
{
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.Str();
}

inline std::string attribute(const TiXmlElement& element, const char* name)
{
    const char* value = element.Attribute(name);
    return value == nullptr ? "" : value;
}

inline int number(const TiXmlElement& element, const char* name)
{
    int value = 0;
    EXPECT_EQ(element.QueryIntAttribute(name, &value), TIXML_SUCCESS)
        << "<" << element.Value() << "> line " << element.Row() << " has no number in " << name;
    return value;
}

// element and everything below it, in document order.
inline void walk(const TiXmlElement* element, const std::function<void(const TiXmlElement&)>& visit)
{
    if (element == nullptr)
    {
        return;
    }
    visit(*element);
    for (const TiXmlElement* child = element->FirstChildElement(); child; child = child->NextSiblingElement())
    {
        walk(child, visit);
    }
}

// Everything in the document: diversity documents have several top-level elements.
inline void walk(const TiXmlDocument& document, const std::function<void(const TiXmlElement&)>& visit)
{
    for (const TiXmlElement* top = document.FirstChildElement(); top != nullptr; top = top->NextSiblingElement())
    {
        walk(top, visit);
    }
}

inline std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::stringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
    {
        parts.push_back(part);
    }
    return parts;
}

inline ModuleConfigure moduleOf(const Model& model)
{
    const std::string folder = sharePath(std::string("models/") + model.name);
    MachineInfo machine;
    EXPECT_TRUE(SystemInfoParser::parseMachineInfo(folder + "/machineinfo.ini", machine));
    std::vector<ModuleConfigure> modules;
    EXPECT_TRUE(ModuleConfigureParser::parse(folder + "/moduleConfig.xml", machine.getHardwareModel(),
                                             machine.getHardwareCode(), modules));
    EXPECT_EQ(modules.size(), 1u);
    return modules.empty() ? ModuleConfigure() : modules.front();
}

// The style text that the library makes of the model's documents; diversity replaces the shipped rules.
inline std::string mergedWith(const Model& model, const std::string& diversity)
{
    ModuleConfig config{};
    moduleOf(model).getDetail().copy(config.szDetail, sizeof(config.szDetail) - 1);
    char* style = strdup(readShared(model.style).c_str());
    std::string rules = diversity;
    EXPECT_EQ(mergeStyle(&config, &style, rules.data()), SNS_SUCCESS);
    const std::string merged = style;
    std::free(style);
    return merged;
}

inline std::string merged(const Model& model)
{
    return mergedWith(model, readShared(model.diversity));
}

inline bool isParameter(const TiXmlElement& element)
{
    return element.Attribute("id") != nullptr && element.Attribute("value") != nullptr;
}

// The parameter elements of a style in document order.
inline std::vector<const TiXmlElement*> parameterElements(const TiXmlDocument& style)
{
    std::vector<const TiXmlElement*> found;
    walk(style, [&found](const TiXmlElement& element) {
        if (isParameter(element))
        {
            found.push_back(&element);
        }
    });
    return found;
}

// What the library makes its schemes of.
inline std::vector<KeyVal> factoryValues(const Model& model)
{
    std::string style = merged(model);
    std::vector<KeyVal> records(100);
    u32 count = 0;
    EXPECT_EQ(getFctData(style.data(), records.data(), &count), SNS_SUCCESS);
    records.resize(count);
    return records;
}

// The merged style, parsed, for tests that run once a model.
class EveryModel : public testing::TestWithParam<Model>
{
protected:
    const Model& model() const { return GetParam(); }

    void SetUp() override
    {
        style_ = parse(merged(model()));
        for (const TiXmlElement* element : parameterElements(*style_))
        {
            byKey_[static_cast<u32>(number(*element, "id"))] = element;
        }
    }

    std::unique_ptr<TiXmlDocument> style_;
    std::map<u32, const TiXmlElement*> byKey_;
};

}  // namespace documents
