#pragma once

#include <string>
#include <string_view>

#include <tinyxml.h>

// An XML document of the library: read from memory, printed with four blanks a level, one node a line.
// Reentrant.
class XmlDocument
{
public:
    // Replaces the document. False when the text is refused before parsing (see XmlCheck.h; null is refused
    // too), which leaves it empty, or when the parser meets an error, which leaves what was read up to there.
    // A text without any element but with a comment or a declaration is no error.
    bool LoadMem(const char* text, TiXmlEncoding encoding);
    bool LoadMem(const std::string& text, TiXmlEncoding encoding);

    // Empty for an empty document, and for one whose text LoadMem would refuse before parsing, most likely for
    // the indentation that was added.
    std::string getXmlString() const;

    // Replaces the file whole or, when false, leaves it as it was. An empty name is false and creates nothing; a
    // text that LoadMem would refuse is false.
    bool SaveFile(const char* path) const;

    // Null without an element.
    TiXmlElement* RootElement();

    TiXmlDocument* document();

private:
    // text is terminated, if it is no longer than what is accepted.
    bool load(std::string_view text, TiXmlEncoding encoding);

    // False, with an empty text, for a text that LoadMem would refuse.
    bool print(std::string& text) const;

    TiXmlDocument m_objDocument;
};
