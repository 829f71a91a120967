#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/web/Http.h"

// Who may come in without a password: this machine, and none of the pages that its browser shows. Reentrant.
namespace web {

// 127.0.0.0/8, ::1.
bool isLoopback(const std::string& address);

// Nothing when the request may pass. Through the Unix socket everything may: its mode says who. Through a port a
// request must name this camera as its Host, or a page elsewhere could have had its own name changed to this address;
// and one that changes something, if a browser says on whose behalf, must come from a page of this camera or of one of
// the allowed origins ("http://host:port").
std::optional<Response> refuse(const Request& request, const std::vector<std::string>& allowedOrigins);

// What lets a page of an allowed origin read the answer; nothing for others.
std::vector<std::pair<std::string, std::string>> sharingHeaders(const Request& request,
                                                                const std::vector<std::string>& allowedOrigins);

}  // namespace web
