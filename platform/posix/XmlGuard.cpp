#include "XmlGuard.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace host {
namespace {

constexpr std::size_t kNowhere = std::string::npos;
constexpr std::uint32_t kCharacterMax = 0x10FFFF;

// Length of the character at position, 0 for what is not shortest-form UTF-8 of a Unicode character other than NUL.
std::size_t utf8Length(const std::string& text, std::size_t position)
{
    const auto byte = [&](std::size_t offset) {
        return position + offset < text.size() ? static_cast<unsigned char>(text[position + offset]) : 0u;
    };
    const unsigned lead = byte(0);
    if (lead < 0x80)
    {
        return lead != 0 ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    unsigned second = byte(1);
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;  // no surrogates, nothing above 10FFFF
    if (lead < 0xC2 || lead > 0xF4 || second < low || second > high)
    {
        return 0;
    }
    for (std::size_t offset = 2; offset < length; ++offset)
    {
        second = byte(offset);
        if (second < 0x80 || second > 0xBF)
        {
            return 0;
        }
    }
    return length;
}

bool isUtf8(const std::string& text)
{
    std::size_t position = 0;
    while (position < text.size())
    {
        const std::size_t length = utf8Length(text, position);
        if (length == 0)
        {
            return false;
        }
        position += length;
    }
    return true;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool isNamePart(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
}

// Of ASCII letters only.
char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// A walk from tag to tag with the names of the open elements.
class Walk
{
public:
    explicit Walk(const std::string& text) : text_(text) {}

    bool run()
    {
        skip("\xEF\xBB\xBF");
        while (position_ < text_.size())
        {
            if (!(text_[position_] == '<' ? markup() : characters()))
            {
                return false;
            }
        }
        return roots_ == 1 && open_.empty();
    }

private:
    // Text: outside of the root only blanks.
    bool characters()
    {
        const std::size_t end = std::min(text_.find('<', position_), text_.size());
        bool good = hasOnlyCharacterReferences(position_, end);
        for (; position_ < end; ++position_)
        {
            good = good && (!open_.empty() || isBlank(text_[position_]));
        }
        return good;
    }

    bool markup()
    {
        if (skip("<!--"))
        {
            return skipTo("-->");
        }
        if (skip("<![CDATA["))
        {
            return !open_.empty() && skipTo("]]>");
        }
        if (isDeclaration())
        {
            return declaration();
        }
        if (skip("<?") || skip("<!"))
        {
            return skipShort();
        }
        return skip("</") ? endTag() : startTag();
    }

    // TinyXML takes everything that begins like this for one.
    bool isDeclaration() const
    {
        const char* const start = "<?xml";
        std::size_t matched = 0;
        while (matched < 5 && position_ + matched < text_.size() && lower(text_[position_ + matched]) == start[matched])
        {
            ++matched;
        }
        return matched == 5;
    }

    // TinyXML looks for three attributes in anything, quotes of other attributes included, and reads their values
    // beyond the end of the declaration: there may be these three and nothing else, and no value may hold markup.
    bool declaration()
    {
        position_ += 5;
        while (blanks())
        {
            if (skip("?>"))
            {
                return true;
            }
            if (!skip("version") && !skip("encoding") && !skip("standalone"))
            {
                return false;
            }
            blanks();
            const std::size_t begin = position_;
            if (!skip("=") || !value() || upTo(position_).find_first_of("<>&", begin) != kNowhere)
            {
                return false;
            }
        }
        return skip("?>");
    }

    // "<?…?>" and "<!…>": TinyXML lets both end at the first ">".
    bool skipShort()
    {
        const bool isInstruction = text_[position_ - 1] == '?';
        const std::size_t end = text_.find('>', position_);
        if (end == kNowhere || upTo(end).find_first_of("<[", position_) != kNowhere ||
            (isInstruction && text_[end - 1] != '?'))
        {
            return false;
        }
        position_ = end + 1;
        return true;
    }

    bool endTag()
    {
        const std::string element = name();
        if (open_.empty() || open_.back() != element)
        {
            return false;
        }
        open_.pop_back();
        blanks();
        return skip(">");
    }

    bool startTag()
    {
        ++position_;
        const std::string element = name();
        if (element.empty() || (open_.empty() && ++roots_ > 1) || open_.size() == kXmlDepthMax || !attributes())
        {
            return false;
        }
        if (skip("/>"))
        {
            return true;
        }
        open_.push_back(element);
        return skip(">");
    }

    bool attributes()
    {
        for (std::size_t count = 0; count <= kXmlAttributesMax; ++count)
        {
            const bool isApart = blanks();
            if (name().empty())
            {
                return true;
            }
            blanks();
            if (!isApart || !skip("=") || !value())
            {
                return false;
            }
        }
        return false;
    }

    bool value()
    {
        blanks();
        const char quote = position_ < text_.size() ? text_[position_] : '\0';
        if (quote != '"' && quote != '\'')
        {
            return false;
        }
        const std::size_t end = text_.find(quote, position_ + 1);
        if (end == kNowhere || upTo(end).find('<', position_) != kNowhere ||
            !hasOnlyCharacterReferences(position_, end))
        {
            return false;
        }
        position_ = end + 1;
        return true;
    }

    // TinyXML takes everything up to the next ";" for the digits, tags and quotes as well, and turns a number that is
    // not a character into bytes that are not UTF-8.
    bool hasOnlyCharacterReferences(std::size_t begin, std::size_t end) const
    {
        const std::string_view part = upTo(end);
        for (std::size_t mark = part.find("&#", begin); mark != kNowhere; mark = part.find("&#", mark + 2))
        {
            if (!isCharacterReference(mark + 2))
            {
                return false;
            }
        }
        return true;
    }

    // From behind the "&#".
    bool isCharacterReference(std::size_t position) const
    {
        const bool isHex = text_.compare(position, 1, "x") == 0;
        const std::string digits = isHex ? "0123456789abcdef" : "0123456789";
        std::uint32_t number = 0;
        for (position += isHex ? 1 : 0; position < text_.size() && number <= kCharacterMax; ++position)
        {
            const std::size_t digit = digits.find(lower(text_[position]));
            if (digit == kNowhere)
            {
                break;
            }
            number = number * static_cast<std::uint32_t>(digits.size()) + static_cast<std::uint32_t>(digit);
        }
        const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
        return text_.compare(position, 1, ";") == 0 && number != 0 && number <= kCharacterMax && !isSurrogate;
    }

    std::string name()
    {
        const std::size_t begin = position_;
        while (position_ < text_.size() &&
               (position_ == begin ? isNameStart(text_[position_]) : isNamePart(text_[position_])))
        {
            ++position_;
        }
        return text_.substr(begin, position_ - begin);
    }

    bool blanks()
    {
        const std::size_t begin = position_;
        while (position_ < text_.size() && isBlank(text_[position_]))
        {
            ++position_;
        }
        return position_ > begin;
    }

    bool skip(const char* mark)
    {
        const bool isHere = text_.compare(position_, std::strlen(mark), mark) == 0;
        position_ += isHere ? std::strlen(mark) : 0;
        return isHere;
    }

    // The text up to a position: a search in it cannot run on to the end of the whole text.
    std::string_view upTo(std::size_t end) const { return std::string_view(text_).substr(0, end); }

    bool skipTo(const char* mark)
    {
        const std::size_t end = text_.find(mark, position_);
        position_ = end == kNowhere ? text_.size() : end + std::strlen(mark);
        return end != kNowhere;
    }

    const std::string& text_;
    std::size_t position_ = 0;
    int roots_ = 0;
    std::vector<std::string> open_;
};

}  // namespace

bool isPlainXml(const std::string& text)
{
    return text.size() <= kXmlSizeMax && isUtf8(text) && Walk(text).run();
}

}  // namespace host
