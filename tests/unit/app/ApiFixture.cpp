#include "tests/unit/app/ApiFixture.h"

#include "app/web/RequestHead.h"

namespace web_tests {

web::Request request(const std::string& method, const std::string& target, const std::string& body,
                     const Headers& headers)
{
    web::Request request;
    request.method = method;
    EXPECT_TRUE(web::readTarget(target, request)) << target;
    request.headers = headers;
    request.headers.emplace("content-type", "application/json");
    request.body = body;
    return request;
}

std::string headerOf(const web::Response& response, const std::string& name)
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

void ApiFixture::SetUp()
{
    CameraTest::SetUp();
    bringUp();
    c().setMode(false);
    c().setScheme(0);
    api_ = std::make_unique<web::Api>(c(), web::Api::Settings());
}

void ApiFixture::TearDown()
{
    api_.reset();
    CameraTest::TearDown();
}

}  // namespace web_tests
