#include "app/web/PageFiles.h"

#include <zlib.h>

#include <filesystem>
#include <functional>
#include <sstream>

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

// Whether an Accept-Encoding names gzip, and not with the quality 0.
bool takesGzip(const std::string& encodings)
{
    std::istringstream list(encodings);
    for (std::string item; std::getline(list, item, ',');)
    {
        const std::size_t end = std::min(item.find(';'), item.size());
        const std::size_t quality = item.find("q=0", end);
        std::string coding = item.substr(0, end);
        coding.erase(0, coding.find_first_not_of(" \t"));
        coding.erase(coding.find_last_not_of(" \t") + 1);
        if (coding == "gzip")
        {
            return quality == std::string::npos || item.find_first_of("123456789", quality) != std::string::npos;
        }
    }
    return false;
}

std::string gzipOf(const std::string& text)
{
    constexpr int kGzip = 16;  // in the window's bits: with its head
    constexpr int kMemory = 8;
    z_stream stream = {};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzip, kMemory, Z_DEFAULT_STRATEGY) !=
        Z_OK)
    {
        throw std::bad_alloc();
    }
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);  // there is room for all of it
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
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
        files_[name == kIndex ? "/" : name] = {type, body, std::to_string(std::hash<std::string>()(body))};
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
    const bool isPacked = takesGzip(request.header("accept-encoding"));
    const std::string tag = "\"" + file.tag + (isPacked ? "-gzip\"" : "\"");
    Response response = {200,
                         file.type,
                         "",
                         {{"ETag", tag},
                          {"Vary", "Accept-Encoding"},
                          {"Cache-Control", "no-cache"},
                          {"Content-Security-Policy", kPolicy},
                          {"Referrer-Policy", "same-origin"}}};
    if (names(request.header("if-none-match"), tag, true))
    {
        response.status = 304;
        response.type.clear();
        return response;
    }
    response.body = isPacked ? gzipOf(file.body) : file.body;
    if (isPacked)
    {
        response.headers.emplace_back("Content-Encoding", "gzip");
    }
    return response;
}

}  // namespace web
