#include <cstdint>
#include <string>

#include "XmlGuard.h"
#include "config/XmlCheck.h"
#include "config/XmlDocument.h"
#include "fuzz/Require.h"
#include "fuzz/XmlTree.h"

// What is checked before the XML parser sees a text, against the parser itself.
// Input: the text.

namespace {

static_assert(config::kXmlBytesMax == host::kXmlSizeMax && config::kXmlAttributesMax == host::kXmlAttributesMax,
              "a document that the library reads is not too large for the host, and the other way round");

// One character, or nothing if the bytes are none in their shortest form.
std::string encoded(std::uint32_t character)
{
    const auto tail = [character](int shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80)
    {
        return {static_cast<char>(character)};
    }
    if (character < 0x800)
    {
        return {static_cast<char>(0xC0 | character >> 6), tail(0)};
    }
    if (character < 0x10000)
    {
        return {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

// The definition from the other side: a text is UTF-8 if writing what was read gives the same bytes.
bool isUtf8ByDefinition(const std::string& text)
{
    for (std::size_t i = 0; i < text.size();)
    {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t character = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t k = 1; k < length; ++k)
        {
            const unsigned char next = i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0;
            character = character << 6 | (next & 0x3Fu);
        }
        const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
        if (character == 0 || isSurrogate || character > 0x10FFFF || text.compare(i, length, encoded(character)) != 0)
        {
            return false;
        }
        i += length;
    }
    return true;
}

void requireSafe(const std::string& text)
{
    TiXmlDocument document;
    const bool isWhole = fuzz::parse(text, document);
    const fuzz::TreeShape tree = fuzz::shapeOf(document);
    const config::XmlShape counted = config::xmlShape(text);
    FUZZ_REQUIRE(tree.depth <= counted.depth && counted.depth <= config::kXmlDepthMax);
    FUZZ_REQUIRE(tree.attributes <= counted.attributes && counted.attributes <= config::kXmlAttributesMax);
    FUZZ_REQUIRE(!isWhole || (tree.depth == counted.depth && tree.attributes == counted.attributes));
}

void requireLoaded(const std::string& text, bool isSafe)
{
    XmlDocument document;
    const bool isLoaded = document.LoadMem(text, TIXML_ENCODING_UTF8);
    FUZZ_REQUIRE(isSafe || !isLoaded);
    FUZZ_REQUIRE(isLoaded || document.document()->NoChildren());
    const std::string printed = document.getXmlString();
    FUZZ_REQUIRE(printed.empty() || config::isSafeXml(printed));
    TiXmlDocument again;
    FUZZ_REQUIRE(!isLoaded || printed.empty() || fuzz::parse(printed, again) ||
                 fuzz::hasUnprintableDeclaration(*document.document()));
}

// Of a text that the parser may see the merge uses what it read, an error or not.
void requirePart(const std::string& text, bool isSafe)
{
    XmlDocument document;
    TiXmlDocument whole;
    const bool isLoaded = document.LoadMem(text.c_str(), TIXML_ENCODING_UTF8, XmlDocument::OnError::keepPart);
    FUZZ_REQUIRE(isLoaded == (isSafe && fuzz::parse(text, whole)));
    FUZZ_REQUIRE(fuzz::outlineBelow(*document.document()) == fuzz::outlineBelow(whole));
}

// The place of a fault lies in the text, and what stands before it has none of that kind.
void requirePlace(const std::string& text)
{
    const config::XmlFault fault = config::xmlFault(text);
    FUZZ_REQUIRE(fault.reason == nullptr || fault.position < text.size());
    const std::string before = text.substr(0, fault.position);
    FUZZ_REQUIRE(fault.reason == nullptr || config::isStrictUtf8(before));
    const config::XmlFault earlier = config::xmlFault(before);
    FUZZ_REQUIRE(earlier.reason == nullptr || fault.reason == nullptr || earlier.position < fault.position);
}

void requirePlain(const std::string& text)
{
    FUZZ_REQUIRE(config::isSafeXml(text));
    TiXmlDocument document;
    // An attribute that comes twice is left for the parser to refuse.
    FUZZ_REQUIRE(!fuzz::parse(text, document) || fuzz::rootsOf(document) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    FUZZ_REQUIRE(config::isStrictUtf8(text) == isUtf8ByDefinition(text));
    const bool isSafe = config::isSafeXml(text);
    FUZZ_REQUIRE(!isSafe || config::isStrictUtf8(text));
    if (isSafe)
    {
        requireSafe(text);
    }
    requireLoaded(text, isSafe);
    requirePlace(text);
    if (text.find('\0') == std::string::npos)
    {
        requirePart(text, isSafe);
    }
    if (host::isPlainXml(text))
    {
        requirePlain(text);
    }
    return 0;
}
