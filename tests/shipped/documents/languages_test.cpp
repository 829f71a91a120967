#include "tests/shipped/documents/ShippedModel.h"

namespace documents {
namespace {

const char* const kDocuments[] = {"style/Style.xml", "style/Style_dome.xml", "styleDiversity/StyleDiversity.xml",
                                  "styleDiversity/StyleDiversity_dome.xml"};

struct Language
{
    int id;
    std::string code;
    std::string name;
    std::string texts;
    std::string common;
};

std::vector<Language> languages()
{
    std::vector<Language> found;
    const auto document = parse(readShared("language/languages.xml"));
    const TiXmlElement* root = document->RootElement();
    for (const TiXmlElement* e = root->FirstChildElement("language"); e; e = e->NextSiblingElement("language"))
    {
        found.push_back({number(*e, "id"), attribute(*e, "code"), attribute(*e, "name"), attribute(*e, "texts"),
                         attribute(*e, "common")});
    }
    return found;
}

// Text id to text; a double id is a failure.
std::map<std::string, std::string> textsOf(const Language& language, const std::string& file)
{
    std::map<std::string, std::string> texts;
    const auto document = parse(readShared("language/" + file));
    EXPECT_EQ(attribute(*document->RootElement(), "language"), language.code) << file;
    for (const TiXmlElement* e = document->RootElement()->FirstChildElement(); e; e = e->NextSiblingElement())
    {
        EXPECT_STREQ(e->Value(), "text") << file;
        EXPECT_TRUE(texts.emplace(attribute(*e, "id"), e->GetText() == nullptr ? "" : e->GetText()).second)
            << file << " has " << attribute(*e, "id") << " twice";
    }
    return texts;
}

std::set<std::string> idsOf(const std::map<std::string, std::string>& texts)
{
    std::set<std::string> ids;
    for (const auto& [id, text] : texts)
    {
        EXPECT_NE(text, "") << id;
        ids.insert(id);
    }
    return ids;
}

std::set<std::string> usedIn(const char* name, const std::string& prefix)
{
    std::set<std::string> used;
    for (const char* document : kDocuments)
    {
        walk(*parse(readShared(document)), [&](const TiXmlElement& element) {
            if (element.Attribute(name) != nullptr)
            {
                used.insert(prefix + attribute(element, name));
            }
        });
    }
    return used;
}

// The places of a message, sorted.
std::multiset<std::string> placesOf(const std::string& text)
{
    std::multiset<std::string> places;
    for (std::size_t p = text.find('{'); p != std::string::npos; p = text.find('{', p + 1))
    {
        places.insert(text.substr(p, text.find('}', p) - p + 1));
    }
    return places;
}

TEST(Languages, AreEnglishAndAtLeastOneMore)
{
    std::set<int> ids;
    std::set<std::string> codes;
    for (const Language& language : languages())
    {
        ids.insert(language.id);
        codes.insert(language.code);
        EXPECT_NE(language.name, "");
    }
    EXPECT_GE(ids.size(), 2u);
    EXPECT_EQ(ids.size(), languages().size());
    EXPECT_EQ(codes.size(), languages().size());
    EXPECT_EQ(codes.count("en"), 1u);
    EXPECT_EQ(ids.count(number(*parse(readShared("language/languages.xml"))->RootElement(), "default")), 1u);
}

// The library answers with the first entry when it does not know a language.
TEST(Languages, ListTheDefaultFirst)
{
    EXPECT_EQ(languages().front().id, number(*parse(readShared("language/languages.xml"))->RootElement(), "default"));
}

TEST(Languages, HaveEveryTextThatTheStylesUseAndNoOther)
{
    const std::set<std::string> used = usedIn("text", "");
    for (const Language& language : languages())
    {
        EXPECT_EQ(idsOf(textsOf(language, language.texts)), used) << language.code;
    }
}

TEST(Languages, NameEveryUnit)
{
    for (const Language& language : languages())
    {
        const std::set<std::string> common = idsOf(textsOf(language, language.common));
        for (const std::string& unit : usedIn("unit", "unit_"))
        {
            EXPECT_EQ(common.count(unit), 1u) << language.code << " " << unit;
        }
    }
}

TEST(Languages, HaveTheSameCommonTextsWithTheSamePlaces)
{
    const auto first = textsOf(languages().front(), languages().front().common);
    for (const Language& language : languages())
    {
        const auto texts = textsOf(language, language.common);
        ASSERT_EQ(idsOf(texts), idsOf(first)) << language.code;
        for (const auto& [id, text] : texts)
        {
            EXPECT_EQ(placesOf(text), placesOf(first.at(id))) << language.code << " " << id;
        }
    }
}

TEST(Languages, NameEveryModel)
{
    for (const Language& language : languages())
    {
        const std::set<std::string> common = idsOf(textsOf(language, language.common));
        for (const Model& model : kModels)
        {
            EXPECT_EQ(common.count(std::string("model_") + model.name), 1u) << language.code << " " << model.name;
        }
    }
}

TEST(Languages, NameTheParametersOfAModelApart)
{
    for (const Language& language : languages())
    {
        const auto texts = textsOf(language, language.texts);
        for (const Model& model : kModels)
        {
            const auto style = parse(merged(model));
            std::map<std::string, std::string> owner;
            for (const TiXmlElement* element : parameterElements(*style))
            {
                const std::string text = attribute(*element, "text");
                if (!text.empty())
                {
                    const auto added = owner.emplace(texts.at(text), attribute(*element, "id"));
                    EXPECT_TRUE(added.second) << model.name << ": " << texts.at(text) << " is " << added.first->second
                                              << " and " << attribute(*element, "id");
                }
            }
        }
    }
}

}  // namespace
}  // namespace documents
