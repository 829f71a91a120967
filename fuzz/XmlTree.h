#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <tinyxml.h>

namespace fuzz {

// A copy in a block of just its size, terminated, so that a byte read too far is noticed. malloc.
struct FreeText
{
    void operator()(char* text) const;
};
using TightText = std::unique_ptr<char, FreeText>;
TightText tight(const std::string& text);

// True when the parser meets no error; document then holds the text, else what was read up to there.
bool parse(const std::string& text, TiXmlDocument& document);

struct TreeShape
{
    std::size_t depth;       // levels of elements below the node, 0 without any
    std::size_t attributes;  // the most on one element
};

TreeShape shapeOf(const TiXmlNode& node);

// The parser prints the values of a declaration as they stand: a quote or a bracket among them makes a text that it
// does not read again.
bool hasUnprintableDeclaration(const TiXmlNode& node);

// Elements and attributes as text, and nothing else: what lies between elements changes when neighbours go.
std::string outlineOf(const TiXmlElement& element);
std::string outlineBelow(const TiXmlNode& node);

std::size_t rootsOf(const TiXmlDocument& document);

// The elements with this "id" that are not below another such element, in document order.
std::vector<const TiXmlElement*> controlsWithId(const TiXmlElement* root, int id);

}  // namespace fuzz
