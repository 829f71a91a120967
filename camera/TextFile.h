#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "XmlGuard.h"

namespace camera {

constexpr std::size_t kDocumentMax = host::kXmlSizeMax;  // bytes; what is longer does not get to the XML parser

// The whole file; nothing when there is none. Throws Failure when it is no plain file, or longer than that many bytes:
// neither a named pipe nor an endless file holds the caller up. Reentrant.
std::optional<std::string> readFile(const std::string& path, std::size_t longest);

// The same of a file that must be there.
std::string readExistingFile(const std::string& path, std::size_t longest);

}  // namespace camera
