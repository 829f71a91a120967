#pragma once

#include <map>
#include <optional>
#include <string>

#include "app/web/Http.h"

namespace web {

// The console in a browser: the files of share/page, and those of share/language, which it needs before anybody has
// logged in. Everybody may read them; they are read once, so that no path leads anywhere else. Reentrant.
class PageFiles
{
public:
    // Without these folders it has no files. Throws camera::Failure for a file that cannot be read.
    explicit PageFiles(const std::string& share);

    // Nothing when the path is none of its files.
    std::optional<Response> answer(const Request& request) const;

private:
    struct File
    {
        const char* type;
        std::string body;
        std::string tag;  // of the content, without quotes
    };

    void read(const std::string& folder, const std::string& path);

    std::map<std::string, File> files_;  // by path: "/", "/style.css"
};

}  // namespace web
