#include <gtest/gtest.h>

#include <set>

#include "SensorKeys.h"
#include "app/json/Error.h"
#include "app/json/Results.h"
#include "app/json/Transfer.h"
#include "services/Status.h"
#include "tests/support/PrivateTree.h"

namespace {

constexpr char kSchema[] = SENSORDLL_SOURCE_DIR "/share/schema/sensorcam.schema.json";

services::ParameterState percentage()
{
    return {IA_CMD_BRIGHTNESS, "brightness", "%", services::Kind::range, {0, 100, 1, 50, {}}, {}, 50};
}

TEST(JsonError, TheSchemaListsEveryCode)
{
    const app::Json schema = app::Json::parse(support::readFile(kSchema));
    EXPECT_EQ(schema["$defs"]["error"]["properties"]["code"]["enum"], app::Json(app::codeWords()));
}

TEST(JsonError, NoTwoCodesShareAWord)
{
    const std::vector<std::string> words = app::codeWords();
    EXPECT_EQ(std::set<std::string>(words.begin(), words.end()).size(), words.size());
    EXPECT_EQ(words.size(), static_cast<std::size_t>(app::ErrorCode::internal) + 1);
}

TEST(JsonError, ARefusalNamesTheKeyTheValueAndWhatIsAllowed)
{
    const app::Error error = {app::ErrorCode::refusedValue, "no", KEY_BRIGHTNESS, 300, percentage()};
    EXPECT_EQ(app::toJson(error).dump(),
              "{\"code\":\"refused-value\",\"message\":\"no\",\"hint\":\"choose one of the allowed values\",\"key\":34,"
              "\"name\":\"KEY_BRIGHTNESS\",\"value\":300,\"allowed\":{\"kind\":\"range\",\"default\":50,\"unit\":\"%\","
              "\"minimum\":0,\"maximum\":100,\"step\":1}}");
}

TEST(JsonError, AnAnswerOfTheDeviceHasACodeOfItsOwn)
{
    const std::pair<int, const char*> rows[] = {
        {services::kUnknownCommand, "not-on-device"}, {services::kNotSupported, "read-only"},
        {services::kOutOfRange, "refused-value"},     {services::kLensBusy, "busy"},
        {services::kWrongMode, "wrong-mode"},         {services::kNoData, "device-refused"},
        {services::kDone, "device-refused"},          {-77, "device-refused"}};
    for (const auto& [status, word] : rows)
    {
        EXPECT_STREQ(app::codeWord(app::codeOf(status)), word) << status;
    }
}

TEST(JsonError, ACameraThatFailsHasACodeOfItsOwn)
{
    using camera::Problem;
    const std::pair<Problem, const char*> rows[] = {
        {Problem::machineInfo, "no-camera"},     {Problem::noBoard, "no-camera"},
        {Problem::noModule, "no-camera"},        {Problem::noThread, "no-camera"},
        {Problem::boardFilesGone, "no-camera"},  {Problem::noParameters, "not-written"},
        {Problem::noSchemeFile, "not-written"},  {Problem::noLanguages, "unreadable"},
        {Problem::languageNumber, "unreadable"}, {Problem::noPlainFile, "unreadable"},
        {Problem::tooLong, "unreadable"},        {Problem::unreadable, "unreadable"},
        {Problem::noFile, "not-found"}};
    for (const auto& [problem, word] : rows)
    {
        EXPECT_STREQ(app::codeWord(app::codeOf(problem)), word) << static_cast<int>(problem);
    }
}

TEST(JsonResults, AKeyWithoutANameStandsAlone)
{
    EXPECT_EQ(app::keyJson(KEY_MIRROR).dump(), "{\"key\":2384,\"name\":\"KEY_MIRROR\"}");
    EXPECT_EQ(app::keyJson(999).dump(), "{\"key\":999}");
}

TEST(JsonResults, WhatIsNotThereIsLeftOut)
{
    EXPECT_EQ(app::schemeJson(-1).dump(), "{}");
    EXPECT_EQ(app::schemeJson(0).dump(), "{\"scheme\":0}");
    EXPECT_EQ(app::lightJson({}, true).dump(), "{\"night\":true}");
    EXPECT_EQ(app::lightJson(0.0, false).dump(), "{\"night\":false,\"lux\":0.0}");
    camera::LensState lens;
    lens.zoom = 70;
    EXPECT_EQ(app::toJson(lens).dump(),
              "{\"zoom\":70,\"zoomMoving\":false,\"focusMoving\":false,\"irisMoving\":false,\"resetting\":false}");
}

TEST(JsonResults, OfAChoiceTheValuesAreListedWithTheirLabels)
{
    const services::ParameterState mirror = {IA_CMD_UI_MIRROR,     "mirror",     "", services::Kind::choice,
                                             {0, 2, 1, 0, {0, 2}}, {{0, "Off"}}, 0};
    EXPECT_EQ(app::toJson(mirror).dump(),
              "{\"kind\":\"choice\",\"default\":0,\"choices\":[{\"value\":0,\"label\":\"Off\"},{\"value\":2}]}");
}

TEST(JsonResults, TheValueInForceIsGivenOnlyWhereItIsKnown)
{
    using camera::Outcome;
    camera::ApplyResult result = {};
    result.scheme = 1;
    result.schemeKeepsValues = true;
    result.keys = {{34, 60, 50, 60, Outcome::applied, 0, {}},
                   {2497, 30, {}, 25, Outcome::heldBack, -4, {}},
                   {2384, 9, 0, 0, Outcome::refused, -4, {}},
                   {999, 1, {}, 1, Outcome::notReached, 0, {}}};
    result.refusals = {{2384, 9216, 9, -4}};
    const app::Json json = app::toJson(result);
    EXPECT_EQ(json["values"][0].dump(), "{\"key\":34,\"name\":\"KEY_BRIGHTNESS\",\"asked\":60,\"outcome\":\"applied\","
                                        "\"before\":50,\"value\":60}");
    EXPECT_EQ(json["values"][1]["outcome"], "heldBack");
    EXPECT_EQ(json["values"][1]["value"], 25);
    EXPECT_EQ(json["values"][1]["status"], -4);
    EXPECT_EQ(json["values"][2].dump(), "{\"key\":2384,\"name\":\"KEY_MIRROR\",\"asked\":9,\"outcome\":\"refused\","
                                        "\"before\":0,\"status\":-4}");
    EXPECT_EQ(json["values"][3].dump(), "{\"key\":999,\"asked\":1,\"outcome\":\"notReached\"}");
    EXPECT_EQ(json["refusals"].dump(), "[{\"key\":2384,\"name\":\"KEY_MIRROR\",\"value\":9,\"status\":-4}]");
}

TEST(JsonResults, EveryOutcomeReasonAndSourceHasAWordOfTheSchema)
{
    const app::Json definitions = app::Json::parse(support::readFile(kSchema))["$defs"];
    app::Json outcomes = app::Json::array();
    for (int i = 0; i <= static_cast<int>(camera::Outcome::notReached); ++i)
    {
        camera::ApplyResult result = {};
        result.keys = {{34, 60, 50, 60, static_cast<camera::Outcome>(i), 0, {}}};
        outcomes.push_back(app::toJson(result)["values"][0]["outcome"]);
    }
    EXPECT_EQ(definitions["keyResult"]["properties"]["outcome"]["enum"], outcomes);
    app::Json reasons = app::Json::array();
    for (int i = 0; i <= static_cast<int>(camera::Why::againstTheClock); ++i)
    {
        reasons.push_back(app::toJson(camera::Explanation{0, static_cast<camera::Why>(i), {}})["why"]);
    }
    EXPECT_EQ(definitions["why"]["enum"], reasons);
    app::Json sources = app::Json::array();
    for (int i = 0; i <= static_cast<int>(camera::KeyExplanation::Source::nowhere); ++i)
    {
        camera::KeyExplanation key = {};
        key.source = static_cast<camera::KeyExplanation::Source>(i);
        sources.push_back(app::toJson(key)["source"]);
    }
    EXPECT_EQ(definitions["explainKey"]["properties"]["source"]["enum"], sources);
    app::Json kinds = app::Json::array();
    for (int i = 0; i <= static_cast<int>(services::Kind::record); ++i)
    {
        services::ParameterState state = percentage();
        state.kind = static_cast<services::Kind>(i);
        kinds.push_back(app::toJson(state)["kind"]);
    }
    EXPECT_EQ(definitions["allowed"]["properties"]["kind"]["enum"], kinds);
}

TEST(JsonResults, EventsAreAsInTheExamplesOfTheSchema)
{
    using Kind = camera::Event::Kind;
    camera::Event events[] = {{Kind::values, "ann"},  {Kind::scheme, ""},   {Kind::mode, ""},   {Kind::night, ""},
                              {Kind::saved, ""},      {Kind::reset, ""},    {Kind::trial, ""},  {Kind::lens, ""},
                              {Kind::log, ""},        {Kind::world, "ann"}, {Kind::device, ""}, {Kind::standings, ""},
                              {Kind::controls, "ann"}};
    const int schemes[] = {0, 1, 1, 1, 2, -1, 1, 1, 1, 1, 1, 1, 1};
    app::Json documents = app::Json::array();
    for (std::size_t i = 0; i < std::size(events); ++i)
    {
        events[i].number = i + 1;
        events[i].scheme = schemes[i];
        events[i].values = {{KEY_BRIGHTNESS, 60}};
        events[i].why = camera::Why::window;
        events[i].night = true;
        events[i].trial = 8;
        events[i].trialState = camera::TrialState::expired;
        events[i].notTakenBack = {KEY_BRIGHTNESS};
        events[i].moving = true;
        events[i].line = "a line";
        events[i].controls = {{"hue", 10}};
        events[i].device = {"USB Camera",
                            false,
                            false,
                            {{KEY_BRIGHTNESS, services::Standing::lost}},
                            {{"hue", services::Standing::lost}}};
        documents.push_back(app::toJson(events[i]));
    }
    const app::Json definition = app::Json::parse(support::readFile(kSchema))["$defs"]["event"];
    EXPECT_EQ(definition["examples"].dump(), documents.dump());
    EXPECT_EQ(definition["properties"]["event"]["enum"].size(), std::size(events));
}

TEST(JsonResults, EveryEndOfATrialAndEveryReasonToSkipAValueHasAWordOfTheSchema)
{
    const app::Json definitions = app::Json::parse(support::readFile(kSchema))["$defs"];
    app::Json states = app::Json::array();
    for (int i = 0; i <= static_cast<int>(camera::TrialState::cameraEnds); ++i)
    {
        camera::Event event = {camera::Event::Kind::trial, ""};
        event.trialState = static_cast<camera::TrialState>(i);
        states.push_back(app::toJson(event)["state"]);
    }
    EXPECT_EQ(definitions["event"]["properties"]["state"]["enum"], states);
    app::Json reasons = app::Json::array();
    for (int i = 1; i <= static_cast<int>(camera::Skipped::ofWindow); ++i)
    {
        const camera::ImportResult result = {
            true, {}, {{0, camera::Stored::done, true, {}, {{"KEY_NEW", static_cast<camera::Skipped>(i), {}}}}}, {}};
        reasons.push_back(app::toJson(result)["schemes"][0]["values"][0]["why"]);
    }
    EXPECT_EQ(definitions["importedValue"]["anyOf"][1]["properties"]["why"]["enum"], reasons);
}

TEST(JsonResults, StoredValuesAreAsInTheExamplesOfTheSchema)
{
    const app::Json definition = app::Json::parse(support::readFile(kSchema))["$defs"]["storedValues"];
    const camera::ValuesResult refused = {camera::Stored::valueRefused,
                                          WINDOW_SOUND,
                                          {{34, 300, 50, 50, camera::Outcome::refused, services::kOutOfRange, {}}}};
    EXPECT_EQ(definition["examples"][0].dump(), app::toJson(refused).dump());
    const camera::ValuesResult window = {camera::Stored::windowRefused, WINDOW_NOT_FORWARD, {}};
    EXPECT_EQ(definition["examples"][1].dump(), app::toJson(window).dump());
    app::Json words = app::Json::array();
    for (int i = 0; i <= static_cast<int>(camera::Stored::sensorRefused); ++i)
    {
        words.push_back(app::toJson(camera::ValuesResult{static_cast<camera::Stored>(i), WINDOW_SOUND, {}})["stored"]);
    }
    EXPECT_EQ(definition["properties"]["stored"]["enum"], words);
}

TEST(JsonResults, ASchemeThatLacksAKeyIsLeftOutOfItsValues)
{
    camera::KeyExplanation key = {};
    key.key = 34;
    key.inSchemes = {50, {}, 70};
    EXPECT_EQ(app::toJson(key)["inSchemes"].dump(), "[{\"scheme\":0,\"value\":50},{\"scheme\":2,\"value\":70}]");
}

TEST(JsonResults, DayAndNightAreNoNumberOfAScheme)
{
    const camera::Explanation explanation = {0, camera::Why::window, 18 * 60, camera::kByDayAndNight};
    EXPECT_EQ(app::toJson(explanation).dump(),
              "{\"scheme\":0,\"why\":\"window\",\"until\":\"18:00\",\"schemes\":[],\"day\":[{\"from\":"
              "\"00:00\",\"to\":\"24:00\",\"scheme\":0}],\"overlaps\":[]}");
    const camera::Schedule schedule = {{{true, 8, 0, 18, 5}}, true, true, -1, 61};
    EXPECT_EQ(app::toJson(schedule).dump(),
              "{\"time\":\"01:01\",\"mode\":\"auto\",\"defaultScheme\":1,\"byDayAndNight\":true,\"schemes\":[{"
              "\"scheme\":0,\"enabled\":true,\"from\":\"08:00\",\"to\":\"18:05\",\"neverHolds\":false}],\"day\":[{"
              "\"from\":\"00:00\",\"to\":\"08:00\"},{\"from\":\"08:00\",\"to\":\"18:05\",\"scheme\":0},{"
              "\"from\":\"18:05\",\"to\":\"24:00\"}],\"overlaps\":[]}");
}

TEST(JsonResults, WithoutAMarkerFileTheLevelIsOne)
{
    EXPECT_EQ(app::traceJson({}).dump(), "{\"level\":1,\"marker\":false}");
    EXPECT_EQ(app::traceJson(0).dump(), "{\"level\":0,\"marker\":true}");
}

}  // namespace
