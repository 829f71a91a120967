#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ia_ioctrl.h"
#include "services/Picture.h"
#include "services/Status.h"

// The image-adjust service as its host sees it: one call, and what a front end may ask beyond it.
namespace services {

enum class Kind : unsigned char
{
    range,    // every value from minimum to maximum that is a whole number of steps above minimum
    choice,   // one of the listed values
    action,   // 1 acts, 0 does nothing; reads as 0
    reading,  // may only be read
    record,   // data is a record or a text, not one word
};

// What a parameter allows now.
struct AllowedValues
{
    int minimum;
    int maximum;
    int step;
    int defaultValue;
    std::vector<int> items;  // ascending; empty when every step from minimum to maximum is allowed

    bool contains(int value) const;
    int nearest(int value) const;  // the allowed value next to it, the lower one of two equally near
};

// One row for a page or a prompt: what a parameter allows and what it holds now.
struct ParameterState
{
    ia_cmd_e cmd;
    std::string name;  // English
    std::string unit;  // "" for numbers without one and for choices
    Kind kind;
    AllowedValues allowed;
    std::map<int, std::string> labels;  // of a choice's values, those too that are not allowed now
    int value;

    // "" without one.
    std::string labelOf(int wanted) const;
};

// In per cent; what is outside 0 to 100 counts as the end next to it.
struct Weather
{
    static constexpr int kMost = 100;

    int haze = 0;   // 100: fog that hides what is 60 m away
    int wind = 20;  // 100: a storm in the trees
};

// What is around the camera, where a service lets it be changed. Thread-safe.
class World
{
public:
    virtual ~World() = default;

    // Light on the sensor, in lux, from now on; what is outside 0 to a million counts as the nearer end.
    virtual void setLight(double lux) = 0;
    // Light that follows the clock's time of day from now on.
    virtual void setDaylight() = 0;
    // Metres to the object that the lens focuses on.
    virtual void setDistance(double metres) = 0;
    virtual double distance() const = 0;
    virtual void setWeather(Weather weather) = 0;
    virtual Weather weather() const = 0;
};

// How what was wished of a parameter stands with a real device.
enum class Standing : unsigned char
{
    applied,
    waiting,    // on its way
    held,       // an automatic of the device is on; sent when it is off
    busy,       // not while the device is used; tried again
    stalled,    // the device fails, or does not answer; tried again
    refused,    // the device does not take this value
    overruled,  // another program has set another value
    lost,       // the device is gone; sent when it is back
};

// A control of the device that is behind no command.
struct NamedControl
{
    std::string name;   // [a-z0-9_]+, made of the device's own; one of a kind
    std::string title;  // the device's own, printable UTF-8
    Kind kind;          // range, choice or action
    AllowedValues allowed;
    std::map<int, std::string> labels;  // of a choice's values
    int value;                          // as wished
    Standing standing;
};

// The device behind a service that has a real one. Thread-safe; nothing here waits for it.
class Device
{
public:
    virtual ~Device() = default;

    virtual std::string name() const = 0;
    virtual bool isThere() const = 0;
    // It came back with other controls than those that the camera's documents are made of.
    virtual bool hasOtherControls() const = 0;

    // Of the commands that are not applied.
    virtual std::map<ia_cmd_e, Standing> standings() const = 0;
    // Words that another program has set and that count from now on, each told once.
    virtual std::map<ia_cmd_e, int> takenOver() = 0;

    virtual std::vector<NamedControl> controls() const = 0;
    // A Status: kUnknownCommand without such a control, kOutOfRange.
    virtual int set(const std::string& control, int value) = 0;
};

class PlannedFailures;

// Thread-safe: the library calls from the host's threads and from the sensor thread at once.
class ImageService
{
public:
    virtual ~ImageService() = default;

    // One call of ia_ioctrl: a Status, or any other number for a failure of the service's own.
    virtual int call(ia_cmd_e cmd, int opt, void* data) = 0;

    // Fits the sensor module of that number, as the board's configuration names it, in its power-on state. False, and
    // nothing changes, when there is none.
    virtual bool setModule(int id) = 0;

    // Every command that is a single word and that the device really has, in the order of a page.
    virtual std::vector<ParameterState> parameters() const = 0;
    // Nothing when parameters() has no such row.
    virtual std::optional<ParameterState> parameter(ia_cmd_e cmd) const = 0;

    // Lux on the sensor; nothing where it is not measured.
    virtual std::optional<double> light() const { return std::nullopt; }
    // The brightest infrared lamp, in per cent; nothing without lamps.
    virtual std::optional<int> lamps() const { return std::nullopt; }

    // Null for a service whose surroundings are what they are.
    virtual World* world() { return nullptr; }
    // Null where no calls can be made to fail.
    virtual PlannedFailures* failures() { return nullptr; }
    // Null for a service without a real one.
    virtual Device* device() { return nullptr; }

    // A picture of its own for each reader; null for a service without one. Throws std::runtime_error, with the reason,
    // when there is one that cannot be had.
    virtual std::unique_ptr<PictureSource> openPicture() { return nullptr; }
};

// A service in front of another one, which must outlive it; passes everything on.
class Wrapper : public ImageService
{
public:
    explicit Wrapper(ImageService& inner) : inner_(inner) {}

    int call(ia_cmd_e cmd, int opt, void* data) override { return inner_.call(cmd, opt, data); }
    bool setModule(int id) override { return inner_.setModule(id); }
    std::vector<ParameterState> parameters() const override { return inner_.parameters(); }
    std::optional<ParameterState> parameter(ia_cmd_e cmd) const override { return inner_.parameter(cmd); }
    std::optional<double> light() const override { return inner_.light(); }
    std::optional<int> lamps() const override { return inner_.lamps(); }
    World* world() override { return inner_.world(); }
    PlannedFailures* failures() override { return inner_.failures(); }
    Device* device() override { return inner_.device(); }
    std::unique_ptr<PictureSource> openPicture() override { return inner_.openPicture(); }

protected:
    ImageService& inner() { return inner_; }

private:
    ImageService& inner_;
};

// Makes ia_ioctrl forward to this service; null for none, and then every call is an unknown command. It must live as
// long as the library may call, which ends with uinit, and, for a host that ends without it, with the process. A call
// that has begun may still be with the service before, which is returned.
ImageService* setServiceInForce(ImageService* service);

}  // namespace services
