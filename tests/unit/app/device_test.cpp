#include "app/cli/Completion.h"
#include "app/cli/Session.h"
#include "tests/support/FakeDevice.h"
#include "tests/support/ServiceDouble.h"
#include "tests/unit/app/ApiFixture.h"
#include "tests/unit/app/ScriptConsole.h"

using app::Json;
using services::Standing;
using support::ScriptConsole;
using web_tests::ApiFixture;

namespace {

web::Request request(const std::string& method, const std::string& target, const std::string& body)
{
    web::Request request = web_tests::request(method, target, body);
    request.peer.local = true;
    return request;
}

// A camera with a real device in scheme 0, its prompt and its paths.
class DeviceFrontEnds : public ApiFixture
{
protected:
    services::Journal& behind() override { return journal_; }
    support::FakeDevice& device() { return service_.fake; }

    // What the prompt prints, errors too.
    std::string said(const std::string& line)
    {
        ScriptConsole console;
        app::Session session(c(), console, false);
        session.run(line);
        return console.out + console.err;
    }

    Json told(const std::string& line)
    {
        ScriptConsole console;
        app::Session session(c(), console, true);
        session.run(line);
        return Json::parse(console.out);
    }

    Json asked(const std::string& method, const std::string& path, const std::string& body = "")
    {
        const web::Response response = api_->answer(request(method, path, body));
        status_ = response.status;
        return Json::parse(response.body);
    }

    support::ServiceWithDevice service_{support::journal()};
    services::Journal journal_{service_};
    support::InForce inForce_{journal_};
    int status_ = 0;
};

// ---- the prompt --------------------------------------------------------------------------------------------

TEST_F(DeviceFrontEnds, ThePromptReadsAndSetsControlsAsKeys)
{
    EXPECT_EQ(said("get hue Power_Line_Frequency"), "hue = 12\npower_line_frequency = 1 50 Hz\n");
    EXPECT_EQ(said("set hue=30 brightness=60"), "KEY_BRIGHTNESS = 60 %  (was 50)\nhue = 30  (was 12)\n");
    EXPECT_EQ(device().value("hue"), 30);
    EXPECT_EQ(said("set power_line_frequency='60 hz'"), "power_line_frequency = 2 60 Hz  (was 1 50 Hz)\n");
    EXPECT_EQ(said("set hue=30"), "hue = 30  (unchanged, not sent again)\n");
    EXPECT_EQ(said("set reset_pan=1"), "reset_pan = 1  (sent)\n");
    EXPECT_EQ(said("default hue"), "hue = 0  (was 30)\n");
    EXPECT_EQ(said("keys hue"), "KEY  NAME  VALUE  ALLOWED\n-    hue   0      -180..180\n");
}

TEST_F(DeviceFrontEnds, ThePromptSaysWhyAControlIsRefused)
{
    device().takeSets();
    const std::string refused = said("set hue=181 power_line_frequency=0");
    EXPECT_EQ(refused.find("hue refused: 181 is not allowed; allowed: -180..180.\n  after it not applied: 1 control"),
              0u)
        << refused;
    const std::string none = said("set control:tint=1");
    EXPECT_EQ(none.find("there is no control:tint; 'device' lists the controls; nothing was applied"), 0u) << none;
    const std::string label = said("set power_line_frequency=often");
    EXPECT_EQ(label.find("power_line_frequency: often is none of its values; allowed: 0 Disabled, 1 50 Hz, 2 60 Hz"),
              0u)
        << label;
    const std::string twice = said("set hue=1 control:hue=2");
    EXPECT_EQ(twice.find("hue is given twice; nothing was applied"), 0u) << twice;
    EXPECT_TRUE(device().takeSets().empty());
}

TEST_F(DeviceFrontEnds, AControlIsSentAgain)
{
    device().takeSets();
    EXPECT_EQ(said("restore hue"), "hue = 12 sent again\n");
    EXPECT_EQ(device().takeSets(), std::vector<std::string>{"hue=12"});
    EXPECT_EQ(said("restore reset_pan"), "reset_pan cannot be sent again: the current scheme does not hold it\n");
    EXPECT_EQ(told("restore hue")["control"], "hue");
}

TEST_F(DeviceFrontEnds, SavingCountsControls)
{
    const std::string saved = said("save");
    EXPECT_NE(saved.find(" values, 2 controls)\n"), std::string::npos) << saved;
    EXPECT_EQ(told("save")["controls"], 2);
    EXPECT_EQ(asked("POST", "/api/save")["controls"], 2);
}

TEST_F(DeviceFrontEnds, AKeyWinsOverAControlOfItsName)
{
    device().add({"brightness", "Brightness", services::Kind::range, {0, 9, 1, 4, {}}, {}, 4, Standing::applied});
    EXPECT_EQ(said("set brightness=60"), "KEY_BRIGHTNESS = 60 %  (was 50)\n");
    EXPECT_EQ(said("set control:brightness=5").rfind("brightness = 5", 0), 0u);
    EXPECT_EQ(device().value("brightness"), 5);
    EXPECT_EQ(said("get control:brightness"), "brightness = 5\n");
}

TEST_F(DeviceFrontEnds, ThePromptExplainsHowAValueStands)
{
    device().stand(IA_CMD_BRIGHTNESS, Standing::held);
    device().stand("hue", Standing::overruled);
    EXPECT_NE(said("explain brightness").find("\nheld: an automatic of the device is on; sent when it is off\n"),
              std::string::npos);
    EXPECT_EQ(
        said("explain hue"),
        "hue = 12, a control of the device (Hue)\nallowed: -180..180\noverruled: another program has set another "
        "value\nit would change with\n  scheme 1: 0\n  scheme 2: 0\n  scheme 3: 0\n  the default scheme (4): 0\n  "
        "'reset': 0\n");
    EXPECT_EQ(told("explain brightness")["standing"], "held");
    EXPECT_EQ(told("explain hue")["standing"], "overruled");
}

TEST_F(DeviceFrontEnds, ThePromptShowsTheDevice)
{
    device().stand(IA_CMD_BRIGHTNESS, Standing::lost);
    device().stand("hue", Standing::lost);
    device().plug(false);
    EXPECT_EQ(said("device"), "USB Camera, which is unplugged: what is set is sent when it is back\n"
                              "not taken yet\n"
                              "KEY_BRIGHTNESS  lost: the device is unplugged; sent when it is back\n"
                              "hue             lost: the device is unplugged; sent when it is back\n"
                              "controls beyond the keys\n"
                              "hue                   12  -180..180                     Hue\n"
                              "power_line_frequency  1   0 Disabled, 1 50 Hz, 2 60 Hz  Power Line Frequency\n"
                              "reset_pan             -   1 does it                     Reset Pan\n");
}

TEST_F(DeviceFrontEnds, NamesAndLabelsOfControlsAreCompleted)
{
    ScriptConsole console;
    app::Session session(c(), console, false);
    const auto completed = [&](const std::string& line) {
        return app::complete(line, line.size(), session.vocabulary()).candidates;
    };
    EXPECT_EQ(completed("get power_l"), app::Words{"power_line_frequency"});
    EXPECT_EQ(completed("set power_l"), app::Words{"power_line_frequency="});
    EXPECT_EQ(completed("set power_line_frequency=6"), app::Words{"power_line_frequency='60 Hz'"});
}

TEST_F(DeviceFrontEnds, QuittingTellsOfControlsThatAreNotSaved)
{
    ScriptConsole console(true);
    app::Session session(c(), console, false);
    session.run("set hue=30");
    console.out.clear();
    session.run("quit");
    EXPECT_NE((console.out + console.err).find("  scheme 0: hue=30\n"), std::string::npos)
        << console.out << console.err;
}

// ---- the paths ---------------------------------------------------------------------------------------------

TEST_F(DeviceFrontEnds, ThePathTellsOfTheDevice)
{
    device().stand(IA_CMD_BRIGHTNESS, Standing::held);
    device().stand("hue", Standing::busy);
    EXPECT_EQ(asked("GET", "/api/device"),
              Json::parse(R"({"name":"USB Camera","there":true,"otherControls":false,"standings":[
                  {"key":34,"name":"KEY_BRIGHTNESS","standing":"held"},{"control":"hue","standing":"busy"}]})"));
    EXPECT_EQ(asked("GET", "/api/status")["device"], asked("GET", "/api/device"));
    EXPECT_EQ(asked("GET", "/api/parameters/brightness")["standing"], "held");
    EXPECT_EQ(asked("GET", "/api/parameters/contrast")["standing"], "applied");
}

TEST_F(DeviceFrontEnds, ThePathReadsAndSetsControls)
{
    const Json before = asked("GET", "/api/controls");
    ASSERT_EQ(before["controls"].size(), 3u);
    EXPECT_EQ(before["controls"][0],
              Json::parse(R"({"control":"hue","title":"Hue","value":12,"saved":12,"standing":"applied",
                  "allowed":{"kind":"range","default":0,"minimum":-180,"maximum":180,"step":1}})"));
    device().takeSets();
    EXPECT_EQ(asked("PATCH", "/api/controls?dry-run=true", R"({"hue": 30})")["controls"][0]["outcome"], "applied");
    EXPECT_TRUE(device().takeSets().empty());
    EXPECT_EQ(asked("PATCH", "/api/controls", R"({"hue": 30, "power_line_frequency": "60 Hz"})"),
              Json::parse(R"({"scheme":0,"schemeKeepsValues":true,"controls":[
                  {"control":"hue","asked":30,"outcome":"applied","before":12,"value":30},
                  {"control":"power_line_frequency","asked":2,"outcome":"applied","before":1,"value":2}]})"));
    EXPECT_EQ(device().value("hue"), 30);
    EXPECT_EQ(asked("GET", "/api/unsaved")["controls"].size(), 2u);
}

TEST_F(DeviceFrontEnds, ThePathRefusesAsItDoesForKeys)
{
    EXPECT_EQ(asked("PATCH", "/api/controls", R"({"hue": 181})")["code"], "refused-value");
    EXPECT_EQ(status_, 422);
    EXPECT_EQ(asked("PATCH", "/api/controls", R"({"tint": 1})")["code"], "unknown-key");
    EXPECT_EQ(status_, 404);
    EXPECT_EQ(asked("PATCH", "/api/controls", R"({"power_line_frequency": "often"})")["code"], "bad-value");
    EXPECT_EQ(asked("PATCH", "/api/controls", R"({})")["code"], "bad-document");
}

TEST_F(DeviceFrontEnds, ThePathStoresControlsOfAnyScheme)
{
    EXPECT_EQ(asked("PUT", "/api/schemes/1/controls", R"({"hue": -9})")["controls"][0]["outcome"], "applied");
    EXPECT_EQ(asked("GET", "/api/schemes/1/controls")["controls"][0]["saved"], -9);
    EXPECT_EQ(asked("PUT", "/api/schemes/1/controls", R"({"hue": 999})")["code"], "refused-value");
    EXPECT_EQ(asked("PUT", "/api/schemes/1/controls", R"({"reset_pan": 1})")["code"], "bad-value");
    EXPECT_EQ(asked("PUT", "/api/schemes/9/controls", R"({"hue": 1})")["code"], "unknown-scheme");
    const Json all = asked("GET", "/api/export");
    EXPECT_EQ(all["schemes"][1]["controls"], Json::parse(R"({"hue":-9,"power_line_frequency":2})"));
    const Json result = asked("POST", "/api/import", all.dump());
    EXPECT_EQ(result["schemes"][1]["controls"][0]["outcome"], "unchanged");
}

TEST_F(DeviceFrontEnds, HowValuesStandIsToldButChangesNoRevision)
{
    turnAt(12, 0);
    const std::string before = api_->revision();
    device().stand(IA_CMD_BRIGHTNESS, Standing::held);
    device().plug(false);
    turnAt(12, 0);
    EXPECT_EQ(api_->revision(), before);
    c().applyControls({{"hue", 30}});
    EXPECT_NE(api_->revision(), before);
}

TEST_F(ApiFixture, WithoutADeviceItsPathsAreNotThere)
{
    const std::vector<std::pair<std::string, std::string>> paths = {{"GET", "/api/device"},
                                                                    {"GET", "/api/controls"},
                                                                    {"PATCH", "/api/controls"},
                                                                    {"GET", "/api/schemes/1/controls"},
                                                                    {"PUT", "/api/schemes/1/controls"}};
    for (const auto& [method, path] : paths)
    {
        const web::Response response = api_->answer(request(method, path, method == "GET" ? "" : R"({"hue": 1})"));
        EXPECT_EQ(response.status, 404) << method << path;
        EXPECT_EQ(Json::parse(response.body)["code"], "not-on-device") << method << path;
    }
}

TEST_F(ApiFixture, WithoutADeviceThePromptSaysSo)
{
    ScriptConsole console;
    app::Session session(c(), console, false);
    EXPECT_FALSE(session.run("device"));
    EXPECT_EQ(console.err.rfind("there is no real device behind this camera", 0), 0u) << console.err;
}

}  // namespace
