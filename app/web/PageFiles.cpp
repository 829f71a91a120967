#include "app/web/PageFiles.h"

#include <filesystem>
#include <functional>

#include "app/web/Answers.h"
#include "app/web/RequestHead.h"
#include "camera/TextFile.h"

namespace web {
namespace {

namespace fs = std::filesystem;

// Scripts, styles and data come from this camera alone, nothing in the document itself is run, and no other page shows
// this one.
constexpr char kPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";
constexpr char kMethods[] = "GET, HEAD, OPTIONS";
constexpr char kIndex[] = "/index.html";

// Null for a file that no page is made of.
const char* typeOf(const std::string& extension)
{
    static const std::map<std::string, const char*> types = {
        {".css", "text/css; charset=utf-8"},       {".html", "text/html; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"}, {".svg", "image/svg+xml"},
        {".xml", "text/xml; charset=utf-8"},
    };
    const auto found = types.find(extension);
    return found == types.end() ? nullptr : found->second;
}

}  // namespace

PageFiles::PageFiles(const std::string& share)
{
    read(share + "/page", "");
    read(share + "/language", "/language");
}

void PageFiles::read(const std::string& folder, const std::string& path)
{
    std::error_code none;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, none))
    {
        const char* const type = typeOf(entry.path().extension().string());
        if (type == nullptr || !entry.is_regular_file())
        {
            continue;
        }
        const std::string body = camera::readExistingFile(entry.path().string(), camera::kDocumentMax);
        const std::string name = path + "/" + entry.path().lexically_relative(folder).generic_string();
        files_[name == kIndex ? "/" : name] = {type, body,
                                               "\"" + std::to_string(std::hash<std::string>()(body)) + "\""};
    }
}

std::optional<Response> PageFiles::answer(const Request& request) const
{
    const auto found = files_.find(request.path);
    if (found == files_.end())
    {
        return std::nullopt;
    }
    if (request.method == "OPTIONS")
    {
        return Response{204, "", "", {{"Allow", kMethods}}};
    }
    if (request.method != "GET" && request.method != "HEAD")
    {
        Response response = problem(405, "no-such-method", request.path + " answers to GET");
        response.headers.emplace_back("Allow", kMethods);
        return response;
    }
    const File& file = found->second;
    Response response = {200,
                         file.type,
                         file.body,
                         {{"ETag", file.tag},
                          {"Cache-Control", "no-cache"},
                          {"Content-Security-Policy", kPolicy},
                          {"Referrer-Policy", "same-origin"}}};
    if (names(request.header("if-none-match"), file.tag, true))
    {
        response.status = 304;
        response.type.clear();
        response.body.clear();
    }
    return response;
}

}  // namespace web
