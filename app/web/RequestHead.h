#pragma once

#include <optional>
#include <string>

#include "app/web/Http.h"

// What can be wrong with a request before any of its body has been read. Reentrant.
namespace web {

// A header line as it came.
struct HeaderLine
{
    std::string name;
    std::string value;
};

// Path and query of a request line's target, decoded strictly. False when it is no path, or has a bad escape or
// a control character in it.
bool readTarget(const std::string& target, Request& request);

// Takes the header lines over. Nothing when they are well; otherwise the answer: a name that is none, two lengths, a
// length beside a transfer encoding, no host or two, a body longer than mostBody. What a proxy in front could read in
// two ways is refused, because what it took for one request could be two here.
std::optional<Response> readHead(const std::vector<HeaderLine>& lines, std::size_t mostBody, Request& request);

// An answer of the server itself, as application/problem+json, with a hint what to do where the code has one.
Response problem(int status, const std::string& code, const std::string& detail);

}  // namespace web
