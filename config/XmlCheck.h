#pragma once

#include <cstddef>
#include <string_view>

// What a text must be before the XML parser sees it: the parser reads past its end on broken UTF-8, stops in the
// middle at a NUL, recurses once per level of nesting, compares every attribute of an element with every other, and
// turns a reference to a number that is not a character into bytes that are not UTF-8.
namespace config {

constexpr std::size_t kXmlBytesMax = 4u << 20;  // far above any style document of a camera with little memory
constexpr std::size_t kXmlAttributesMax = 256;  // on one element; 40,000 keep the parser busy for five seconds

// The parser takes most of the stack for a level; copying, deleting and printing a document and the walks of this
// folder take less. A thread of 128 KiB, which is what musl gives, stands 546 levels with Debian's parser on x86-64 and
// 779 on 32-bit ARM; of a parser compiled without optimisation 476 and 865 with g++, 293 with clang++.
constexpr std::size_t kXmlDepthMax = 256;

// Why a text must not reach the parser, and the byte at which the fault lies. Without a reason the text is safe.
struct XmlFault
{
    const char* reason;
    std::size_t position;
};

// Shortest forms only, no surrogates, nothing above U+10FFFF, nothing cut off, no NUL. Reentrant.
bool isStrictUtf8(std::string_view text);

struct XmlShape
{
    std::size_t depth;       // levels of elements that the parser would descend, the root being 1
    std::size_t attributes;  // the most on one element
    XmlFault fault;          // the first element that is too deep or has too many of them, or the first numeric
                             // reference to a NUL, a surrogate or beyond U+10FFFF
};

// Follows the parser's own reading of malformed text, so that nothing hides from the count; what follows the
// parser's first error does not count. Ends with depth kXmlDepthMax + 1 at the first element below kXmlDepthMax.
// The text must be strict UTF-8. Reentrant.
XmlShape xmlShape(std::string_view text);

// All of the above and the size. Reentrant.
XmlFault xmlFault(std::string_view text);
bool isSafeXml(std::string_view text);

}  // namespace config
