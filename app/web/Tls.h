#pragma once

#include <ctime>
#include <string>
#include <vector>

// Certificates and their keys, as PEM texts. Reentrant.
namespace web {

// TLS 1.2 and above.
constexpr char kTlsPriorities[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

// Certificates, the camera's own first, and its key, in one text. Throws std::runtime_error that names the file when one
// is missing, unreadable or something else, when they do not belong together, or when others may read the key or change
// it. Both may be the same file.
std::string readIdentity(const std::string& certificateFile, const std::string& keyFile);

// A new key, and a certificate that it signs itself, for these names and addresses.
std::string makeIdentity(const std::vector<std::string>& names);

// Of the first certificate: whether its time is over, or has not come; whether it names this numeric address.
bool isOver(const std::string& identity, std::time_t now = std::time(nullptr));
bool isFor(const std::string& identity, const std::string& address);

// SHA-256 of the first certificate: "AB:CD:…".
std::string fingerprintOf(const std::string& identity);

}  // namespace web
