#pragma once

#include <string>
#include <string_view>

#include <tinyxml.h>

// An XML document of the library: read from memory, printed with four blanks a level, one node a line.
// Reentrant.
class XmlDocument
{
public:
    // What an error of the parser leaves.
    enum class OnError
    {
        empty,
        keepPart,  // what was read up to there
    };

    // Replaces the document. False, with a warning of cause and place, when the text is refused before parsing (see
    // XmlCheck.h; null is refused too), which leaves it empty, or when the parser meets an error.
    // A text without any element but with a comment or a declaration is no error.
    bool LoadMem(const char* text, TiXmlEncoding encoding, OnError onError = OnError::empty);
    bool LoadMem(const std::string& text, TiXmlEncoding encoding);

    // Empty for an empty document, and, with a warning, for one whose text LoadMem would refuse before parsing, most
    // likely for the indentation that was added.
    std::string getXmlString() const;

    // Replaces the file whole or, when false, leaves it as it was. An empty name is false and creates nothing; a
    // text that LoadMem would refuse and a file that cannot be written are false, with a warning.
    bool SaveFile(const char* path) const;

    // Null without an element.
    TiXmlElement* RootElement();

    TiXmlDocument* document();

private:
    // text is terminated, if it is no longer than what is accepted.
    bool load(std::string_view text, TiXmlEncoding encoding, OnError onError);

    // Counts lines and columns if tabSize is not 0. False for an error of the parser.
    bool parse(std::string_view text, TiXmlEncoding encoding, int tabSize);

    // False, with an empty text, for a text that LoadMem would refuse.
    bool print(std::string& text) const;

    TiXmlDocument m_objDocument;
};
