#pragma once

#include <map>
#include <memory>
#include <string>

#include "app/web/Api.h"
#include "tests/unit/camera/CameraFixture.h"

namespace web_tests {

using Headers = std::map<std::string, std::string>;

// What the server makes of it. Its content is JSON unless the headers say otherwise.
web::Request request(const std::string& method, const std::string& target, const std::string& body = "",
                     const Headers& headers = {});

// Empty when there is none.
std::string headerOf(const web::Response& response, const std::string& name);

// A camera that stays in scheme 0, and what answers for it without users.
class ApiFixture : public support::CameraTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::unique_ptr<web::Api> api_;
};

}  // namespace web_tests
