#include "config/XmlCheck.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>

namespace config {
namespace {

using Octet = unsigned char;

constexpr Octet kAlphaFrom = 127;  // the parser takes every byte from here on for a letter

bool isAscii(Octet octet)
{
    return octet != 0 && octet < 0x80;
}

// Bytes of a character beyond ASCII with this lead byte; 0 for a byte that cannot lead one.
std::size_t lengthByLead(Octet lead)
{
    if (lead < 0xC2 || lead > 0xF4)
    {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// The second byte excludes overlong forms, surrogates and numbers above U+10FFFF.
bool secondFits(Octet lead, Octet second)
{
    const Octet low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const Octet high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return low <= second && second <= high;
}

// What isspace says, as the parser asks it of every byte. For ASCII the answer is the same in every locale and is given
// here: a call of the C library for each byte would cost more than the rest of the scan.
bool isBlank(char c)
{
    const Octet octet = static_cast<Octet>(c);
    return c == ' ' || (octet >= '\t' && octet <= '\r') || (octet >= 0x80 && std::isspace(octet) != 0);
}

bool isNameStart(Octet octet)
{
    const bool isLetter = (octet >= 'a' && octet <= 'z') || (octet >= 'A' && octet <= 'Z');
    return isLetter || octet == '_' || octet >= kAlphaFrom;
}

bool isNamePart(char c)
{
    return isNameStart(static_cast<Octet>(c)) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
}

// digits holds digits of the base and nothing else; without any the result is false.
bool isCharacterNumber(std::string_view digits, int base)
{
    std::uint32_t number = 0;
    const std::from_chars_result read = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
    return read.ec == std::errc() && number != 0 && number <= 0x10FFFF && !isSurrogate;
}

// The length of the strict UTF-8 at the start of the text.
std::size_t leadingUtf8(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size())
    {
        const Octet lead = static_cast<Octet>(text[i]);
        if (isAscii(lead))
        {
            ++i;
            continue;
        }
        const std::size_t length = lengthByLead(lead);
        if (length == 0 || length > text.size() - i || !secondFits(lead, static_cast<Octet>(text[i + 1])))
        {
            return i;
        }
        for (std::size_t k = 2; k < length; ++k)
        {
            if ((static_cast<Octet>(text[i + k]) & 0xC0) != 0x80)
            {
                return i;
            }
        }
        i += length;
    }
    return i;
}

// Walks a text as the parser does, without building a tree: each function reads what its counterpart in the parser
// reads, and returns false where that one stops with an error. The oddities are the parser's.
class ShapeScan
{
public:
    explicit ShapeScan(std::string_view text) : m_text(text) {}

    XmlShape shape()
    {
        skipBlanks();
        while (!atEnd() && m_stShape.depth <= kXmlDepthMax && node())
        {
            skipBlanks();
        }
        return m_stShape;
    }

private:
    // Keeps the first fault only.
    void note(const char* reason, std::size_t position)
    {
        if (m_stShape.fault.reason == nullptr)
        {
            m_stShape.fault = {reason, position};
        }
    }

    bool atEnd() const { return m_nPos >= m_text.size(); }

    // NUL beyond the end, as in a terminated text.
    char at(std::size_t pos) const { return pos < m_text.size() ? m_text[pos] : '\0'; }

    bool isAt(std::string_view expected) const
    {
        return m_text.substr(std::min(m_nPos, m_text.size()), expected.size()) == expected;
    }

    bool isAtIgnoringCase(std::string_view lower) const
    {
        const std::string_view found = m_text.substr(std::min(m_nPos, m_text.size()), lower.size());
        return found.size() == lower.size() &&
               std::equal(found.begin(), found.end(), lower.begin(),
                          [](Octet a, Octet b) { return a < 128 && std::tolower(a) == b; });
    }

    // Byte order marks and non-characters count as blanks wherever blanks are skipped.
    bool isAtSpecialBlank() const
    {
        return at(m_nPos) == '\xEF' && (isAt("\xEF\xBB\xBF") || isAt("\xEF\xBF\xBE") || isAt("\xEF\xBF\xBF"));
    }

    void skipBlanks()
    {
        for (;;)
        {
            skipWhile(isBlank);
            if (!isAtSpecialBlank())
            {
                return;
            }
            m_nPos += 3;
        }
    }

    template <typename Fits>
    void skipWhile(Fits fits)
    {
        while (!atEnd() && fits(m_text[m_nPos]))
        {
            ++m_nPos;
        }
    }

    bool node()
    {
        if (at(m_nPos) != '<')
        {
            return m_nOpen > 0 && text();
        }
        if (m_nOpen > 0 && at(m_nPos + 1) == '/')
        {
            return endTag();
        }
        return markup();
    }

    bool markup()
    {
        if (isNameStart(static_cast<Octet>(at(m_nPos + 1))))
        {
            return element();
        }
        if (isAtIgnoringCase("<?xml"))
        {
            return declaration();
        }
        if (isAt("<!--"))
        {
            return skipPast("-->", 4);
        }
        if (isAt("<![CDATA["))
        {
            return skipPast("]]>", 9) && !atEnd();
        }
        return skipPast(">", 1);
    }

    // To the parser a missing end is not an error.
    bool skipPast(std::string_view end, std::size_t headLength)
    {
        const std::size_t found = m_text.find(end, m_nPos + headLength);
        m_nPos = found == std::string_view::npos ? m_text.size() : found + end.size();
        return true;
    }

    bool declaration()
    {
        m_nPos += 5;
        while (!atEnd())
        {
            if (at(m_nPos) == '>')
            {
                ++m_nPos;
                return true;
            }
            skipBlanks();
            if (isAtIgnoringCase("version") || isAtIgnoringCase("encoding") || isAtIgnoringCase("standalone"))
            {
                if (!attribute())
                {
                    return false;
                }
                continue;
            }
            while (!atEnd() && at(m_nPos) != '>' && !isBlank(at(m_nPos)))
            {
                ++m_nPos;
            }
        }
        return false;
    }

    bool element()
    {
        const std::size_t start = m_nPos++;
        m_stShape.depth = std::max(m_stShape.depth, m_nOpen + 1);
        if (m_stShape.depth > kXmlDepthMax)
        {
            note("too deep", start);
            return false;
        }
        skipBlanks();
        const std::string_view name = readName();
        if (name.empty() || atEnd())
        {
            return false;
        }
        for (std::size_t attributes = 0;; ++attributes)
        {
            m_stShape.attributes = std::max(m_stShape.attributes, attributes);
            if (attributes > kXmlAttributesMax)
            {
                note("too many attributes", start);
            }
            skipBlanks();
            if (at(m_nPos) == '/')
            {
                m_nPos += 2;
                return at(m_nPos - 1) == '>';
            }
            if (at(m_nPos) == '>')
            {
                ++m_nPos;
                m_names[m_nOpen++] = name;
                return true;
            }
            if (atEnd() || !attribute() || atEnd())
            {
                return false;
            }
        }
    }

    bool endTag()
    {
        m_nPos += 2;
        const std::string_view name = m_names[m_nOpen - 1];
        if (!isAt(name))
        {
            return false;
        }
        m_nPos += name.size();
        skipBlanks();
        --m_nOpen;
        return at(m_nPos++) == '>';
    }

    std::string_view readName()
    {
        const std::size_t start = m_nPos;
        if (!isNameStart(static_cast<Octet>(at(start))))
        {
            return {};
        }
        skipWhile(isNamePart);
        return m_text.substr(start, m_nPos - start);
    }

    bool attribute()
    {
        if (readName().empty())
        {
            return false;
        }
        skipBlanks();
        if (at(m_nPos) != '=')
        {
            return false;
        }
        ++m_nPos;
        skipBlanks();
        const char quote = at(m_nPos);
        if (quote == '"' || quote == '\'')
        {
            ++m_nPos;
            return textUpTo(quote) && ++m_nPos < m_text.size();
        }
        return !atEnd() && unquotedValue();
    }

    bool unquotedValue()
    {
        for (; !atEnd(); ++m_nPos)
        {
            const char c = at(m_nPos);
            if (isBlank(c) || c == '/' || c == '>')
            {
                return true;
            }
            if (c == '"' || c == '\'')
            {
                return false;
            }
        }
        return true;
    }

    // A "<" at the very end is an error to the parser.
    bool text() { return textUpTo('<') && m_nPos + 1 < m_text.size(); }

    // Stops at the end character; false if there is none.
    bool textUpTo(char end)
    {
        for (;;)
        {
            skipWhile([end](char c) { return c != end && c != '&'; });
            if (atEnd() || m_text[m_nPos] == end)
            {
                return !atEnd();
            }
            if (at(m_nPos + 1) != '#' || m_nPos + 2 >= m_text.size())
            {
                ++m_nPos;
            }
            else if (!characterReference())
            {
                return false;
            }
        }
    }

    // The parser looks for the next ";" and reads the digits backwards from there to the nearest "x" or "#",
    // whatever lies between that and the "&": a reference can swallow quotes and tags.
    bool characterReference()
    {
        const std::size_t start = m_nPos;
        const bool isHex = at(start + 2) == 'x';
        const char stop = isHex ? 'x' : '#';
        const std::size_t semicolon = m_text.find(';', start + (isHex ? 3 : 2));
        if (semicolon == std::string_view::npos)
        {
            return false;
        }
        std::size_t first = semicolon;
        for (; at(first - 1) != stop; --first)
        {
            const Octet octet = static_cast<Octet>(at(first - 1));
            if (!(isHex ? std::isxdigit(octet) : std::isdigit(octet)))
            {
                return false;
            }
        }
        const std::string_view digits = m_text.substr(first, semicolon - first);
        if (!isCharacterNumber(digits, isHex ? 16 : 10))
        {
            note("a reference to no character", start);
        }
        m_nPos = semicolon + 1;
        return true;
    }

    std::string_view m_text;
    std::size_t m_nPos = 0;
    std::size_t m_nOpen = 0;
    XmlShape m_stShape = {0, 0, {nullptr, 0}};
    std::array<std::string_view, kXmlDepthMax> m_names;
};

}  // namespace

bool isStrictUtf8(std::string_view text)
{
    return leadingUtf8(text) == text.size();
}

XmlShape xmlShape(std::string_view text)
{
    return ShapeScan(text).shape();
}

XmlFault xmlFault(std::string_view text)
{
    if (text.size() > kXmlBytesMax)
    {
        return {"too large", kXmlBytesMax};
    }
    const std::size_t length = leadingUtf8(text);
    return length < text.size() ? XmlFault{"no UTF-8", length} : xmlShape(text).fault;
}

bool isSafeXml(std::string_view text)
{
    return xmlFault(text).reason == nullptr;
}

}  // namespace config
