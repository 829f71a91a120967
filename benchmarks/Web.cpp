#include "benchmarks/Web.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/Service.h"
#include "app/web/Api.h"
#include "benchmarks/BenchCamera.h"
#include "camera/Descriptor.h"
#include "services/ImageService.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kCameraPath[] = "/tmp/camera.sock";
constexpr char kConstantPath[] = "/tmp/constant.sock";
constexpr int kBatch = 16;
constexpr int kWarmUpBatches = 5;
constexpr double kSoon = 0.100;

double secondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double quantile(std::vector<double> values, double share)
{
    const auto nth = values.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * share);
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

[[noreturn]] void fail(const std::string& what)
{
    std::perror(what.c_str());
    std::exit(EXIT_FAILURE);
}

class Client
{
public:
    explicit Client(const std::string& path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        {
            fail(path);
        }
    }

    void say(const std::string& text) const
    {
        if (send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        {
            fail("a request");
        }
    }

    // The body of an answer that must be good; of one without end nothing.
    std::string answer()
    {
        std::string read;
        std::size_t end = std::string::npos;
        std::size_t size = 0;
        while (end == std::string::npos || read.size() < end + size)
        {
            char buffer[64 << 10];
            const ssize_t count = recv(socket_.number(), buffer, sizeof buffer, 0);
            if (count <= 0)
            {
                fail("an answer");
            }
            read.append(buffer, static_cast<std::size_t>(count));
            if (end == std::string::npos && read.find("\r\n\r\n") != std::string::npos)
            {
                end = read.find("\r\n\r\n") + 4;
                const std::size_t length = read.find("Content-Length: ");
                size = length < end ? std::strtoul(read.c_str() + length + 16, nullptr, 10) : 0;
            }
        }
        if (read.rfind("HTTP/1.1 200 ", 0) != 0)
        {
            std::fprintf(stderr, "%s\n", read.c_str());
            std::exit(EXIT_FAILURE);
        }
        return read.substr(end);
    }

private:
    camera::Descriptor socket_;
};

std::string requestFor(OneKey what, int value)
{
    const std::string host = " HTTP/1.1\r\nHost: camera\r\n";
    if (what == OneKey::get)
    {
        return "GET /api/parameters/brightness" + host + "\r\n";
    }
    const std::string body = "{\"brightness\":" + std::to_string(value) + "}";
    return "PATCH /api/parameters" + host +
           "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// What a request costs beside the answer itself: the camera's own call, on the lane that the camera would take, and then
// the same text always. Without the call it would answer before the server's thread sleeps, which no camera can: waking
// that thread would be missing.
class Constant : public web::Handler
{
public:
    Constant(std::string text, std::function<void()> call) : text_(std::move(text)), call_(std::move(call)) {}

    Lane lane(const web::Request& request) override { return request.method == "GET" ? Lane::read : Lane::change; }
    web::Response answer(const web::Request&) override
    {
        call_();
        return {200, "application/json", text_};
    }

private:
    const std::string text_;
    const std::function<void()> call_;
};

std::vector<web::ListenSocket> listenAt(const char* path)
{
    std::vector<web::ListenSocket> sockets;
    sockets.push_back(web::ListenSocket::atPath(path, 0600));
    return sockets;
}

// A camera on the camera's own service, in manual mode, behind its interface.
class ServedCamera
{
public:
    ServedCamera()
    {
        const Documents documents = shipped("fixed");
        writeFile(styleFile(documents), documents.style);
        writeFile(diversityFile(documents), documents.diversity);
        services::setServiceInForce(&app::service());
        host::setClock(std::make_shared<ClockWithoutPauses>());
        camera_ = std::make_unique<camera::Camera>(
            camera::Camera::Setup{documents.model, SENSORDLL_SOURCE_DIR "/share", 1.0, std::nullopt, true},
            app::service());
        camera_->setMode(false);
        camera_->setScheme(0);
        api_ = std::make_unique<web::Api>(*camera_, web::Api::Settings());
        server_ = std::make_unique<web::HttpServer>(listenAt(kCameraPath), *api_);
    }
    ~ServedCamera()
    {
        server_.reset();
        api_.reset();
        camera_.reset();
        host::setClock(nullptr);
    }
    ServedCamera(const ServedCamera&) = delete;
    ServedCamera& operator=(const ServedCamera&) = delete;

    camera::Camera& camera() { return *camera_; }
    void end() { server_.reset(); }

private:
    std::unique_ptr<camera::Camera> camera_;
    std::unique_ptr<web::Api> api_;
    std::unique_ptr<web::HttpServer> server_;
};

template <typename Work>
double timed(const Work& work)
{
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < kBatch; ++i)
    {
        work(i);
    }
    return secondsSince(begin) / kBatch;
}

double residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    double whole = 0;
    double resident = 0;
    statm >> whole >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

}  // namespace

RequestCost measureRequest(OneKey what, int batches)
{
    ServedCamera served;
    Client client(kCameraPath);
    client.say(requestFor(what, 60));
    const std::function<void()> callAlone = [&served, what, turn = 0]() mutable {
        ++turn;
        if (what == OneKey::get)
        {
            served.camera().explainKey(KEY_BRIGHTNESS);
        }
        else
        {
            served.camera().apply({{KEY_BRIGHTNESS, 50 + turn % 2}});
        }
    };
    Constant constant(client.answer(), callAlone);
    const web::HttpServer floorServer(listenAt(kConstantPath), constant);
    Client floorClient(kConstantPath);
    std::vector<double> figures;
    std::vector<double> floors;
    std::vector<double> calls;
    std::vector<double> ratios;
    for (int i = -kWarmUpBatches; i < batches; ++i)
    {
        const double floor = timed([&](int turn) {
            floorClient.say(requestFor(what, 50 + turn % 2));
            floorClient.answer();
        });
        const double figure = timed([&](int turn) {
            client.say(requestFor(what, 50 + turn % 2));
            client.answer();
        });
        const double call = timed([&callAlone](int) { callAlone(); });
        if (i >= 0)
        {
            figures.push_back(figure);
            floors.push_back(floor);
            calls.push_back(call);
            ratios.push_back((figure - call) / (floor - call));
        }
    }
    const double figure = quantile(figures, 0.5);
    const double call = quantile(calls, 0.5);
    const double floor = quantile(floors, 0.5) - call;
    return {figure, floor, call, (figure - call) / floor, quantile(ratios, 0.25), quantile(ratios, 0.75)};
}

LoadedServer measureLoadedServer(double seconds)
{
    ServedCamera served;
    const double before = residentBytes();
    std::vector<Client> streams;
    for (int i = 0; i < kStreams; ++i)
    {
        streams.emplace_back(kCameraPath);
        streams.back().say("GET /api/events HTTP/1.1\r\nHost: camera\r\n\r\n");
        streams.back().answer();
    }
    std::vector<Client> slow;
    for (int i = 0; i < kSlowClients; ++i)
    {
        slow.emplace_back(kCameraPath);
    }
    const std::string slowly = requestFor(OneKey::patch, 50);
    std::vector<double> taken;
    const Clock::time_point begin = Clock::now();
    std::size_t said = 0;
    Client client(kCameraPath);
    while (secondsSince(begin) < seconds)
    {
        for (; static_cast<double>(said) <= secondsSince(begin) && said < slowly.size(); ++said)
        {
            for (const Client& one : slow)
            {
                one.say(slowly.substr(said, 1));
            }
        }
        const Clock::time_point asked = Clock::now();
        client.say(requestFor(OneKey::patch, 50 + static_cast<int>(taken.size() % 2)));
        client.answer();
        taken.push_back(secondsSince(asked));
    }
    LoadedServer result = {};
    result.median = quantile(taken, 0.5);
    result.high = quantile(taken, 0.99);
    result.share =
        static_cast<double>(std::count_if(taken.begin(), taken.end(), [](double one) { return one < kSoon; })) /
        static_cast<double>(taken.size());
    result.memory = residentBytes() - before;
    const Clock::time_point ending = Clock::now();
    served.end();
    result.end = secondsSince(ending);
    return result;
}

}  // namespace bench
