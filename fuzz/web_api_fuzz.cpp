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
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

// Requests to the paths of the HTTP interface, in this process, on a whole camera.
// Input: up to four requests, separated by a line %%. A request is "METHOD target", header lines "name: value", an empty
// line, and the body. It comes by the Unix socket, or with a line "port" by the port 8080 of the loopback interface; the
// word REVISION in a value stands for the revision that the camera has then.

namespace {

constexpr std::size_t kRequestsMax = 4;
constexpr std::size_t kBodyMax = 1 << 20;
constexpr int kPort = 8080;

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

// A camera in manual mode on its first scheme, as every input finds it.
class Served
{
public:
    Served()
    {
        static const Board board;
        board.layOut();
        host::setClock(clock_);
        if (services::World* const world = app::service().world())
        {
            world->setLight(300);
            world->setDistance(10);
        }
        camera_ = std::make_unique<camera::Camera>(
            camera::Camera::Setup{"fixed", SENSORDLL_SOURCE_DIR "/share", 1.0, std::nullopt, true}, app::service());
        camera_->moveLens(camera::LensStep::reset);
        clock_->advance(std::chrono::minutes(1));
        camera_->setMode(false);
        camera_->setScheme(0);
        api_ = std::make_unique<web::Api>(*camera_, web::Api::Settings());
    }
    ~Served()
    {
        api_.reset();
        camera_.reset();
        host::setClock(nullptr);
    }

    web::Api& api() { return *api_; }

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
    const std::shared_ptr<host::ManualClock> clock_ = std::make_shared<host::ManualClock>(12, 0);
    std::unique_ptr<camera::Camera> camera_;
    std::unique_ptr<web::Api> api_;
};

std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

void replaceRevision(std::string& value, const std::string& revision)
{
    constexpr std::string_view kWord = "REVISION";
    const std::size_t found = value.find(kWord);
    if (found != std::string::npos)
    {
        value.replace(found, kWord.size(), revision);
    }
}

// Nothing when a server would have refused it before the interface sees it.
std::optional<web::Request> requestOf(std::string_view text, const std::string& revision)
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
        if (header == "port")
        {
            request.peer = {false, "127.0.0.1"};
            request.port = kPort;
        }
        else if (colon == std::string_view::npos)
        {
            break;
        }
        else
        {
            lines.push_back({std::string(header.substr(0, colon)), std::string(header.substr(colon + 2))});
            replaceRevision(lines.back().value, revision);
        }
    }
    request.body = text;
    const bool targetIsWell = web::readTarget(std::string(line.substr(std::min(blank + 1, line.size()))), request);
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
    if (response.source != nullptr)
    {
        const std::optional<std::string> news = response.source->next();
        FUZZ_REQUIRE(news && (news->empty() || news->substr(news->size() - 2) == "\n\n"));
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
    for (const std::string& text : fuzz::partsOf(data, size, kRequestsMax))
    {
        const std::optional<web::Request> request = requestOf(text, served->api().revision());
        if (!request)
        {
            continue;
        }
        served->api().lane(*request);
        const web::Response response = served->api().answer(*request);
        const std::string after = served->state();
        requireSound(*request, response, before, after);
        before = after;
    }
    if (before != untouched)
    {
        served.reset();
    }
    return 0;
}
