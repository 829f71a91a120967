#ifndef TESTS_VM_PROGRAMS_UVCCAMERA_H
#define TESTS_VM_PROGRAMS_UVCCAMERA_H

#include "tests/vm/programs/Description.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vm {

using Bytes = std::vector<std::uint8_t>;

// How a device ends a control request.
struct Answer
{
    enum class Kind
    {
        Done,
        Stall,
        Never,
        Unplug
    };

    Kind kind = Kind::Stall;
    Bytes data;  // of a request for data: never longer than was asked for
};

// What the camera does with the next settings of a control.
struct Fault
{
    enum class Kind
    {
        Stall,
        Hang,
        Unplug
    };

    Kind kind = Kind::Stall;
    int code = 0;  // of a stall: what the camera answers when it is asked why, 0 for another stall
};

// A USB camera by the UVC 1.1 rules, as seen from its side of the cable: what it answers to control requests, and its
// pictures by bulk transfers: YUYV that follows its controls, or always the same JPEG. Says on standard output what is done
// to it.
class UvcCamera
{
public:
    static constexpr int kWidth = 160;
    static constexpr int kHeight = 120;

    explicit UvcCamera(Description description);

    // As after power came on: every control at its default.
    void powerOn();

    // The data of a request to the device is in `data`, that of others is asked for with a length of `length`.
    Answer control(const std::array<std::uint8_t, 8>& setup, const Bytes& data);

    Bytes picture() const;

    // 100 nanoseconds between two pictures.
    std::uint32_t frameInterval() const;

    // Both throw std::runtime_error if there is no such control.
    void setFault(const std::string& name, Fault fault);
    void change(const std::string& name, long value);

    void clearFaults();

private:
    Control& controlNamed(const std::string& name);
    const Control* find(const ControlKind& kind) const;
    long value(const char* name, long without) const;
    Bytes descriptor(int type, int index) const;
    Bytes deviceDescriptor() const;
    Bytes configuration() const;
    Bytes controlInterface() const;
    Bytes streamingInterface() const;
    std::uint32_t controlBits(int unit) const;
    Answer standardRequest(const std::array<std::uint8_t, 8>& setup) const;
    Answer streamingRequest(int request, int selector, const Bytes& data);
    Answer unitRequest(int request, int unit, int selector, const Bytes& data);
    Answer set(const std::vector<const ControlKind*>& halves, const Bytes& data);

    Description camera_;
    std::map<std::string, Fault> faults_;
    int whyStalled_ = 0;
    Bytes probe_;
};

}  // namespace vm

#endif
