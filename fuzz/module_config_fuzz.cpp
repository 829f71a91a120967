#include <string>
#include <vector>

#include "CameraTree.h"
#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "Require.h"
#include "TextParts.h"
#include "XmlGuard.h"
#include "XmlTree.h"

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

std::size_t matchesIn(const TiXmlElement& root, const std::string& model, const std::string& code)
{
    std::size_t matches = 0;
    for (const TiXmlElement* entry = root.FirstChildElement(); entry != nullptr; entry = entry->NextSiblingElement())
    {
        matches += entry->ValueStr() == "ModuleConfig" && isMatch(*entry, model, code) ? 1 : 0;
    }
    return matches;
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
        FUZZ_REQUIRE(!isRead || modules.size() <= matchesIn(*document.RootElement(), parts[0], parts[1]));
    }
    return 0;
}
