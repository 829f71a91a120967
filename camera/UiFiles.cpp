#include "camera/UiFiles.h"

#include <tinyxml.h>

#include <cstring>

#include "XmlGuard.h"
#include "camera/Failure.h"
#include "camera/TextFile.h"

namespace camera {
namespace {

std::string attribute(const TiXmlElement& element, const char* name)
{
    const char* value = element.Attribute(name);
    return value == nullptr ? "" : value;
}

}  // namespace

UiFiles::UiFiles(const std::string& share)
{
    const std::string folder = share + "/language/";
    const std::string path = folder + "languages.xml";
    const std::string text = readExistingFile(path, kDocumentMax);
    TiXmlDocument index;
    if (host::isPlainXml(text))
    {
        index.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    }
    if (index.Error() || index.RootElement() == nullptr)
    {
        throw Failure(Problem::noLanguages, path);
    }
    for (const TiXmlElement* element = index.RootElement()->FirstChildElement("language"); element != nullptr;
         element = element->NextSiblingElement("language"))
    {
        Language language;
        if (element->QueryIntAttribute("id", &language.id) != TIXML_SUCCESS)
        {
            throw Failure(Problem::languageNumber, path);
        }
        language.code = attribute(*element, "code");
        language.name = attribute(*element, "name");
        language.textsFile = folder + attribute(*element, "texts");
        language.commonFile = folder + attribute(*element, "common");
        languages_.push_back(language);
    }
}

void UiFiles::fill(SysConfig& configuration)
{
    std::vector<std::pair<std::string, std::string>> texts;
    for (const Language& language : languages_)
    {
        texts.emplace_back(readExistingFile(language.textsFile, kDocumentMax),
                           readExistingFile(language.commonFile, kDocumentMax));
    }
    entries_.assign(languages_.size(), UIFileEntry{});
    for (std::size_t i = 0; i < languages_.size(); ++i)
    {
        entries_[i].nLanguageId = languages_[i].id;
        entries_[i].szLanguageFile = strdup(texts[i].first.c_str());
        entries_[i].szCommonFile = strdup(texts[i].second.c_str());
    }
    configuration.pUIFiles = entries_.data();
    configuration.nUIFileSum = static_cast<u32>(entries_.size());
}

}  // namespace camera
