#pragma once

#include <string>
#include <string_view>

#include <tinyxml.h>

// An XML document of the library: read from memory, printed with four blanks per level, one node per line.
// Reentrant.
class XmlDocument
{
public:
    // What remains of the document after an error of the parser.
    enum class OnError
    {
        empty,
        keepPart,  // what was read before the error
    };

    // Replaces the document. False, with a warning of cause and place, when the text is refused before parsing (see
    // XmlCheck.h; null is refused too), which leaves it empty, or when the parser meets an error.
    // A text without any element but with a comment or a declaration is not an error.
    bool LoadMem(const char* text, TiXmlEncoding encoding, OnError onError = OnError::empty);
    bool LoadMem(const std::string& text, TiXmlEncoding encoding);

    // Empty for an empty document, and, with a warning, for one whose text LoadMem would refuse before parsing, most
    // likely for the indentation that was added.
    std::string getXmlString() const;

    // Replaces the whole file. False leaves it as it was: for an empty name, which creates nothing, and, with a
    // warning, for a text that LoadMem would refuse and for a file that cannot be written.
    bool SaveFile(const char* path) const;

    // Null without an element.
    TiXmlElement* RootElement();

    TiXmlDocument* document();

private:
    // text is terminated, unless it is longer than what is accepted.
    bool load(std::string_view text, TiXmlEncoding encoding, OnError onError);

    // Counts lines and columns if tabSize is not 0. False for an error of the parser.
    bool parse(std::string_view text, TiXmlEncoding encoding, int tabSize);

    // False, with an empty text, for a text that LoadMem would refuse.
    bool print(std::string& text) const;

    TiXmlDocument m_objDocument;
};
