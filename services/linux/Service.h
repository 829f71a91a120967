#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "services/ImageService.h"
#include "services/daynight/LightTrace.h"
#include "services/linux/Board.h"
#include "services/linux/Capture.h"
#include "services/linux/ControlTable.h"
#include "services/linux/Description.h"
#include "services/linux/DeviceSource.h"
#include "services/linux/DeviceWorker.h"
#include "services/linux/Devices.h"
#include "services/linux/NamedControls.h"

namespace devices {

// What a camera has of the commands, in the order of a page. The values are those of first contact; the defaults are the
// devices' own, and the known ones of what no device has by itself. Reentrant.
std::vector<services::ParameterState> parametersOf(const Description& description, const Board& board);

struct LookTimes
{
    std::chrono::milliseconds every{1'000};   // looks at light and clock
    std::chrono::milliseconds settling{500};  // after a set that concerns day and night, before anything moves for it
};

// The image-adjust service of a camera that Linux drives. Thread-safe; no call waits for a device, but the end of this
// object waits for a call of a device under way. Words are judged by the description, kept as they were set, and sent by
// the devices' own threads.
class Service : public services::ImageService, public services::Device
{
public:
    // The source must outlive it.
    Service(const Description& description, const Board& board, DeviceSource& source, Patience patience = {});
    Service(const Description& description, const Board& board, DeviceSource& source, Devices devices,
            Patience patience, LookTimes looks);
    ~Service() override;

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    int call(ia_cmd_e cmd, int opt, void* data) override;
    // There is one module, 1.
    bool setModule(int id) override { return id == 1; }
    std::vector<services::ParameterState> parameters() const override;
    std::optional<services::ParameterState> parameter(ia_cmd_e cmd) const override;
    std::optional<double> light() const override;
    std::optional<int> lamps() const override;
    services::Device* device() override { return this; }
    std::unique_ptr<services::PictureSource> openPicture() override;

    // Writes what the light sensor shows to this file, and to file + ".old", from the next look on. Once.
    void recordLight(const std::string& file);

    // The documents are of another board or another version of this program: once all devices are there, they count as
    // ones with other controls. Before that nobody could make new ones.
    void callDocumentsOld();

    // ---- the device ----

    std::string name() const override { return description_.name; }
    bool isThere() const override;
    bool hasOtherControls() const override;
    std::map<ia_cmd_e, services::Standing> standings() const override;
    std::map<ia_cmd_e, int> takenOver() override;
    std::vector<services::NamedControl> controls() const override;
    int set(const std::string& control, int value) override;

private:
    enum Part
    {
        kCamera,
        kLamps,
        kFilterPart,
        kParts
    };

    // What the source tells, as long as this lives.
    class Ears
    {
    public:
        explicit Ears(Service& service);
        ~Ears();

    private:
        DeviceSource& source_;
    };

    class Link : public WorkerListener
    {
    public:
        Link(Service& service, Part part) : service_(service), part_(part) {}
        void opened(const std::vector<Control>& controls, const Values&) override { service_.opened(part_, controls); }
        void lost() override { service_.lost(part_); }
        void told(const News& news) override { service_.told(news); }

    private:
        Service& service_;
        const Part part_;
    };

    static Part partOf(u32 control);

    // ---- from the library, with mutex_ ----
    int perform(const services::ParameterState& row, int opt, void* data);
    int setData(const services::ParameterState& row, const void* data);
    int setWords(const ia_cmd_e* commands, const u32* words, int count);
    int setWord(const services::ParameterState& row, int value);
    int act(ia_cmd_e cmd);
    void keep(ia_cmd_e cmd, int value);
    void wish(const std::vector<u32>& controls);
    void send(const std::vector<Setting>& settings);
    const services::ParameterState* find(ia_cmd_e cmd) const;
    services::ParameterState stateOf(const services::ParameterState& row) const;
    int word(ia_cmd_e cmd) const;

    // ---- from the workers ----
    void opened(Part part, const std::vector<Control>& controls);
    void lost(Part part);
    void told(const News& news);
    void compare();
    void takeOver(u32 control, std::int64_t value);
    services::Standing standingOf(u32 control) const;
    services::Standing standingOf(ia_cmd_e cmd) const;

    // ---- day and night ----
    void watch();
    std::optional<daynight::Sample> look();
    void followNight();
    int nightWord(u32 cmd) const;
    bool isSettled() const;
    bool waitsForNight(u32 control) const;
    bool doLampsShine() const;
    Devices withLight(Devices devices);
    std::optional<double> lightByExposure();
    Surroundings surroundings() const;

    const Description description_;
    const Board board_;
    DeviceSource& source_;
    const Devices devices_;  // the light is the camera's own where its board says so
    const LookTimes looks_;
    const ControlTable table_;
    const std::vector<services::ParameterState> rows_;  // with the first words
    const std::vector<Named> named_;
    const std::vector<u32> byNight_;  // controls that are others by night

    mutable std::mutex mutex_;  // taken before a worker's; never held during a call of a device
    std::condition_variable changed_;

    // Guarded by mutex_.
    Words words_;    // as they are answered
    Words wished_;   // of those, what was set, and whether it is night
    Values wishes_;  // of controls, as they were sent to the workers
    Values namedWords_;
    std::map<ia_cmd_e, int> taken_;
    std::map<Part, std::vector<Control>> found_;
    std::set<Part> there_;
    bool areDocumentsOld_ = false;
    bool hasOtherControls_ = false;
    daynight::Engine engine_;
    std::optional<double> lux_;
    std::unique_ptr<daynight::LightTrace> trace_;  // set once; records on the watcher's thread
    bool isLightTried_ = false;
    std::optional<Instant> nightSet_;  // the last set that concerned day and night; the first one always does
    bool isNightKnown_ = false;        // until then nothing moves for it
    bool areLampsOff_ = false;         // for a moment
    bool isAsked_ = false;             // the thread is to look at once
    bool isEnding_ = false;

    std::optional<host::Span> exposedSince_;  // the watcher's own

    std::array<Link, kParts> links_;
    std::array<std::unique_ptr<DeviceWorker>, kParts> workers_;  // null for what the camera does not have
    const Ears ears_;                                            // from before the first opening to after the last
    std::unique_ptr<Capture> capture_;                           // null where there is no picture
    std::thread watcher_;                                        // where something is other by night
};

}  // namespace devices
