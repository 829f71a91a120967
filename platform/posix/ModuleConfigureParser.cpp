#include "ModuleConfigureParser.h"

#include <tinyxml.h>

#include <utility>

#include "KSFile.h"
#include "ModuleConfigure.h"
#include "XmlGuard.h"
#include "platform/posix/DecimalInt.h"

namespace {

bool readWhole(const std::string& path, std::string& text)
{
    KSFile file;
    if (!file.open(path.c_str(), KSFile::modeRead))
    {
        return false;
    }
    const INT64 length = file.getLength();
    if (length <= 0 || length > static_cast<INT64>(host::kXmlSizeMax))
    {
        return false;
    }
    text.resize(static_cast<std::size_t>(length));
    return file.read(&text[0], static_cast<unsigned int>(length)) == length;
}

// All text directly inside the child, comments left out; empty when there is no such child.
std::string childText(const TiXmlElement& parent, const char* name)
{
    std::string text;
    const TiXmlElement* child = parent.FirstChildElement(name);
    for (const TiXmlNode* node = child ? child->FirstChild() : nullptr; node; node = node->NextSibling())
    {
        if (node->ToText() != nullptr)
        {
            text += node->ValueStr();
        }
    }
    return text;
}

bool matches(const TiXmlElement& entry, const char* attribute, const std::string& wanted)
{
    const char* value = entry.Attribute(attribute);
    return value != nullptr && wanted == value;
}

}  // namespace

bool ModuleConfigureParser::parse(const std::string& path, const std::string& model, const std::string& code,
                                  std::vector<ModuleConfigure>& modules)
{
    modules.clear();
    std::string text;
    if (!readWhole(path, text) || !host::isPlainXml(text))
    {
        return false;
    }
    TiXmlDocument document;
    document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    const TiXmlElement* root = document.RootElement();
    if (document.Error() || root == nullptr || root->ValueStr() != "ModuleConfigs")
    {
        return false;
    }
    const char* const kEntry = "ModuleConfig";
    for (const TiXmlElement* entry = root->FirstChildElement(kEntry); entry; entry = entry->NextSiblingElement(kEntry))
    {
        int moduleId = 0;
        if (!matches(*entry, "hardwareModel", model) || !matches(*entry, "hardwareCode", code) ||
            !host::readDecimalInt(childText(*entry, "ModuleId"), moduleId))
        {
            continue;
        }
        ModuleConfigure module;
        module.setModuleId(moduleId);
        module.setDetail(childText(*entry, "Detail"));
        module.setParameters(childText(*entry, "Parameters"));
        modules.push_back(std::move(module));
    }
    return true;
}
