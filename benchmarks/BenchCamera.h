#pragma once

#include <memory>
#include <string>
#include <vector>

#include "HostPlatform.h"
#include "SensorPaths.h"
#include "sensordll.h"

// A camera on the real library: documents in the private file tree, a service and a video module that cost nothing,
// no marker file, and a clock without pauses.
namespace bench {

using namespace sensorpaths;

// Whole files; a failure ends the program.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

struct Documents
{
    std::string model;
    std::string machineInfo;
    std::string style;
    std::string diversity;
    ModuleConfigure module;
    bool isDome;  // which of the two pairs of documents the library reads
};

Documents shipped(const std::string& model);

// One tab with the five schedule keys and then these, in this order.
Documents generated(const std::vector<u32>& keys);

// The name of the style and of the diversity document that the library reads.
std::string styleFile(const Documents& documents);
std::string diversityFile(const Documents& documents);

// Waits of the thread that made it return at once; those of the sensor thread last until it is stopped, so that
// nothing runs beside a measurement. It is always noon.
class ClockWithoutPauses : public host::Clock
{
public:
    std::tm localTime() const override;
    host::Span monotonic() const override;
    void wait(host::Span span) override;
    void wake() override;

private:
    const std::thread::id maker_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable changed_;
};

class SilentVideo : public VideoStreamModule
{
public:
    int notifyParam(int, int) override { return SNS_SUCCESS; }
    std::vector<AVStreamParam> getStreamParams() const override { return {}; }
};

// One at a time: the library's configuration is global.
class BenchCamera
{
public:
    // Empties the private tree and starts the camera once; it is then in manual mode on scheme 0, and its scheme
    // files and its version file are there.
    explicit BenchCamera(Documents documents,
                         std::shared_ptr<host::Clock> clock = std::make_shared<ClockWithoutPauses>());
    ~BenchCamera();
    BenchCamera(const BenchCamera&) = delete;
    BenchCamera& operator=(const BenchCamera&) = delete;

    void start();
    void stop();

    // Constructed and stopped; init is left to the caller.
    void prepare();

    ISensorController& controller() { return *controller_; }
    const Documents& documents() const { return documents_; }

private:
    const Documents documents_;
    SilentVideo video_;
    std::unique_ptr<ISensorController> controller_;
};

}  // namespace bench
