#include "benchmarks/Web.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
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
#include "tests/support/StoppablePicture.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kCameraPath[] = "/tmp/camera.sock";
constexpr char kConstantPath[] = "/tmp/constant.sock";
constexpr int kBatch = 16;
constexpr int kWarmUpBatches = 5;
constexpr double kSoon = 0.100;
constexpr std::size_t kFrameBytes = 60'000;
constexpr char kFrameByte = 'j';
constexpr auto kFrameTime = std::chrono::milliseconds(40);

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

    int descriptor() const { return socket_.number(); }

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

class WithPicture : public services::Wrapper
{
public:
    using Wrapper::Wrapper;

    // Frames of as many bytes as those of a camera, at its rate.
    std::unique_ptr<services::PictureSource> openPicture() override
    {
        return std::make_unique<support::PacedPicture>(kFrameTime, std::string(kFrameBytes, kFrameByte));
    }
};

// A camera on a service, in manual mode, behind its interface.
class ServedCamera
{
public:
    explicit ServedCamera(services::Journal& service)
    {
        const Documents documents = shipped("fixed");
        writeFile(styleFile(documents), documents.style);
        writeFile(diversityFile(documents), documents.diversity);
        services::setServiceInForce(&service);
        host::setClock(std::make_shared<ClockWithoutPauses>());
        camera_ = std::make_unique<camera::Camera>(
            camera::Camera::Setup{documents.model, SENSORDLL_SOURCE_DIR "/share", 1.0, std::nullopt, true}, service);
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

// Looks at the picture from many connections, and counts what comes.
class Viewers
{
public:
    explicit Viewers(int count) : bytes_(static_cast<std::size_t>(count))
    {
        for (int i = 0; i < count; ++i)
        {
            clients_.emplace_back(kCameraPath);
            clients_.back().say("GET /api/stream.mjpg HTTP/1.0\r\nHost: camera\r\n\r\n");
        }
        reading_ = std::thread([this] { read(); });
    }
    ~Viewers()
    {
        ending_ = true;
        reading_.join();
    }
    Viewers(const Viewers&) = delete;
    Viewers& operator=(const Viewers&) = delete;

    // That each has been sent of frames.
    std::vector<std::size_t> bytes() const { return {bytes_.begin(), bytes_.end()}; }

private:
    void read()
    {
        std::vector<pollfd> waits;
        for (const Client& client : clients_)
        {
            waits.push_back({client.descriptor(), POLLIN, 0});
        }
        std::vector<char> buffer(256 << 10);
        while (!ending_)
        {
            poll(waits.data(), waits.size(), 10);
            for (std::size_t i = 0; i < waits.size(); ++i)
            {
                const ssize_t count =
                    waits[i].revents == 0 ? 0 : recv(waits[i].fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
                waits[i].fd = waits[i].revents != 0 && count <= 0 ? -1 : waits[i].fd;  // the server has ended
                bytes_[i] += static_cast<std::size_t>(
                    std::count(buffer.data(), buffer.data() + std::max<ssize_t>(count, 0), kFrameByte));
            }
        }
    }

    std::vector<Client> clients_;
    std::vector<std::atomic<std::size_t>> bytes_;
    std::atomic<bool> ending_ = false;
    std::thread reading_;
};

double fewestFrames(const std::vector<std::size_t>& before, const std::vector<std::size_t>& after)
{
    std::size_t fewest = after[0] - before[0];
    for (std::size_t i = 1; i < after.size(); ++i)
    {
        fewest = std::min(fewest, after[i] - before[i]);
    }
    return static_cast<double>(fewest) / kFrameBytes;
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
    ServedCamera served(app::service());
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
    WithPicture picture(app::service());
    services::Journal service(picture);
    ServedCamera served(service);
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
    const Viewers viewers(kViewers);
    const std::string slowly = requestFor(OneKey::patch, 50);
    std::vector<double> taken;
    const std::vector<std::size_t> sentBefore = viewers.bytes();
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
    result.frames = fewestFrames(sentBefore, viewers.bytes()) / secondsSince(begin);
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
