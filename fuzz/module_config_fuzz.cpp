#include <string>
#include <vector>

#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "XmlGuard.h"
#include "fuzz/CameraTree.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "fuzz/XmlTree.h"

// The module configuration document.
// Input: hardware model %% hardware code %% the document.

namespace {

constexpr char kFile[] = "/hd1/moduleConfig.xml";

bool isMatch(const TiXmlElement& entry, const std::string& model, const std::string& code)
{
    const char* const hardwareModel = entry.Attribute("hardwareModel");
    const char* const hardwareCode = entry.Attribute("hardwareCode");
    return hardwareModel != nullptr && hardwareCode != nullptr && hardwareModel == model && hardwareCode == code;
}

std::string textOf(const TiXmlElement& entry, const char* name)
{
    const TiXmlElement* const child = entry.FirstChildElement(name);
    std::string text;
    for (const TiXmlNode* node = child == nullptr ? nullptr : child->FirstChild(); node != nullptr;
         node = node->NextSibling())
    {
        text += node->ToText() == nullptr ? "" : node->ValueStr();
    }
    return text;
}

void requireModule(const ModuleConfigure& module, const TiXmlElement& entry)
{
    FUZZ_REQUIRE(module.getModuleId() == fuzz::decimalOf(textOf(entry, "ModuleId")));
    FUZZ_REQUIRE(module.getDetail() == textOf(entry, "Detail"));
    FUZZ_REQUIRE(module.getParameters() == textOf(entry, "Parameters"));
}

void requireModules(const std::vector<ModuleConfigure>& modules, const TiXmlElement& root, const std::string& model,
                    const std::string& code)
{
    std::size_t count = 0;
    for (const TiXmlElement* entry = root.FirstChildElement(); entry != nullptr; entry = entry->NextSiblingElement())
    {
        if (entry->ValueStr() == "ModuleConfig" && isMatch(*entry, model, code) &&
            fuzz::isDecimalInt(textOf(*entry, "ModuleId")))
        {
            FUZZ_REQUIRE(count < modules.size());
            requireModule(modules[count], *entry);
            ++count;
        }
    }
    FUZZ_REQUIRE(count == modules.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 3);
    fuzz::writeFile(kFile, parts[2]);
    std::vector<ModuleConfigure> modules(1);
    const bool isRead = ModuleConfigureParser::parse(kFile, parts[0], parts[1], modules);
    FUZZ_REQUIRE(isRead || modules.empty());
    FUZZ_REQUIRE(!isRead || host::isPlainXml(parts[2]));
    if (host::isPlainXml(parts[2]))
    {
        TiXmlDocument document;
        const bool isWhole = fuzz::parse(parts[2], document);
        FUZZ_REQUIRE(isRead == (isWhole && document.RootElement()->ValueStr() == "ModuleConfigs"));
        if (isRead)
        {
            requireModules(modules, *document.RootElement(), parts[0], parts[1]);
        }
    }
    return 0;
}
