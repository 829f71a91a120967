#include <gtest/gtest.h>

#include <thread>

#include "SensorPaths.h"
#include "app/web/RequestHead.h"
#include "tests/unit/app/ApiFixture.h"

namespace web {
namespace {

using app::Json;
using web_tests::headerOf;

// What a client gets for a request on the Unix socket, without a server between.
class ApiTest : public web_tests::ApiFixture
{
protected:
    Response ask(const std::string& method, const std::string& target, const Json& body = nullptr,
                 const web_tests::Headers& headers = {})
    {
        return answer(web_tests::request(method, target, body.is_null() ? "" : body.dump(), headers));
    }

    // A body as it is, to the values of the scheme in force.
    Response send(const std::string& body, const std::string& type = "application/json")
    {
        return answer(web_tests::request("PATCH", "/api/parameters", body, {{"content-type", type}}));
    }

    // The body of an answer that must have this status.
    Json json(const std::string& method, const std::string& path, const Json& body = nullptr, int status = 200)
    {
        const Response response = ask(method, path, body);
        EXPECT_EQ(response.status, status) << method << " " << path << "\n" << response.body;
        EXPECT_EQ(response.type, status == 200 ? "application/json" : "application/problem+json");
        return Json::parse(response.body, nullptr, false);
    }

private:
    Response answer(Request request)
    {
        request.peer.local = true;
        return api_->answer(request);
    }
};

TEST_F(ApiTest, ValuesAreAppliedInOrderAndRemembered)
{
    const Json answer = json("PATCH", "/api/parameters", {{"brightness", 61}, {"KEY_MIRROR", "both"}, {"2353", 40}});
    EXPECT_EQ(answer["values"][0]["outcome"], "applied");
    EXPECT_EQ(answer["values"][1]["value"], 3);
    EXPECT_EQ(answer["values"][2]["name"], "KEY_CONTRAST");
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
}

TEST_F(ApiTest, ARefusedValueSaysWhatIsAllowedAndWhatWasApplied)
{
    const Json problem = json("PATCH", "/api/parameters", {{"brightness", 61}, {"contrast", 300}}, 422);
    EXPECT_EQ(problem["code"], "refused-value");
    EXPECT_EQ(problem["status"], 422);
    EXPECT_EQ(problem["key"], KEY_CONTRAST);
    EXPECT_EQ(problem["allowed"]["maximum"], 100);
    EXPECT_EQ(problem["result"]["values"][0]["outcome"], "applied");
}

TEST_F(ApiTest, ADryRunChangesNothing)
{
    EXPECT_EQ(json("PATCH", "/api/parameters?dry-run=true", {{"brightness", 61}})["values"][0]["outcome"], "applied");
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, ADryRunOfATrialAnswersAsTheTrialWould)
{
    const Json values = {{"brightness", 61}, {"contrast", 50}};
    Json told = json("PATCH", "/api/parameters?keep=false&dry-run=true", values);
    EXPECT_EQ(json("GET", "/api/trials").dump(), R"({"trials":[]})");
    Json tried = json("PATCH", "/api/parameters?keep=false", values);
    const std::string id = tried["trial"]["trial"].dump();
    tried.erase("trial");
    EXPECT_EQ(told.dump(), tried.dump());
    EXPECT_EQ(json("PATCH", "/api/parameters?keep=false&dry-run=true", values, 409)["code"], "on-trial");
    json("PATCH", "/api/parameters?keep=false&dry-run=true&trial=" + id, values);
    for (const char* none : {"abc", "-1", "0"})
    {
        EXPECT_EQ(
            json("PATCH", std::string("/api/parameters?keep=false&dry-run=true&trial=") + none, values, 404)["detail"],
            std::string("no trial ") + none + " is open; when one ends, what is remembered is sent again");
    }
}

TEST_F(ApiTest, WhatIsNotKeptIsOnTheSensorAlone)
{
    json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}});
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
}

TEST_F(ApiTest, ATrialIsHeldExtendedListedAndKept)
{
    const Json begun = json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}})["trial"];
    const std::string id = begun["trial"].dump();
    const std::string values = R"("values":[{"key":34,"name":"KEY_BRIGHTNESS","value":61}]})";
    const std::string head = R"({"trial":)" + id + R"(,"by":"socket","scheme":0,"seconds":15,"secondsLeft":)";
    EXPECT_EQ(begun.dump(), head + "15.0," + values);
    clock_->advance(std::chrono::seconds(10));
    EXPECT_EQ(json("GET", "/api/trials").dump(), R"({"trials":[)" + head + "5.0," + values + "]}");
    EXPECT_EQ(json("PUT", "/api/trials/" + id).dump(), head + "15.0," + values);
    json("PATCH", "/api/parameters?keep=false&trial=" + id, {{"contrast", 62}});
    EXPECT_EQ(json("POST", "/api/trials/" + id + "/keep")["values"][1]["outcome"], "applied");
    EXPECT_EQ(c().schemeValue(0, KEY_CONTRAST), 62);
    EXPECT_EQ(json("GET", "/api/trials").dump(), R"({"trials":[]})");
}

// A device that does not answer must not end it.
TEST_F(ApiTest, ATrialIsHeldWithoutWaitingForTheCamera)
{
    const auto lane = [this](const char* method, const char* path) {
        Request request;
        request.method = method;
        request.path = path;
        return api_->lane(request);
    };
    EXPECT_EQ(lane("PUT", "/api/trials/7"), Handler::Lane::aside);
    EXPECT_EQ(lane("GET", "/api/trials"), Handler::Lane::aside);
    EXPECT_EQ(lane("DELETE", "/api/trials/7"), Handler::Lane::change);
}

TEST_F(ApiTest, ATrialIsUndone)
{
    const std::string id = json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}})["trial"]["trial"].dump();
    EXPECT_EQ(json("DELETE", "/api/trials/" + id).dump(), R"({"trials":[]})");
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    for (const auto& [method, path] : std::vector<std::pair<std::string, std::string>>{
             {"DELETE", "/api/trials/" + id}, {"PUT", "/api/trials/" + id}, {"POST", "/api/trials/" + id + "/keep"}})
    {
        EXPECT_EQ(json(method, path, nullptr, 404)["code"], "no-trial");
    }
    EXPECT_EQ(json("PATCH", "/api/parameters?keep=false&trial=" + id, {{"contrast", 62}}, 404)["code"], "no-trial");
    EXPECT_EQ(json("PATCH", "/api/parameters?keep=false&trial=x", {{"contrast", 62}}, 404)["code"], "no-trial");
    EXPECT_EQ(json("PATCH", "/api/parameters?trial=" + id, {{"contrast", 62}}, 400)["code"], "bad-value");
}

TEST_F(ApiTest, AKeyThatSomebodyElseTriesOutIsRefused)
{
    const std::string id = json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}})["trial"]["trial"].dump();
    const Json refused = json("PATCH", "/api/parameters?keep=false", {{"brightness", 62}}, 409);
    EXPECT_EQ(refused.dump(), R"({"code":"on-trial","detail":"KEY_BRIGHTNESS is tried out in trial )" + id +
                                  R"(; nothing was applied","hint":"GET /api/trials says who tries it and how long; )"
                                  R"(wait, or set it to stay","status":409})");
}

TEST_F(ApiTest, AnAbandonedTrialEndsAndIsTold)
{
    const std::shared_ptr<Source> reader = ask("GET", "/api/events").source;
    json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}});
    ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
    clock_->advance(std::chrono::seconds(15));
    ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    const std::string events = *reader->next();
    EXPECT_NE(events.find(R"("state":"begun")"), std::string::npos) << events;
    EXPECT_NE(events.find(R"("state":"expired")"), std::string::npos) << events;
}

TEST_F(ApiTest, ATrialThatARefusedValueEndsEarlyIsNamedBesideTheReason)
{
    const Json problem = json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}, {"contrast", 300}}, 422);
    EXPECT_EQ(problem["result"]["trial"]["values"].size(), 1u);
}

TEST_F(ApiTest, BodiesThatAreNoListOfValuesAreRefusedAndChangeNothing)
{
    for (const char* body :
         {"", "[]", "1", "{", "{}", "{\"brightness\":1.5}", "{\"brightness\":null}", "{\"brightness\":99999999999}",
          "{\"brightness\":1,\"34\":2}", "{\"brightness\":\"much\"}", "{\"brightness\":{}}", "\xff"})
    {
        EXPECT_EQ(send(body).status, 400) << body;
    }
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, AMemberGivenTwiceIsRefused)
{
    EXPECT_EQ(send(R"({"brightness":61,"contrast":1,"brightness":62})").status, 400);
    EXPECT_EQ(send(R"({"brightness":{"a":1,"a":1}})").status, 400);
    EXPECT_NE(send(R"({"brightness":61,"brightness":61})").body.find(R"(\"brightness\" is given twice)"),
              std::string::npos);
    EXPECT_EQ(send("{\"brightness\":61}" + std::string(1, '\0')).status, 400);
    EXPECT_EQ(send("{\"brightness\":61}" + std::string(1, '\0') + "x").status, 400);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, AMediaTypeIgnoresCaseAndBlanks)
{
    for (const char* type : {"Application/JSON", "application/json ; charset=utf-8", "application/json;charset=utf-8",
                             "application/Merge-Patch+json"})
    {
        EXPECT_EQ(send(R"({"brightness":61})", type).status, 200) << type;
    }
    for (const char* type : {"application/jsonp", "", ";application/json", "application/json x"})
    {
        EXPECT_EQ(send(R"({"brightness":61})", type).status, 415) << type;
    }
}

TEST_F(ApiTest, AWholeNumberIsOneHoweverItIsWritten)
{
    for (const char* number : {"60.0", "6e1", "600e-1"})
    {
        c().apply({{KEY_BRIGHTNESS, 50}});
        EXPECT_EQ(send(std::string(R"({"brightness":)") + number + "}").status, 200) << number;
        EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 60) << number;
    }
    for (const char* number : {"60.5", "1e300", "2147483648", "-2147483649", "1e-9", "18446744073709551615"})
    {
        EXPECT_EQ(send(std::string(R"({"brightness":)") + number + "}").status, 400) << number;
    }
    Json document = json("GET", "/api/export");
    document["schemes"][0]["values"]["KEY_BRIGHTNESS"] = 61.0;
    EXPECT_EQ(json("POST", "/api/import", document)["schemes"][0]["stored"], "done");
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
}

TEST_F(ApiTest, AQueryThatMeansNothingIsRefused)
{
    const Json document = json("GET", "/api/export");
    c().apply({{KEY_BRIGHTNESS, 61}});
    const Json problem = json("POST", "/api/import?dryrun=true", document, 400);
    EXPECT_EQ(problem["code"], "bad-request");
    EXPECT_EQ(problem["detail"], "the query has \"dryrun\", which means nothing here");
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
    json("GET", "/api/status?keep=false", nullptr, 400);
    json("PATCH", "/api/parameters?keep=true&dry-run=true", {{"brightness", 62}});
}

TEST_F(ApiTest, ADeepBodyIsRefused)
{
    EXPECT_EQ(send("{\"brightness\":" + std::string(500'000, '[') + std::string(500'000, ']') + "}").status, 400);
}

TEST_F(ApiTest, ABodyThatIsNotSaidToBeJsonIsRefused)
{
    const Response response = ask("PATCH", "/api/parameters", {{"brightness", 61}}, {{"content-type", "text/plain"}});
    EXPECT_EQ(response.status, 415);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, AKeyIsExplainedRestoredAndSetToItsFactoryValue)
{
    c().apply({{KEY_BRIGHTNESS, 61}});
    const Json explained = json("GET", "/api/parameters/brightness");
    EXPECT_EQ(explained["value"], 61);
    EXPECT_EQ(explained["saved"], 50);
    EXPECT_EQ(explained["factory"], 50);
    EXPECT_EQ(json("POST", "/api/parameters/34/restore")["value"], 61);
    json("POST", "/api/parameters/34/default");
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
    EXPECT_EQ(json("GET", "/api/parameters/nonsense", nullptr, 404)["code"], "unknown-key");
}

TEST_F(ApiTest, SchemesAndModes)
{
    EXPECT_EQ(json("GET", "/api/scheme")["scheme"], 0);
    EXPECT_EQ(json("PUT", "/api/scheme", {{"scheme", 2}})["scheme"], 2);
    EXPECT_EQ(c().currentScheme(), 2);
    EXPECT_EQ(json("PUT", "/api/scheme", {{"scheme", 9}}, 404)["code"], "unknown-scheme");
    EXPECT_EQ(json("PUT", "/api/scheme", {{"scheme", "2"}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("GET", "/api/mode")["mode"], "manual");
    EXPECT_EQ(json("PUT", "/api/mode", {{"mode", "auto"}})["mode"], "auto");
    EXPECT_EQ(json("PUT", "/api/mode", {{"mode", "maybe"}}, 400)["code"], "bad-value");
}

TEST_F(ApiTest, ValuesOfAnotherSchemeAreStoredAndThoseInForceStay)
{
    const Json stored = json("PUT", "/api/schemes/1", {{"brightness", 70}});
    EXPECT_EQ(stored["scheme"], 1);
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 70);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
    EXPECT_EQ(json("GET", "/api/schemes/1")["scheme"], 1);
    EXPECT_EQ(json("PUT", "/api/schemes/4", {{"brightness", 70}}, 404)["code"], "unknown-scheme");
}

TEST_F(ApiTest, AValueThatASchemeDoesNotTakeIsRefusedAsOneInForceIs)
{
    const Json refused = json("PUT", "/api/schemes/1", {{"brightness", 61}, {"contrast", 300}}, 422);
    EXPECT_EQ(refused["code"], "refused-value");
    EXPECT_EQ(refused["key"], KEY_CONTRAST);
    EXPECT_EQ(refused["value"], 300);
    EXPECT_EQ(refused["allowed"]["maximum"], 100);
    EXPECT_EQ(refused["detail"].get<std::string>().substr(0, 22), "KEY_CONTRAST refused: ");
    EXPECT_EQ(refused["result"]["stored"], "valueRefused");
    EXPECT_EQ(json("PUT", "/api/schemes/1", {{"99999", 1}}, 404)["code"],
              json("PATCH", "/api/parameters", {{"99999", 1}}, 404)["code"]);
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, AWindowOfWhichPartsAreSetIsRefusedByTheWholeThatWouldCome)
{
    json("PUT", "/api/schemes/1/window", {{"enabled", true}, {"from", "08:00"}, {"to", "10:00"}});
    EXPECT_EQ(json("PUT", "/api/schemes/1", {{std::to_string(KEY_SCHEME_START_HOUR), 12}}, 422)["detail"],
              "the window of scheme 1: 12:00-10:00 does not start before it ends");
}

TEST_F(ApiTest, HintsNameNoCommandsOfTheShell)
{
    EXPECT_EQ(json("GET", "/api/parameters/brightnes", nullptr, 404).dump(),
              R"({"status":404,"code":"unknown-key","detail":"there is no key brightnes",)"
              R"("hint":"GET /api/parameters lists the keys"})");
    EXPECT_EQ(json("GET", "/api/schemes/9", nullptr, 404)["hint"], "GET /api/schemes lists the schemes");
    EXPECT_EQ(json("GET", "/api/language/99", nullptr, 404).dump(),
              R"({"status":404,"code":"not-found","detail":"there is no language 99",)"
              R"("hint":"GET /api/languages lists the languages"})");
    EXPECT_EQ(json("GET", "/api/language/x", nullptr, 400).dump(),
              R"({"status":400,"code":"bad-value","detail":"x is not a whole number",)"
              R"("hint":"write the value in the form that is named"})");
    EXPECT_EQ(json("POST", "/api/lens/sideways", nullptr, 404)["hint"],
              "the steps are focus-near, focus-far, zoom-in, zoom-out, iris-open, iris-close, focus-once and reset");
    std::remove(sensorpaths::schemeFile(1).c_str());
    EXPECT_EQ(json("PUT", "/api/schemes/1/window", {{"enabled", true}}, 404)["hint"],
              "POST /api/reset makes missing scheme files anew");
}

TEST_F(ApiTest, WhatTheServerItselfRefusesComesWithAHint)
{
    EXPECT_EQ(json("GET", "/api/nothing", nullptr, 404).dump(),
              R"({"code":"no-such-path","detail":"there is nothing at /api/nothing",)"
              R"("hint":"GET /api/openapi.json lists all paths","status":404})");
    EXPECT_EQ(send("{}", "text/plain").body,
              R"({"code":"not-json","detail":"the body is not said to be JSON",)"
              R"("hint":"send the header Content-Type: application/json","status":415})");
    EXPECT_EQ(ask("PUT", "/api/mode", {{"mode", "auto"}}, {{"if-match", "\"1\""}}).body,
              R"({"code":"changed-meanwhile","detail":"somebody changed the camera since you read it",)"
              R"("hint":"read it again, then send the change with the new ETag","status":412})");
    const std::pair<const char*, const char*> hints[] = {
        {"bad-request", "correct the request; GET /api/openapi.json describes what each path takes"},
        {"busy", "come again after as many seconds as Retry-After says"},
        {"ending", "come again when the camera has been started anew"},
        {"internal", "this is a mistake in the program: report it"},
        {"no-session", "POST /api/session answers with a token; send it: Authorization: Bearer TOKEN"},
        {"no-such-method", "use a method that Allow names"},
        {"no-trial", "begin a new one: PATCH /api/parameters?keep=false"},
        {"no-users", "go on without a session"},
        {"on-trial", "GET /api/trials says who tries it and how long; wait, or set it to stay"},
        {"too-large", "send less in one request"},
        {"too-many-logins", "come again after as many seconds as Retry-After says"},
        {"wrong-host", "ask for localhost with the camera's port, or use its socket"},
        {"wrong-login", "'sensorcam passwd' sets a new password"},
        {"wrong-origin", "change it from the camera's own page, or from a program"},
        {"wrong-role", "ask somebody who has this role, or log in as one"}};
    for (const auto& [code, hint] : hints)
    {
        EXPECT_EQ(Json::parse(problem(400, code, "no").body)["hint"], hint) << code;
    }
}

TEST_F(ApiTest, AWindowIsSetAndARefusedOneSaysWhichTimeAndWhy)
{
    const Json window = json("PUT", "/api/schemes/1/window", {{"enabled", true}, {"from", "08:00"}, {"to", "24:00"}});
    EXPECT_EQ(window["from"], "08:00");
    EXPECT_EQ(window["to"], "24:00");
    const Json refused =
        json("PUT", "/api/schemes/1/window", {{"enabled", true}, {"from", "22:00"}, {"to", "06:00"}}, 422);
    EXPECT_EQ(refused["code"], "window-refused");
    EXPECT_EQ(refused["check"], 507);
    EXPECT_EQ(refused["detail"], "the window of scheme 1: 22:00-06:00 does not start before it ends");
    EXPECT_EQ(json("GET", "/api/schemes/1/window")["from"], "08:00");
}

TEST_F(ApiTest, WhatIsLeftOutOfAWindowStays)
{
    const std::string path = "/api/schemes/1/window";
    json("PUT", path, {{"enabled", false}, {"from", "08:30"}, {"to", "10:15"}});
    EXPECT_EQ(json("PUT", path, {{"enabled", true}}).dump(),
              R"({"scheme":1,"enabled":true,"from":"08:30","to":"10:15","neverHolds":false})");
    EXPECT_EQ(json("PUT", path, {{"to", "24:00"}}).dump(),
              R"({"scheme":1,"enabled":true,"from":"08:30","to":"24:00","neverHolds":false})");
    EXPECT_EQ(json("PUT", path, {{"from", "09:45"}})["from"], "09:45");
    EXPECT_EQ(json("PUT", path, json("GET", path)).dump(), json("GET", path).dump()) << "as it was read";
    EXPECT_EQ(json("PUT", path, {{"from", "24:00"}}, 422)["detail"],
              "the window of scheme 1: 24:00-24:00 does not start before it ends");
    EXPECT_EQ(json("PUT", path, Json::object(), 400)["detail"], "the body has one or more of enabled, from and to");
    EXPECT_EQ(json("PUT", path, {{"form", "09:00"}}, 400)["detail"],
              "a window has no form; it has enabled, from and to");
    EXPECT_EQ(json("PUT", path, {{"enabled", 1}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("PUT", path, {{"from", 9}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("PUT", path, {{"scheme", "1"}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("PUT", path, {{"scheme", 0}, {"from", "07:00"}}, 400)["detail"], "the path names scheme 1");
    EXPECT_EQ(json("PUT", path, {{"neverHolds", 0}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("GET", path)["from"], "09:45");
}

TEST_F(ApiTest, TheDayIsExplainedWithWhatOverlapsAndWhatNeverHolds)
{
    c().setWindow(0, {true, 8, 0, 12, 0});
    c().setWindow(1, {true, 10, 0, 24, 0});
    c().setScheme(2);
    c().apply({{KEY_SCHEME_START_HOUR, 22}, {KEY_SCHEME_END_HOUR, 6}});
    Json explained = json("GET", "/api/explain");
    const Json schedule = json("GET", "/api/schemes");
    for (const char* name : {"schemes", "day", "overlaps"})
    {
        EXPECT_EQ(explained[name], schedule[name]) << name;
    }
    EXPECT_EQ(explained["overlaps"].dump(), R"([{"from":"10:00","to":"12:00","schemes":[0,1]}])");
    EXPECT_EQ(explained["schemes"][2].dump(),
              R"({"scheme":2,"enabled":false,"from":"22:00","to":"06:00","neverHolds":true})");
    EXPECT_EQ(explained["day"].dump(),
              R"([{"from":"00:00","to":"08:00","scheme":4},{"from":"08:00","to":"12:00","scheme":0},)"
              R"({"from":"12:00","to":"24:00","scheme":1}])");
    EXPECT_EQ(explained["why"], "manual");
}

TEST_F(ApiTest, AResetAnswersWhenASchemeIsInForce)
{
    EXPECT_EQ(json("POST", "/api/reset")["scheme"], 0);
    EXPECT_EQ(json("PATCH", "/api/parameters", {{"brightness", 61}})["values"][0]["outcome"], "applied");
}

TEST_F(ApiTest, SavesReloadsAndResets)
{
    c().apply({{KEY_BRIGHTNESS, 61}});
    EXPECT_EQ(json("POST", "/api/save")["saved"], true);
    c().apply({{KEY_BRIGHTNESS, 62}});
    EXPECT_EQ(json("POST", "/api/reload")["reloaded"], true);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
    json("POST", "/api/reset");
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
}

TEST_F(ApiTest, TheLensIsAskedAndMoved)
{
    EXPECT_TRUE(json("GET", "/api/lens").contains("zoom"));
    json("PUT", "/api/lens", {{"focusMode", 2}});
    json("POST", "/api/lens/focus-near");
    EXPECT_EQ(json("POST", "/api/lens/sideways", nullptr, 404)["code"], "not-found");
    EXPECT_EQ(json("PUT", "/api/lens", {{"zoom", 1}, {"focus", 1}}, 400)["code"], "bad-document");
}

TEST_F(ApiTest, DocumentsAreServedAsTheLibraryHasThem)
{
    const Response style = ask("GET", "/api/style");
    EXPECT_EQ(style.type, "text/xml; charset=utf-8");
    EXPECT_EQ(style.body, c().style());
    EXPECT_EQ(ask("GET", "/api/language/0").body, c().texts(0).texts);
    EXPECT_EQ(ask("GET", "/api/common/0").body, c().texts(0).common);
    EXPECT_EQ(ask("GET", "/api/language/99").status, 404);
}

TEST_F(ApiTest, TheWorldOfASimulatedCameraCanBeChanged)
{
    EXPECT_DOUBLE_EQ(json("PUT", "/api/world", {{"light", 5}})["lux"].get<double>(), 5.0);
    EXPECT_EQ(json("PUT", "/api/world", {{"distance", 2.5}})["distance"], 2.5);
    EXPECT_EQ(json("PUT", "/api/world", {{"haze", 40}})["haze"], 40);
    EXPECT_EQ(json("PUT", "/api/world", {{"wind", 0}})["haze"], 40) << "stays";
    EXPECT_EQ(json("GET", "/api/world")["wind"], 0);
    EXPECT_EQ(json("PUT", "/api/world", {{"gravity", 1}}, 400)["code"], "bad-document");
    EXPECT_EQ(json("PUT", "/api/world", {{"light", "dark"}}, 400)["code"], "bad-document");
}

TEST_F(ApiTest, WhatIsNoWorldIsRefusedAndNothingIsChanged)
{
    const std::string before = json("GET", "/api/world")["lux"].dump();
    for (const Json& body : {Json{{"light", -5}}, Json{{"distance", 0}}, Json{{"distance", -3}}, Json{{"haze", -1}},
                             Json{{"haze", 101}}, Json{{"wind", 0.5}}, Json{{"wind", "much"}}, Json{{"speed", 0.05}}})
    {
        EXPECT_EQ(json("PUT", "/api/world", body, 400)["code"], "bad-value") << body;
    }
    for (const Json& fault :
         {Json{{"key", "brightness"}, {"status", 99999999999}}, Json{{"key", "brightness"}, {"status", -99999999999}},
          Json{{"key", "brightness"}, {"status", 0}}, Json{{"key", "brightness"}, {"status", 1}},
          Json{{"key", "brightness"}, {"cuont", 1}}})
    {
        EXPECT_EQ(json("PUT", "/api/world", {{"light", 5}, {"faults", {fault}}}, 400)["code"], "bad-document") << fault;
    }
    EXPECT_EQ(json("GET", "/api/world")["lux"].dump(), before);
    const Json faults = json("PUT", "/api/world", {{"faults", {{{"key", "brightness"}}}}})["faults"];
    EXPECT_EQ(json("PUT", "/api/world", {{"faults", faults}})["faults"], faults);
}

TEST_F(ApiTest, FaultsArePlannedListedAndTakenBack)
{
    const Json world = json("PUT", "/api/world", {{"faults", Json::array({{{"key", "brightness"}, {"after", 1}}})}});
    EXPECT_EQ(world["faults"].dump(), R"([{"key":34,"name":"KEY_BRIGHTNESS","status":-4,"after":1,"count":1}])");
    json("PATCH", "/api/parameters", {{"brightness", 61}});
    json("PATCH", "/api/parameters", {{"brightness", 62}}, 422);
    json("PATCH", "/api/parameters", {{"brightness", 62}});
    EXPECT_EQ(json("PUT", "/api/world", {{"faults", Json::array()}})["faults"].dump(), "[]");
    for (const Json& faults : {Json(1), Json::array({1}), Json::array({Json::object()}),
                               Json::array({{{"key", "brightness"}, {"count", -1}}}),
                               Json::array({{{"key", "brightness"}, {"status", "no"}}})})
    {
        EXPECT_EQ(json("PUT", "/api/world", {{"faults", faults}}, 400)["code"], "bad-document") << faults;
    }
    EXPECT_EQ(json("PUT", "/api/world", {{"faults", Json::array({{{"key", "nonsense"}}})}}, 404)["code"],
              "unknown-key");
}

TEST_F(ApiTest, ACameraOnTheSystemsClockKeepsItsTimeAndNothingElseIsChanged)
{
    const double lux = json("GET", "/api/world")["lux"];
    EXPECT_EQ(json("PUT", "/api/world", {{"light", 5}, {"time", "08:00"}}, 404)["code"], "not-settable");
    EXPECT_EQ(json("PUT", "/api/world", {{"light", 5}, {"time", "24:00"}}, 400)["code"], "bad-value");
    EXPECT_EQ(json("GET", "/api/world")["lux"], lux);
    EXPECT_EQ(json("PUT", "/api/world", {{"light", 5}, {"speed", 60}}, 404).dump(),
              R"({"status":404,"code":"not-settable",)"
              R"("detail":"this camera follows the system's clock; its speed is that",)"
              R"("hint":"start the camera with --at or --speed, then set it"})");
    EXPECT_EQ(json("GET", "/api/world")["lux"], lux);
    host::setClock(std::make_shared<host::ScaledClock>(1.0));
    EXPECT_EQ(json("PUT", "/api/world", {{"time", "08:00"}})["time"], "08:00");
    host::setClock(clock_);
}

TEST_F(ApiTest, TheSpeedOfTheClockIsSetAndATrialKeepsItsRealTime)
{
    const auto clock = std::make_shared<host::ScaledClock>(1.0);
    host::setClock(clock);
    const Json trial = json("PATCH", "/api/parameters?keep=false", {{"brightness", 61}})["trial"];
    EXPECT_EQ(json("PUT", "/api/world", {{"speed", 3600}})["speed"], 3600.0);
    EXPECT_EQ(json("GET", "/api/status")["speed"], 3600.0);
    clock->wait(std::chrono::seconds(20));
    EXPECT_EQ(json("PUT", "/api/trials/" + trial["trial"].dump())["values"], trial["values"]);
    EXPECT_EQ(json("PUT", "/api/world", {{"speed", 0.5}})["speed"], 0.5);
    for (const Json& speed : {Json(0.05), Json(3601), Json(0), Json(-1), Json("60")})
    {
        EXPECT_EQ(json("PUT", "/api/world", {{"speed", speed}}, 400)["code"],
                  speed.is_string() ? "bad-document" : "bad-value")
            << speed;
    }
    EXPECT_EQ(json("PUT", "/api/world", {{"speed", 4000}}, 400)["detail"], "speed is a number from 0.1 to 3600");
    EXPECT_EQ(json("GET", "/api/world")["speed"], 0.5);
    host::setClock(clock_);
}

TEST_F(ApiTest, MethodsAndPathsThatAreNotThere)
{
    EXPECT_EQ(ask("GET", "/api/nothing").status, 404);
    EXPECT_EQ(ask("GET", "/api/parameters/").status, 404);
    const Response wrong = ask("DELETE", "/api/parameters");
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(headerOf(wrong, "Allow"), "GET, HEAD, PATCH, OPTIONS");
    const Response options = ask("OPTIONS", "/api/scheme");
    EXPECT_EQ(options.status, 204);
    EXPECT_EQ(headerOf(options, "Allow"), "GET, HEAD, PUT, OPTIONS");
    EXPECT_EQ(ask("HEAD", "/api/scheme").status, 200);
}

TEST_F(ApiTest, AnEditOfWhatSomebodyElseChangedMeanwhileIsRefused)
{
    const std::string revision = headerOf(ask("GET", "/api/parameters"), "ETag");
    EXPECT_EQ(ask("PATCH", "/api/parameters", {{"brightness", 61}}, {{"if-match", revision}}).status, 200);
    EXPECT_EQ(ask("PATCH", "/api/parameters", {{"brightness", 62}}, {{"if-match", revision}}).status, 412);
    EXPECT_EQ(ask("PATCH", "/api/parameters", {{"brightness", 62}}, {{"if-match", "*"}}).status, 200);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 62);
}

TEST_F(ApiTest, AListOfRevisionsIsLookedThroughAndAWeakOneIsNone)
{
    const std::string revision = headerOf(ask("GET", "/api/parameters"), "ETag");
    EXPECT_EQ(ask("PUT", "/api/mode", {{"mode", "manual"}}, {{"if-match", "W/" + revision}}).status, 412);
    EXPECT_EQ(ask("PUT", "/api/mode", {{"mode", "manual"}}, {{"if-match", "\"1\" , " + revision}}).status, 200);
}

TEST_F(ApiTest, WhatNobodyAskedForChangesTheRevisionToo)
{
    c().setWindow(0, {true, 0, 0, 13, 0});
    c().setWindow(1, {true, 13, 0, 24, 0});
    c().setMode(true);
    turnAt(12, 0);
    const std::string revision = headerOf(ask("GET", "/api/parameters"), "ETag");
    EXPECT_EQ(headerOf(ask("GET", "/api/parameters"), "ETag"), revision);
    turnAt(13, 0);
    ASSERT_EQ(c().currentScheme(), 1);
    EXPECT_EQ(ask("PATCH", "/api/parameters", {{"brightness", 61}}, {{"if-match", revision}}).status, 412);
}

TEST_F(ApiTest, AnotherFrontEndsChangeOfTheWorldChangesTheRevision)
{
    const std::string revision = headerOf(ask("GET", "/api/world"), "ETag");
    camera::WorldChange wanted;
    wanted.haze = 40;
    ASSERT_EQ(c().changeWorld(wanted), camera::WorldResult::changed);
    EXPECT_EQ(ask("PUT", "/api/world", {{"haze", 50}}, {{"if-match", revision}}).status, 412);
    EXPECT_EQ(json("GET", "/api/world")["haze"], 40);
}

TEST_F(ApiTest, EveryThingThatCanBeEditedChangesTheRevision)
{
    for (const auto& [path, body] : std::vector<std::pair<std::string, Json>>{
             {"/api/scheme", {{"scheme", 1}}},
             {"/api/mode", {{"mode", "manual"}}},
             {"/api/schemes/2", {{"brightness", 70}}},
             {"/api/schemes/2/window", {{"enabled", false}, {"from", "08:00"}, {"to", "24:00"}}},
             {"/api/lens", {{"focusMode", 2}}},
             {"/api/world", {{"light", 5}}},
             {"/api/diagnostics", {{"level", 1}}}})
    {
        const std::string revision = headerOf(ask("GET", path), "ETag");
        const Response changed = ask("PUT", path, body, {{"if-match", revision}});
        EXPECT_EQ(changed.status, 200) << path << changed.body;
        EXPECT_EQ(headerOf(changed, "ETag"), headerOf(ask("GET", path), "ETag")) << path;
        EXPECT_EQ(ask("PUT", path, body, {{"if-match", revision}}).status, 412) << path;
        EXPECT_EQ(ask("PUT", path, body).status, 200) << path;
    }
}

// On threads, as a front end beside the server's one for changes would be.
TEST_F(ApiTest, ClientsThatReadChangeAndWriteAtOnceLoseNothing)
{
    constexpr int kClients = 4;
    constexpr int kEach = 10;
    const auto count = [this] {
        for (int done = 0; done < kEach;)
        {
            const Response read = ask("GET", "/api/parameters/brightness");
            const int value = Json::parse(read.body)["value"].get<int>();
            const Response written =
                ask("PATCH", "/api/parameters", {{"brightness", value + 1}}, {{"if-match", headerOf(read, "ETag")}});
            done += written.status == 200 ? 1 : 0;
        }
    };
    std::vector<std::thread> clients;
    for (int i = 0; i < kClients; ++i)
    {
        clients.emplace_back(count);
    }
    for (std::thread& client : clients)
    {
        client.join();
    }
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50 + kClients * kEach);
}

TEST_F(ApiTest, ADocumentIsNotSentAgainToWhoeverHasIt)
{
    for (const char* path : {"/api/style", "/api/language/0", "/api/common/0"})
    {
        const Response first = ask("GET", path);
        const std::string tag = headerOf(first, "ETag");
        EXPECT_EQ(headerOf(first, "Cache-Control"), "private, no-cache");
        for (const std::string& condition : {tag, "W/" + tag, "\"1\", " + tag, std::string("*")})
        {
            const Response again = ask("GET", path, nullptr, {{"if-none-match", condition}});
            EXPECT_EQ(again.status, 304) << path << condition;
            EXPECT_EQ(again.body, "");
            EXPECT_EQ(headerOf(again, "ETag"), tag);
        }
        EXPECT_EQ(ask("GET", path, nullptr, {{"if-none-match", "\"1\""}}).status, 200);
    }
    const std::string revision = headerOf(ask("GET", "/api/status"), "ETag");
    EXPECT_EQ(ask("GET", "/api/status", nullptr, {{"if-none-match", revision}}).status, 200) << "time passes";
}

TEST_F(ApiTest, DiagnosticsAreSetOneByOneAndTakenAway)
{
    EXPECT_EQ(json("GET", "/api/diagnostics").dump(), R"({"level":1,"marker":false,"assertions":false})");
    EXPECT_EQ(json("PUT", "/api/diagnostics", {{"level", 4}}).dump(),
              R"({"level":4,"marker":true,"assertions":false})");
    EXPECT_EQ(json("PUT", "/api/diagnostics", {{"assertions", true}}).dump(),
              R"({"level":4,"marker":true,"assertions":true})");
    EXPECT_EQ(json("PUT", "/api/diagnostics", {{"level", 5}}).dump(), R"({"level":5,"marker":true,"assertions":true})");
    for (const Json& body : {Json::object(), Json{{"level", "4"}}, Json{{"marker", true}},
                             Json{{"marker", false}, {"level", 4}}, Json{{"volume", 11}}})
    {
        EXPECT_EQ(json("PUT", "/api/diagnostics", body, 400)["code"], "bad-document") << body;
    }
    EXPECT_EQ(json("PUT", "/api/diagnostics", {{"marker", false}}).dump(),
              R"({"level":1,"marker":false,"assertions":false})");
}

TEST_F(ApiTest, TheTraceIsFiltered)
{
    const Response all = ask("GET", "/api/trace");
    EXPECT_EQ(all.type, "text/event-stream");
    const Response some = ask("GET", "/api/trace?filter=two");
    api_->trace().take("one\ntwo\n");
    EXPECT_EQ(*all.source->next(),
              "event: line\ndata: {\"line\":\"one\"}\n\nevent: line\ndata: {\"line\":\"two\"}\n\n");
    EXPECT_EQ(*some.source->next(), "event: line\ndata: {\"line\":\"two\"}\n\n");
}

TEST_F(ApiTest, TheEndOfLogAndOutputIsReadInAsManyLinesAsAreAskedFor)
{
    support::writeFile(sensorpaths::kErrorLogFile, "one\ntwo\nthree\n");
    api_->trace().take("four\nfive\n");
    EXPECT_EQ(json("GET", "/api/log").dump(), R"({"lines":["one","two","three"]})");
    EXPECT_EQ(json("GET", "/api/log?lines=2").dump(), R"({"lines":["two","three"]})");
    EXPECT_EQ(json("GET", "/api/log?lines=0").dump(), R"({"lines":[]})");
    EXPECT_EQ(json("GET", "/api/output").dump(), R"({"lines":["four","five"]})");
    EXPECT_EQ(json("GET", "/api/output?lines=1").dump(), R"({"lines":["five"]})");
    EXPECT_EQ(json("GET", "/api/output?lines=99").dump(), R"({"lines":["four","five"]})");
    EXPECT_EQ(json("GET", "/api/output?lines=-1", nullptr, 400)["detail"], "lines is a whole number from 0 on");
    EXPECT_EQ(json("GET", "/api/log?lines=few", nullptr, 400)["detail"], "few is not a whole number");
}

TEST_F(ApiTest, WhatIsExportedIsTheSameAfterResetAndImport)
{
    c().apply({{KEY_BRIGHTNESS, 61}});
    c().setWindow(1, {true, 8, 0, 18, 30});
    const Json before = json("GET", "/api/export");
    EXPECT_EQ(before["schemes"][1]["window"].dump(), R"({"enabled":true,"from":"08:00","to":"18:30"})");
    EXPECT_EQ(before["schemes"][0]["values"]["KEY_BRIGHTNESS"], 61);
    json("POST", "/api/reset");
    EXPECT_NE(json("GET", "/api/export"), before);
    EXPECT_EQ(json("POST", "/api/import?dry-run=true", before)["schemes"][0]["stored"], "done");
    EXPECT_NE(json("GET", "/api/export"), before);
    json("POST", "/api/import", before);
    EXPECT_EQ(json("GET", "/api/export").dump(), before.dump());
}

TEST_F(ApiTest, AnImportSaysKeyByKeyWhatItDoes)
{
    const Json values = {{"KEY_BRIGHTNESS", 61}, {"KEY_CONTRAST", 50},     {"KEY_SHARPNESS", 300},
                         {"KEY_NEW", 1},         {"KEY_SATURATION", "50"}, {"KEY_MZOOM_SPEED", 1}};
    const Json window = {{"enabled", true}, {"from", "22:00"}, {"to", "06:00"}};
    const Json document = {{"format", "sensorcam-schemes"},
                           {"version", 1},
                           {"model", "dome"},
                           {"schemes", {{{"scheme", 1}, {"window", window}, {"values", values}}, {{"scheme", 7}}}}};
    const Json answer = json("POST", "/api/import", document);
    Json told = answer["schemes"][0]["values"];
    told[2].erase("allowed");
    EXPECT_EQ(answer["sameModel"], false);
    EXPECT_EQ(answer["schemes"][0]["window"], "skipped");
    EXPECT_EQ(answer["schemes"][0]["check"], 507);
    EXPECT_EQ(answer["schemes"][1].dump(), R"({"scheme":7,"stored":"noScheme","values":[]})");
    EXPECT_EQ(told.dump(),
              R"([{"key":34,"name":"KEY_BRIGHTNESS","asked":61,"outcome":"applied","before":50,"value":61},)"
              R"({"key":2353,"name":"KEY_CONTRAST","asked":50,"outcome":"unchanged","before":50,"value":50},)"
              R"({"name":"KEY_SHARPNESS","outcome":"skipped","why":"outOfRange","asked":300},)"
              R"({"name":"KEY_NEW","outcome":"skipped","why":"unknownKey"},)"
              R"({"name":"KEY_SATURATION","outcome":"skipped","why":"wrongType"},)"
              R"({"name":"KEY_MZOOM_SPEED","outcome":"skipped","why":"notInModel","asked":1}])");
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 61);
}

TEST_F(ApiTest, AnImportThatEndsInTheMiddleSaysWhatWasDone)
{
    const Json document = json("GET", "/api/export");
    std::remove(sensorpaths::schemeFile(1).c_str());
    const Json problem = json("POST", "/api/import", document, 404);
    EXPECT_EQ(problem["detail"], "the file of scheme 1 is missing, or has no such value");
    EXPECT_EQ(problem["result"]["schemes"][0]["stored"], "done");
    EXPECT_EQ(problem["result"]["schemes"][1]["stored"], "noRecord");
    EXPECT_EQ(problem["result"]["schemes"][2]["stored"], "notReached");
    for (const std::size_t scheme : {1U, 2U})
    {
        EXPECT_EQ(problem["result"]["schemes"][scheme]["values"][0]["outcome"], "notReached");
    }
}

TEST_F(ApiTest, ADryRunOfAnImportSeesAMissingFileToo)
{
    const Json document = json("GET", "/api/export");
    std::remove(sensorpaths::schemeFile(1).c_str());
    const Json planned = json("POST", "/api/import?dry-run=true", document, 404);
    EXPECT_EQ(planned.dump(), json("POST", "/api/import", document, 404).dump());
}

TEST_F(ApiTest, DocumentsThatHoldNoSchemesAreRefusedAndChangeNothing)
{
    const Json sound = {
        {"format", "sensorcam-schemes"}, {"version", 1}, {"model", "fixed"}, {"schemes", Json::array()}};
    json("POST", "/api/import", sound);
    const auto with = [&sound](const char* name, const Json& value) {
        Json document = sound;
        document[name] = value;
        return document;
    };
    Json many = Json::array();
    for (int scheme = 0; scheme < 65; ++scheme)
    {
        many.push_back({{"scheme", scheme}});
    }
    Json values = Json::object();
    for (int key = 0; key < 1001; ++key)
    {
        values["KEY_" + std::to_string(key)] = 1;
    }
    for (const Json& document :
         {Json::object(), with("format", "other"), with("version", 2), with("model", 1), with("schemes", 1),
          with("schemes", {1}), with("schemes", {{{"scheme", "0"}}}), with("schemes", {{{"scheme", 0}, {"values", 1}}}),
          with("schemes", {{{"scheme", 0}, {"window", {{"enabled", true}, {"from", "8"}, {"to", "09:00"}}}}}),
          with("schemes", {{{"scheme", 0}}, {{"scheme", 0}}}), with("mode", "maybe"), with("schemes", many),
          with("schemes", {{{"scheme", 0}, {"values", values}}})})
    {
        EXPECT_EQ(json("POST", "/api/import", document, 400)["code"], "bad-document") << document;
    }
}

TEST_F(ApiTest, WhatIsNotSavedIsListed)
{
    c().apply({{KEY_BRIGHTNESS, 61}});
    EXPECT_EQ(json("GET", "/api/unsaved").dump(),
              R"({"values":[{"scheme":0,"key":34,"name":"KEY_BRIGHTNESS","value":61,"saved":50}]})");
    EXPECT_EQ(json("POST", "/api/pairs")["pairs"], c().pairText());
}

TEST_F(ApiTest, EventsTellWhoDidWhatAndComeAgainFromWhereAReaderStopped)
{
    const std::shared_ptr<Source> reader = ask("GET", "/api/events").source;
    EXPECT_EQ(*reader->next(), "");
    ask("PATCH", "/api/parameters", {{"brightness", 61}});
    const std::string text = *reader->next();
    EXPECT_NE(text.find("event: values\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\"by\":\"socket\""), std::string::npos) << text;
    const std::string id = text.substr(4, text.find('\n') - 4);
    ask("PATCH", "/api/parameters", {{"brightness", 62}});
    const std::string again = *ask("GET", "/api/events", nullptr, {{"last-event-id", id}}).source->next();
    EXPECT_EQ(again, *reader->next());
    const std::string revision = headerOf(ask("GET", "/api/status"), "ETag");
    ask("PATCH", "/api/parameters", {{"brightness", 63}});
    const std::map<std::string, std::string> behind = {{"last-event-id", revision.substr(1, revision.size() - 2)}};
    EXPECT_EQ(*ask("GET", "/api/events", nullptr, behind).source->next(), *reader->next());
    const std::string lost = *ask("GET", "/api/events", nullptr, {{"last-event-id", "1-7"}}).source->next();
    EXPECT_NE(lost.find("event: state\n"), std::string::npos) << lost;
    const Json state = Json::parse(lost.substr(lost.find("data: ") + 6));
    EXPECT_EQ(state["status"], json("GET", "/api/status"));
    EXPECT_NE(state["values"].dump().find(R"({"key":34,"name":"KEY_BRIGHTNESS","value":63})"), std::string::npos);
    EXPECT_EQ(state["trials"].dump(), "[]");
}

TEST_F(ApiTest, EveryRouteIsDescribed)
{
    const Json document = json("GET", "/api/openapi.json");
    EXPECT_EQ(document["openapi"], "3.1.0");
    std::size_t operations = 0;
    for (const Json& path : document["paths"])
    {
        operations += path.size();
    }
    EXPECT_EQ(operations, routes().size());
    EXPECT_EQ(document.dump().find("$defs"), std::string::npos);
}

}  // namespace
}  // namespace web
