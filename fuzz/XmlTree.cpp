#include "fuzz/XmlTree.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

namespace fuzz {
namespace {

void collectWithId(const TiXmlElement& element, int id, std::vector<const TiXmlElement*>& found)
{
    const char* text = element.Attribute("id");
    if (text != nullptr && decimalOf(text) == id)
    {
        found.push_back(&element);
        return;
    }
    for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        collectWithId(*child, id, found);
    }
}

std::size_t attributesOf(const TiXmlElement& element)
{
    std::size_t count = 0;
    for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next())
    {
        ++count;
    }
    return count;
}

}  // namespace

void FreeText::operator()(char* text) const
{
    std::free(text);
}

TightText tight(const std::string& text)
{
    char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
    FUZZ_REQUIRE(copy != nullptr);
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return TightText(copy);
}

bool parse(const std::string& text, TiXmlDocument& document)
{
    document.Clear();
    document.Parse(tight(text).get(), nullptr, TIXML_ENCODING_UTF8);
    return !document.Error();
}

TreeShape shapeOf(const TiXmlNode& node)
{
    TreeShape shape = {0, 0};
    for (const TiXmlElement* child = node.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        const TreeShape below = shapeOf(*child);
        shape.depth = std::max(shape.depth, below.depth + 1);
        shape.attributes = std::max({shape.attributes, below.attributes, attributesOf(*child)});
    }
    return shape;
}

bool hasUnprintableDeclaration(const TiXmlNode& node)
{
    for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling())
    {
        const TiXmlDeclaration* const declaration = child->ToDeclaration();
        const std::string values = declaration == nullptr ? ""
                                                          : std::string(declaration->Version()) +
                                                                declaration->Encoding() + declaration->Standalone();
        if (values.find_first_of("\"<>&") != std::string::npos || hasUnprintableDeclaration(*child))
        {
            return true;
        }
    }
    return false;
}

std::string outlineOf(const TiXmlElement& element)
{
    std::string outline = "<" + element.ValueStr();
    for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next())
    {
        outline += std::string(" ") + attribute->Name() + "='" + attribute->Value() + "'";
    }
    return outline + ">" + outlineBelow(element) + "</>";
}

std::string outlineBelow(const TiXmlNode& node)
{
    std::string outline;
    for (const TiXmlElement* child = node.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        outline += outlineOf(*child);
    }
    return outline;
}

std::size_t rootsOf(const TiXmlDocument& document)
{
    std::size_t roots = 0;
    for (const TiXmlElement* root = document.RootElement(); root != nullptr; root = root->NextSiblingElement())
    {
        ++roots;
    }
    return roots;
}

std::vector<const TiXmlElement*> controlsWithId(const TiXmlElement* root, int id)
{
    std::vector<const TiXmlElement*> found;
    if (root != nullptr)
    {
        collectWithId(*root, id, found);
    }
    return found;
}

}  // namespace fuzz
