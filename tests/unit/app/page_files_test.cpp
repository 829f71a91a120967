#include "app/web/PageFiles.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>

namespace web {
namespace {

class PageFilesTest : public testing::Test
{
protected:
    PageFilesTest()
    {
        put("page/index.html", "<!doctype html>");
        put("page/pages/live.js", "export {};");
        put("page/style.css", "body {}");
        put("page/icon.svg", "<svg/>");
        put("page/notes.txt", "not a part of it");
        put("language/en/common.xml", "<texts/>");
        put("models/fixed/moduleConfig.xml", "<Modules/>");
        put("secret.xml", "<secret/>");
    }
    ~PageFilesTest() override { std::filesystem::remove_all(kShare); }

    static void put(const std::string& name, const std::string& text)
    {
        const std::filesystem::path path = std::string(kShare) + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    static std::optional<Response> ask(const std::string& path, const std::string& method = "GET",
                                       const std::string& tag = "", const std::string& encodings = "")
    {
        Request request;
        request.method = method;
        request.path = path;
        request.headers["if-none-match"] = tag;
        request.headers["accept-encoding"] = encodings;
        return PageFiles(kShare).answer(request);
    }

    static std::string headerOf(const Response& response, const std::string& name)
    {
        for (const auto& [known, value] : response.headers)
        {
            if (known == name)
            {
                return value;
            }
        }
        return "";
    }

    static std::string unpacked(const std::string& body)
    {
        z_stream stream = {};
        EXPECT_EQ(inflateInit2(&stream, MAX_WBITS + 16), Z_OK);
        std::string text(100'000, '\0');
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
        stream.avail_in = static_cast<uInt>(body.size());
        stream.next_out = reinterpret_cast<Bytef*>(text.data());
        stream.avail_out = static_cast<uInt>(text.size());
        EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
        text.resize(stream.total_out);
        inflateEnd(&stream);
        return text;
    }

    static constexpr char kShare[] = "/tmp/share";
};

TEST_F(PageFilesTest, AFileHasItsTypeByItsName)
{
    EXPECT_EQ(ask("/")->type, "text/html; charset=utf-8");
    EXPECT_EQ(ask("/")->body, "<!doctype html>");
    EXPECT_EQ(ask("/pages/live.js")->type, "text/javascript; charset=utf-8");
    EXPECT_EQ(ask("/style.css")->type, "text/css; charset=utf-8");
    EXPECT_EQ(ask("/icon.svg")->type, "image/svg+xml");
    EXPECT_EQ(ask("/language/en/common.xml")->type, "text/xml; charset=utf-8");
}

TEST_F(PageFilesTest, NothingElseIsThere)
{
    for (const char* path : {"/index.html", "/notes.txt", "/secret.xml", "/../secret.xml", "/pages/../../secret.xml",
                             "/language/../secret.xml", "//style.css", "/pages", "/pages/",
                             "/models/fixed/moduleConfig.xml", "style.css", ""})
    {
        EXPECT_EQ(ask(path), std::nullopt) << path;
    }
}

TEST_F(PageFilesTest, EveryFileSaysThatNothingIsLoadedFromElsewhere)
{
    for (const char* path : {"/", "/style.css", "/language/en/common.xml"})
    {
        EXPECT_EQ(headerOf(*ask(path), "Content-Security-Policy"),
                  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
                  "base-uri 'none'; form-action 'none'; frame-ancestors 'none'")
            << path;
    }
}

TEST_F(PageFilesTest, WhoeverHasTheFileIsToldSo)
{
    const std::string tag = headerOf(*ask("/style.css"), "ETag");
    const std::optional<Response> same = ask("/style.css", "GET", "W/" + tag);
    EXPECT_EQ(same->status, 304);
    EXPECT_EQ(same->body, "");
    EXPECT_EQ(headerOf(*same, "ETag"), tag);
    put("page/style.css", "body { margin: 0 }");
    EXPECT_EQ(ask("/style.css", "GET", tag)->status, 200);
}

TEST_F(PageFilesTest, WhoeverTakesItPackedGetsItSo)
{
    const std::string style(10'000, ' ');
    put("page/style.css", style);
    for (const char* encodings : {"gzip", "gzip, deflate, br", "br;q=1.0 , gzip;q=0.8", "gzip;q=0.001"})
    {
        const std::optional<Response> packed = ask("/style.css", "GET", "", encodings);
        EXPECT_EQ(headerOf(*packed, "Content-Encoding"), "gzip") << encodings;
        EXPECT_LT(packed->body.size(), 100u);
        EXPECT_EQ(unpacked(packed->body), style);
        EXPECT_EQ(ask("/style.css", "GET", headerOf(*packed, "ETag"), encodings)->status, 304);
        EXPECT_EQ(ask("/style.css", "GET", headerOf(*packed, "ETag"))->status, 200) << "the plain one is another";
    }
    for (const char* encodings : {"", "br", "xgzip", "gzip;q=0", "gzip;q=0.000", "identity"})
    {
        const std::optional<Response> plain = ask("/style.css", "GET", "", encodings);
        EXPECT_EQ(headerOf(*plain, "Content-Encoding"), "") << encodings;
        EXPECT_EQ(plain->body, style);
        EXPECT_EQ(headerOf(*plain, "Vary"), "Accept-Encoding");
    }
}

TEST_F(PageFilesTest, AFileIsOnlyRead)
{
    EXPECT_EQ(ask("/", "HEAD")->status, 200);
    const std::optional<Response> refused = ask("/", "PUT");
    EXPECT_EQ(refused->status, 405);
    EXPECT_EQ(headerOf(*refused, "Allow"), "GET, HEAD, OPTIONS");
    EXPECT_EQ(headerOf(*ask("/", "OPTIONS"), "Allow"), "GET, HEAD, OPTIONS");
}

TEST_F(PageFilesTest, WithoutItsFoldersThereIsNoPage)
{
    std::filesystem::remove_all(kShare);
    EXPECT_EQ(ask("/"), std::nullopt);
}

}  // namespace
}  // namespace web
