#pragma once

#include <string>

#include "sensorplatform_export.h"

namespace host {

constexpr std::size_t kXmlSizeMax = 4 * 1024 * 1024;  // bytes
constexpr std::size_t kXmlDepthMax = 64;              // elements inside each other; TinyXML recurses
constexpr std::size_t kXmlAttributesMax = 256;        // of one element; TinyXML compares each with every other

// True for text that TinyXML reads the way it is meant: strict UTF-8 without NUL, within the limits, one root, tags
// that match, attribute values in quotes, declarations and numeric references that TinyXML cannot read beyond their
// end, nothing left open. Reentrant. Exported for the fuzzers.
SENSORPLATFORM_API bool isPlainXml(const std::string& text);

}  // namespace host
