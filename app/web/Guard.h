#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/web/Http.h"
#include "app/web/Sessions.h"

// Who may come in. Reentrant.
namespace web {

// What a port is open to.
struct Door
{
    bool loopback = true;  // this machine alone
    bool tls = false;
    std::vector<std::string> origins = {};  // of pages that may use the camera beside its own: "http://host:port"
    std::string address = "127.0.0.1";      // that the port is bound to
};

// "http://host:8080" of "HTTP://Host:8080", as browsers send it. Nothing when it is no origin of a page: "null" is that
// of any page which has none.
std::optional<std::string> originOf(const std::string& text);

// 127.0.0.0/8, ::1.
bool isLoopback(const std::string& address);

// Nothing when the request may pass. Through the Unix socket everything may: its mode says who. Through a port of
// loopback a request must name this camera as its Host, or a page elsewhere could have had its own name changed to this
// address; through any port one that changes something, if a browser says on whose behalf, must come from a page of
// this camera or of one of the allowed origins.
std::optional<Response> refuse(const Request& request, const Door& door);

// Whoever sends the request: by "Authorization: Bearer TOKEN", otherwise by cookie. Through the Unix socket, and where
// there are no sessions, everybody is an administrator.
Visitor visitorOf(const Request& request, Sessions* sessions);

// Nothing when the visitor may do what needs this role.
std::optional<Response> refuse(const Request& request, const Visitor& visitor, Role needed);

// Of the session: browsers do not keep those of two ports apart, and take this prefix only over TLS and for all paths.
std::string cookieName(const Request& request);

// What lets a page of an allowed origin read the answer, and what holds a browser to TLS.
std::vector<std::pair<std::string, std::string>> guardHeaders(const Request& request, const Door& door);

}  // namespace web
