#pragma once

#include "services/sim/DayNight.h"
#include "services/sim/Lens.h"
#include "services/sim/ParameterTable.h"
#include "services/sim/Values.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// The image-adjust service of a camera that needs no hardware. README.md says what it models.
namespace sim {

namespace picture {
struct View;
}

// Brightness of the infrared lamps in per cent; all 0 by day and when they are switched off.
struct Infrared
{
    int near;
    int medium;
    int far;
};

// Thread-safe. Time comes from host::clock(); nothing runs by itself, what moves is worked out when looked at.
class Service : public ImageService, public World
{
public:
    static constexpr int kFirstModule = 1;
    static constexpr double kPowerOnLux = 300;

    Service();

    int call(ia_cmd_e cmd, int opt, void* data) override;

    // Power-on state: every value, the lens, the registers, and the scene: 300 lux, an object at 10 m, clear
    // weather. Keeps the module.
    void reset();

    bool setModule(int id) override;
    int module() const;

    // ---- the scene ----

    World* world() override { return this; }
    void setLight(double lux) override;
    void setDaylight() override;
    std::optional<double> light() const override;
    // At least 0.01 metres.
    void setDistance(double metres) override;
    double distance() const override;
    void setWeather(Weather weather) override;
    Weather weather() const override;

    // ---- what cannot be read as a parameter ----

    // What command 153 reads.
    bool night() const;
    Infrared infrared() const;
    std::optional<int> lamps() const override;
    LensState lens() const;

    // False when the command is unknown or is no single word.
    bool value(ia_cmd_e cmd, int& value) const;
    std::vector<ParameterState> parameters() const override;
    std::optional<ParameterState> parameter(ia_cmd_e cmd) const override;

    // ---- the picture ----

    // All that a picture sees of the camera now.
    picture::View look() const;
    // The service must outlive it.
    std::unique_ptr<PictureSource> openPicture() override;

private:
    int perform(ia_cmd_e cmd, int opt, void* data);
    int performRecord(const Parameter& parameter, int opt, void* data);
    int set(const Parameter& parameter, const void* data);
    int setWord(const Parameter& parameter, int value);
    int setWords(const u32* commands, const u32* words, int count);
    void moveOffset(int direction);
    void limitOffsets();
    int word(const Parameter& parameter) const;
    AllowedValues allowedNow(const Parameter& parameter) const;
    int check(int opt, ia_sensor_check_st& request);
    void powerOn();
    Infrared lampsNow() const;
    ParameterState stateOf(const Parameter& parameter) const;
    void catchUp() const;
    double secondsOfDay() const;

    mutable std::mutex mutex_;

    // Guarded by mutex_. Time passes in const members too, hence mutable.
    mutable std::shared_ptr<host::Clock> clock_;
    mutable host::Span now_{0};
    mutable double wallAtZero_ = 0;  // seconds of day when the clock's monotonic time was 0
    const SensorModule* module_;
    Values values_;
    Light light_;
    Weather weather_;
    mutable DayNight dayNight_;
    mutable Lens lens_;
    std::map<int, int> registers_;
};

}  // namespace sim
