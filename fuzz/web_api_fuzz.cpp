#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HostClock.h"
#include "app/Service.h"
#include "app/json/Results.h"
#include "app/web/Api.h"
#include "app/web/RequestHead.h"
#include "camera/KeyNames.h"
#include "fuzz/CameraTree.h"
#include "fuzz/HostStandIns.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

// Requests to the paths of the HTTP interface, in this process, on a whole camera.
// Input: up to four requests, separated by a line %%. A request is "METHOD target", header lines "name: value", an empty
// line, and the body. It comes by the Unix socket, or with a line "port" by the port 8080 of the loopback interface, or
// with a line "guarded" by one that asks for a session: vera, otto and anna have the password "password". REVISION stands
// for the revision that the camera has then, TRIAL and TOKEN for those that were answered last.

namespace {

constexpr std::size_t kRequestsMax = 4;
constexpr std::size_t kBodyMax = 1 << 20;
constexpr int kPort = 8080;
constexpr int kGuardedPort = 8443;
constexpr char kUsersFile[] = "/tmp/users";
constexpr char kAuditFile[] = "/tmp/audit.log";

// Documents of a board, read once.
class Board
{
public:
    Board()
    {
        const std::string share = SENSORDLL_SOURCE_DIR "/share/";
        for (const auto& [target, source] :
             {std::pair(fuzz::kMachineInfoFile, "models/fixed/machineinfo.ini"),
              std::pair(fuzz::kModuleConfigFile, "models/fixed/moduleConfig.xml"),
              std::pair(fuzz::kStyleFile, "style/Style.xml"), std::pair(fuzz::kDomeStyleFile, "style/Style_dome.xml"),
              std::pair(fuzz::kDiversityFile, "styleDiversity/StyleDiversity.xml"),
              std::pair(fuzz::kDomeDiversityFile, "styleDiversity/StyleDiversity_dome.xml")})
        {
            files_.emplace_back(target, fuzz::readFile(share + source));
            FUZZ_REQUIRE(!files_.back().second.empty());
        }
    }

    void layOut() const
    {
        fuzz::emptyCamera();
        for (const auto& [target, bytes] : files_)
        {
            fuzz::writeFile(target, bytes);
        }
    }

private:
    std::vector<std::pair<std::string, std::string>> files_;
};

// Who may come in by the guarded port.
class Guarded
{
public:
    Guarded()
    {
        const std::string hash =
            "$argon2id$v=19$m=19456,t=2,p=1$Q0NDxN4kKZ11E5XYkWpcJA$NbcmYwdNb+0ONfL/7GP6KbBAn6mUHKda9km4wDboJn0";
        fuzz::writeFile(kUsersFile, web::usersText({{"vera", web::Role::viewer, hash},
                                                    {"otto", web::Role::operator_, hash},
                                                    {"anna", web::Role::administrator, hash}}));
        FUZZ_REQUIRE(chmod(kUsersFile, 0600) == 0);
        const auto report = [](const std::string&) { FUZZ_REQUIRE(!"the users are well"); };
        sessions_.emplace(
            std::make_unique<web::Users>(web::UsersFile::at(kUsersFile), report),
            web::Sessions::Means{[](const std::string&, const std::string& text) { return text == "password"; },
                                 [this] { return now_; }});
    }

    web::Sessions& sessions() { return *sessions_; }
    // Every session is over, and every failure forgotten.
    void forget() { now_ += std::chrono::hours(24); }

private:
    web::Sessions::Time now_{std::chrono::hours(24)};
    std::optional<web::Sessions> sessions_;
};

// Whoever waits gives the library's thread, which runs only when it is told to, a turn.
class TurningClock : public host::ManualClock
{
public:
    using ManualClock::ManualClock;

    void wait(host::Span span) override
    {
        ManualClock::wait(span);
        if (!turning_)
        {
            turning_ = true;
            fuzz::turnOfThread();
            turning_ = false;
        }
    }

private:
    bool turning_ = false;
};

// A camera in manual mode on its first scheme, as every input finds it.
class Served
{
public:
    Served()
    {
        static const Board board;
        board.layOut();
        guarded().forget();
        std::filesystem::remove(kAuditFile);
        host::setClock(clock_);
        if (services::World* const world = app::service().world())
        {
            world->setLight(300);
            world->setDistance(10);
            world->setWeather({});
        }
        camera_ = std::make_unique<camera::Camera>(
            camera::Camera::Setup{"fixed", SENSORDLL_SOURCE_DIR "/share", 1.0, std::nullopt, true}, app::service());
        camera_->moveLens(camera::LensStep::reset);
        clock_->advance(std::chrono::minutes(1));
        camera_->setMode(false);
        camera_->setScheme(0);
        api_ = std::make_unique<web::Api>(*camera_, web::Api::Settings());
        guardedApi_ =
            std::make_unique<web::Api>(*camera_, web::Api::Settings{{false, true, {}}, &guarded().sessions(), &audit_});
    }
    ~Served()
    {
        guardedApi_.reset();
        api_.reset();
        camera_.reset();
        host::setClock(nullptr);
    }

    web::Api& api() { return *api_; }
    web::Api& guardedApi() { return *guardedApi_; }

    // All that a request can change.
    std::string state()
    {
        camera::Camera& camera = *camera_;
        std::string text = api_->revision() + " " + std::to_string(camera.currentScheme()) + " " +
                           std::to_string(camera.mode()) + " " + std::to_string(camera.service().light().value_or(-1)) +
                           " " + fuzz::readFile(fuzz::kDebugMarkerFile) + "\n";
        const auto add = [&text](std::optional<int> value) { text += value ? std::to_string(*value) + " " : "- "; };
        for (const camera::KeyName& row : camera::keyNames())
        {
            add(camera.peek(row.key));
            for (int scheme = 0; scheme <= camera.schemeCount(); ++scheme)
            {
                add(camera.schemeValue(scheme, row.key));
            }
        }
        for (int scheme = 0; scheme < camera.schemeCount(); ++scheme)
        {
            text += fuzz::readFile("/mnt/mtd/code/config_file/sensor" + std::to_string(scheme) + ".cfg");
        }
        const std::optional<camera::LensState> lens = camera.lens();
        return text + (lens ? app::jsonLine(app::toJson(*lens)) : "");
    }

private:
    static Guarded& guarded()
    {
        static Guarded guarded;
        return guarded;
    }

    const std::shared_ptr<TurningClock> clock_ = std::make_shared<TurningClock>(12, 0);
    web::AuditLog audit_{kAuditFile, [](const std::string&) { FUZZ_REQUIRE(!"changes can be noted"); }};
    std::unique_ptr<camera::Camera> camera_;
    std::unique_ptr<web::Api> api_;
    std::unique_ptr<web::Api> guardedApi_;
};

std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// What stands for something that only the camera knows.
using Words = std::map<std::string, std::string>;

std::string replaced(std::string text, const Words& words)
{
    for (const auto& [word, value] : words)
    {
        const std::size_t found = text.find(word);
        if (found != std::string::npos)
        {
            text.replace(found, word.size(), value);
        }
    }
    return text;
}

// Nothing when a server would have refused it before the interface sees it.
std::optional<web::Request> requestOf(std::string_view text, const Words& words)
{
    const std::string_view line = takeLine(text);
    const std::size_t blank = std::min(line.find(' '), line.size());
    web::Request request;
    request.method = line.substr(0, blank);
    request.peer.local = true;
    std::vector<web::HeaderLine> lines;
    while (!text.empty())
    {
        const std::string_view header = takeLine(text);
        const std::size_t colon = header.find(": ");
        if (header == "port" || header == "guarded")
        {
            request.peer = {false, "127.0.0.1"};
            request.port = header == "port" ? kPort : kGuardedPort;
        }
        else if (colon == std::string_view::npos)
        {
            break;
        }
        else
        {
            lines.push_back(
                {std::string(header.substr(0, colon)), replaced(std::string(header.substr(colon + 2)), words)});
        }
    }
    request.body = text;
    const bool targetIsWell =
        web::readTarget(replaced(std::string(line.substr(std::min(blank + 1, line.size()))), words), request);
    const std::optional<web::Response> refusal = web::readHead(lines, kBodyMax, request);
    FUZZ_REQUIRE(!refusal || (refusal->status >= 400 && refusal->status < 500));
    return refusal || !targetIsWell ? std::nullopt : std::optional(request);
}

bool changesNothing(const web::Request& request)
{
    return request.method == "GET" || request.method == "HEAD" || request.method == "OPTIONS";
}

// A list of values is applied up to the one that is refused, and the answer says so.
bool saysWhatWasApplied(const app::Json& body)
{
    return body.contains("result");
}

void requireSound(const web::Request& request, const web::Response& response, const std::string& before,
                  const std::string& after)
{
    FUZZ_REQUIRE(response.status >= 200 && response.status < 500);
    app::Json body;
    if (response.type == "application/json" || response.type == "application/problem+json")
    {
        body = app::Json::parse(response.body, nullptr, false);
        FUZZ_REQUIRE(!body.is_discarded());
    }
    if (response.status >= 400)
    {
        FUZZ_REQUIRE(response.type == "application/problem+json");
        FUZZ_REQUIRE(body["status"] == response.status && body["code"].is_string() && body["detail"].is_string());
        FUZZ_REQUIRE(response.source == nullptr);
    }
    for (const auto& [name, value] : response.headers)
    {
        FUZZ_REQUIRE((name + value).find_first_of("\r\n") == std::string::npos);
    }
    if (changesNothing(request) || (response.status >= 400 && !saysWhatWasApplied(body)))
    {
        FUZZ_REQUIRE(before == after);
    }
    const bool isStranger =
        request.port == kGuardedPort && request.header("authorization").empty() && request.header("cookie").empty();
    if (isStranger && request.path != "/api/session" && request.method != "OPTIONS")
    {
        FUZZ_REQUIRE(response.status >= 400 && before == after);
    }
    if (response.source != nullptr)
    {
        const std::optional<std::string> news = response.source->next();
        FUZZ_REQUIRE(news && (news->empty() || news->substr(news->size() - 2) == "\n\n"));
    }
}

// Of changes by the guarded port, a line of JSON each, in ASCII.
void requireNoted()
{
    const std::string notes = fuzz::readFile(kAuditFile);
    for (std::string_view rest = notes; !rest.empty();)
    {
        FUZZ_REQUIRE(app::Json::accept(takeLine(rest)));
    }
    FUZZ_REQUIRE(std::all_of(notes.begin(), notes.end(),
                             [](char letter) { return letter == '\n' || (letter >= 0x20 && letter < 0x7f); }));
}

// What the answer tells of trials and sessions.
void learn(const web::Response& response, Words& words)
{
    const app::Json body = response.type == "application/json" ? app::Json::parse(response.body) : app::Json::object();
    const app::Json& trial = body.contains("trial") && body["trial"].is_object() ? body["trial"] : body;
    if (trial.contains("trial"))
    {
        words["TRIAL"] = trial["trial"].dump();
    }
    if (body.contains("token"))
    {
        words["TOKEN"] = body["token"];
    }
}

}  // namespace

// The library never gives its block of schemes back.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:allocateSchemeBlock\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // To start it takes longer than most inputs: it is kept as long as nothing has changed it.
    static std::unique_ptr<Served> served;
    static std::string untouched;
    if (served == nullptr)
    {
        served = std::make_unique<Served>();
        untouched = served->state();
    }
    std::string before = untouched;
    bool needsNew = false;
    Words words;
    for (const std::string& text : fuzz::partsOf(data, size, kRequestsMax))
    {
        words["REVISION"] = served->api().revision();
        const std::optional<web::Request> request = requestOf(text, words);
        if (!request)
        {
            continue;
        }
        const bool isGuarded = request->port == kGuardedPort;
        web::Api& api = isGuarded ? served->guardedApi() : served->api();
        api.lane(*request);
        const web::Response response = api.answer(*request);
        api.trace().take("brightness\x1b[0m \xff\n");
        const std::string after = served->state();
        requireSound(*request, response, before, after);
        learn(response, words);
        before = after;
        needsNew = needsNew || isGuarded || after != untouched;
    }
    if (needsNew)
    {
        requireNoted();
        served.reset();
    }
    return 0;
}
