#include "tests/vm/programs/UvcCamera.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace vm {

namespace {

constexpr int kPictureBytes = UvcCamera::kWidth * UvcCamera::kHeight * 2;
constexpr std::uint32_t kIntervals[] = {333333, 666666};  // 30 and 15 pictures a second
constexpr int kPayloadBytes = 16384;
constexpr std::size_t kProbeBytes = 34;
constexpr std::size_t kIntervalAt = 4;  // in the probe

// USB requests.
constexpr int kGetStatus = 0, kGetDescriptor = 6, kGetConfiguration = 8, kGetInterface = 10;
// UVC requests.
constexpr int kSetCur = 0x01, kGetCur = 0x81, kGetMin = 0x82, kGetMax = 0x83, kGetRes = 0x84, kGetLen = 0x85,
              kGetInfo = 0x86, kGetDef = 0x87;
constexpr int kCommit = 2;     // selector of the streaming interface
constexpr int kErrorCode = 2;  // selector of the control interface

void append(Bytes& to, const Bytes& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

// The lowest `size` bytes, the least first.
void append(Bytes& to, std::uint32_t number, int size)
{
    for (int byte = 0; byte < size; ++byte)
    {
        to.push_back(static_cast<std::uint8_t>(number >> (8 * byte)));
    }
}

void put(Bytes& to, std::size_t at, std::uint32_t number, int size)
{
    Bytes bytes;
    append(bytes, number, size);
    std::copy(bytes.begin(), bytes.end(), to.begin() + static_cast<std::ptrdiff_t>(at));
}

long number(const Bytes& data, const ControlKind& kind)
{
    std::uint32_t bits = 0;
    for (int byte = kind.size - 1; byte >= 0; --byte)
    {
        bits = bits << 8 | data[static_cast<std::size_t>(kind.offset + byte)];
    }
    if (!kind.isSigned)
    {
        return bits;
    }
    const int unused = 32 - 8 * kind.size;
    return static_cast<std::int32_t>(bits << unused) >> unused;
}

Bytes stringDescriptor(const std::u16string& text)
{
    Bytes bytes{static_cast<std::uint8_t>(2 + 2 * text.size()), 3};
    for (const char16_t unit : text)
    {
        append(bytes, unit, 2);
    }
    return bytes;
}

std::uint8_t shade(double value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
}

Answer done(Bytes data = {})
{
    return {Answer::Kind::Done, std::move(data)};
}

}  // namespace

UvcCamera::UvcCamera(Description description) : camera_(std::move(description))
{
    powerOn();
}

void UvcCamera::powerOn()
{
    for (Control& control : camera_.controls)
    {
        control.current = control.byDefault;
    }
    probe_.assign(kProbeBytes, 0);
    probe_[0] = probe_[2] = probe_[3] = 1;  // the one format in its one size
    put(probe_, kIntervalAt, kIntervals[0], 4);
    put(probe_, 18, kPictureBytes, 4);
    put(probe_, 22, kPayloadBytes, 4);
    put(probe_, 26, 48000000, 4);  // clock
    probe_[30] = 3;
    probe_[31] = probe_[33] = 1;
}

Answer UvcCamera::control(const std::array<std::uint8_t, 8>& setup, const Bytes& data)
{
    const int kind = setup[0] & 0x60;
    const std::size_t length = setup[6] | setup[7] << 8;
    Answer answer;
    if (kind == 0)
    {
        answer = standardRequest(setup);
    }
    else if (kind == 0x20 && setup[4] == 1)
    {
        answer = streamingRequest(setup[1], setup[3], data);
    }
    else if (kind == 0x20 && setup[4] == 0)
    {
        answer = unitRequest(setup[1], setup[5], setup[3], data);
    }
    answer.data.resize(std::min(answer.data.size(), length));
    return answer;
}

Answer UvcCamera::standardRequest(const std::array<std::uint8_t, 8>& setup) const
{
    switch (setup[1])
    {
    case kGetDescriptor:
    {
        Bytes bytes = descriptor(setup[3], setup[2]);
        return bytes.empty() ? Answer{} : done(std::move(bytes));
    }
    case kGetStatus:
        return done({0, 0});
    case kGetConfiguration:
        return done({1});
    case kGetInterface:
        return done({0});
    default:
        return done();
    }
}

Bytes UvcCamera::descriptor(int type, int index) const
{
    if (type == 1)
    {
        return deviceDescriptor();
    }
    if (type == 2)
    {
        return configuration();
    }
    if (type == 3 && index == 0)
    {
        return {4, 3, 0x09, 0x04};
    }
    if (type == 3 && index == 2)
    {
        return stringDescriptor(camera_.name);
    }
    if (type == 3 && index == 3)
    {
        return stringDescriptor(camera_.serial);
    }
    return {};
}

Bytes UvcCamera::deviceDescriptor() const
{
    Bytes bytes{18, 1, 0x00, 0x02, 0xef, 2, 1, 64};
    append(bytes, camera_.vendor, 2);
    append(bytes, camera_.product, 2);
    append(bytes, {0x00, 0x01, 0, 2, static_cast<std::uint8_t>(camera_.serial.empty() ? 0 : 3), 1});
    return bytes;
}

Bytes UvcCamera::configuration() const
{
    Bytes bytes{9, 2, 0, 0, 2, 1, 0, 0x80, 50};
    append(bytes, {8, 11, 0, 2, 14, 3, 0, 0});  // both interfaces are one function
    append(bytes, controlInterface());
    append(bytes, streamingInterface());
    put(bytes, 2, static_cast<std::uint32_t>(bytes.size()), 2);
    return bytes;
}

Bytes UvcCamera::controlInterface() const
{
    Bytes units{13, 0x24, 1, 0x10, 0x01, 0, 0, 0x00, 0x6c, 0xdc, 0x02, 1, 1};
    append(units, {18, 0x24, 2, kCameraTerminal, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 3});
    append(units, controlBits(kCameraTerminal), 3);
    append(units, {11, 0x24, 5, kProcessingUnit, kCameraTerminal, 0, 0, 2});
    append(units, controlBits(kProcessingUnit), 2);
    append(units, {0});
    append(units, {26, 0x24, 6, kExtensionUnit});
    append(units, {'v', 'm', ' ', 'c', 'a', 'm', 'e', 'r', 'a', ' ', 'u', 'n', 'i', 't', ' ', '1'});
    append(units, {2, 1, kProcessingUnit, 1, static_cast<std::uint8_t>(controlBits(kExtensionUnit)), 0});
    append(units, {9, 0x24, 3, 3, 0x01, 0x01, 0, kExtensionUnit, 0});
    put(units, 5, static_cast<std::uint32_t>(units.size()), 2);

    Bytes bytes{9, 4, 0, 0, 0, 14, 1, 0, 0};
    append(bytes, units);
    return bytes;
}

// With a bulk endpoint and no other setting: what carries it here knows no isochronous transfers.
Bytes UvcCamera::streamingInterface() const
{
    Bytes formats{14, 0x24, 1, 1, 0, 0, 0x81, 0, 3, 0, 0, 0, 1, 0};
    if (camera_.jpeg.empty())
    {
        append(formats, {27, 0x24, 4, 1, 1, 'Y', 'U', 'Y', '2', 0, 0, 0x10, 0, 0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71});
        append(formats, {16, 1, 0, 0, 0, 0});
    }
    else
    {
        append(formats, {11, 0x24, 6, 1, 1, 0, 1, 0, 0, 0, 0});
    }
    append(formats, {34, 0x24, static_cast<std::uint8_t>(camera_.jpeg.empty() ? 5 : 7), 1, 0});
    append(formats, kWidth, 2);
    append(formats, kHeight, 2);
    append(formats, kPictureBytes * 8 * 15, 4);
    append(formats, kPictureBytes * 8 * 30, 4);
    append(formats, kPictureBytes, 4);
    append(formats, kIntervals[0], 4);
    append(formats, {2});
    append(formats, kIntervals[0], 4);
    append(formats, kIntervals[1], 4);
    append(formats, {6, 0x24, 13, 1, 1, 4});
    put(formats, 4, static_cast<std::uint32_t>(formats.size()), 2);

    Bytes bytes{9, 4, 1, 0, 1, 14, 2, 0, 0};
    append(bytes, formats);
    append(bytes, {7, 5, 0x81, 2, 0x00, 0x02, 0});
    return bytes;
}

std::uint32_t UvcCamera::controlBits(int unit) const
{
    std::uint32_t bits = 0;
    for (const Control& control : camera_.controls)
    {
        bits |= control.kind->unit == unit ? 1U << control.kind->bit : 0;
    }
    return bits;
}

Answer UvcCamera::streamingRequest(int request, int selector, const Bytes& data)
{
    switch (request)
    {
    case kSetCur:
        if (data.size() > kIntervalAt + 4)
        {
            const bool slow = number(data, {"", 0, 0, 0, kIntervalAt, 4, false}) > kIntervals[0];
            put(probe_, kIntervalAt, kIntervals[slow ? 1 : 0], 4);
        }
        if (selector == kCommit)
        {
            std::printf("interval %u\n", frameInterval());
        }
        return done();
    case kGetInfo:
        return done({3});
    case kGetLen:
        return done({kProbeBytes, 0});
    default:
        return done(probe_);
    }
}

const Control* UvcCamera::find(const ControlKind& kind) const
{
    const auto found = std::find_if(camera_.controls.begin(), camera_.controls.end(),
                                    [&kind](const Control& control) { return control.kind == &kind; });
    return found == camera_.controls.end() ? nullptr : &*found;
}

Answer UvcCamera::unitRequest(int request, int unit, int selector, const Bytes& data)
{
    if (unit == 0 && selector == kErrorCode && request == kGetCur && whyStalled_ != 0)
    {
        return done({static_cast<std::uint8_t>(std::exchange(whyStalled_, 0))});
    }
    const auto halves = halvesOf(static_cast<std::uint8_t>(unit), static_cast<std::uint8_t>(selector));
    if (std::none_of(halves.begin(), halves.end(), [this](const ControlKind* half) { return find(*half); }))
    {
        return {};
    }
    if (request == kSetCur)
    {
        return set(halves, data);
    }
    Bytes values;
    std::uint8_t abilities = 0;
    for (const ControlKind* half : halves)
    {
        const Control* control = find(*half);
        const Control absent;
        const Control& from = control ? *control : absent;
        const long value = request == kGetCur   ? from.current
                           : request == kGetMin ? from.minimum
                           : request == kGetMax ? from.maximum
                           : request == kGetRes ? from.step
                                                : from.byDefault;
        append(values, static_cast<std::uint32_t>(value), half->size);
        abilities |= from.abilities;
    }
    switch (request)
    {
    case kGetInfo:
        return done({abilities});
    case kGetLen:
        return done({static_cast<std::uint8_t>(values.size()), 0});
    case kGetCur:
    case kGetMin:
    case kGetMax:
    case kGetRes:
    case kGetDef:
        return done(values);
    default:
        return {};
    }
}

Answer UvcCamera::set(const std::vector<const ControlKind*>& halves, const Bytes& data)
{
    for (const ControlKind* half : halves)
    {
        const auto fault = faults_.find(half->name);
        if (fault != faults_.end())
        {
            whyStalled_ = fault->second.code;
            switch (fault->second.kind)
            {
            case Fault::Kind::Stall:
                std::printf("stalled %s\n", half->name);
                return {};
            case Fault::Kind::Hang:
                std::printf("hung %s\n", half->name);
                return {Answer::Kind::Never, {}};
            case Fault::Kind::Unplug:
                return {Answer::Kind::Unplug, {}};
            }
        }
        const Control* control = find(*half);
        if (data.size() < static_cast<std::size_t>(half->offset + half->size))
        {
            return {};
        }
        const long wanted = number(data, *half);
        if (control && ((control->abilities & kSet) == 0 || wanted < control->minimum || wanted > control->maximum))
        {
            std::printf("refused %s = %ld\n", half->name, wanted);
            return {};
        }
    }
    for (const ControlKind* half : halves)
    {
        if (find(*half))
        {
            change(half->name, number(data, *half));
            std::printf("%s = %ld\n", half->name, number(data, *half));
        }
    }
    return done();
}

Control& UvcCamera::controlNamed(const std::string& name)
{
    for (Control& control : camera_.controls)
    {
        if (name == control.kind->name)
        {
            return control;
        }
    }
    throw std::runtime_error("the camera has no control " + name);
}

void UvcCamera::setFault(const std::string& name, Fault fault)
{
    faults_[controlNamed(name).kind->name] = fault;
}

void UvcCamera::clearFaults()
{
    faults_.clear();
}

void UvcCamera::change(const std::string& name, long value)
{
    controlNamed(name).current = value;
}

std::uint32_t UvcCamera::frameInterval() const
{
    return static_cast<std::uint32_t>(number(probe_, {"", 0, 0, 0, kIntervalAt, 4, false}));
}

long UvcCamera::value(const char* name, long without) const
{
    for (const Control& control : camera_.controls)
    {
        if (std::string(control.kind->name) == name)
        {
            return control.current;
        }
    }
    return without;
}

// Dark at the left, bright at the right, blue all over. Every control does what its name says, in whole ranges: the time
// is that of the light when the exposure is manual or by shutter priority, 20 ms being right.
Bytes UvcCamera::picture() const
{
    if (!camera_.jpeg.empty())
    {
        return {camera_.jpeg.begin(), camera_.jpeg.end()};
    }
    const bool manual = (value("exposure_mode", 8) & 5) != 0;
    const double light = (manual ? static_cast<double>(value("exposure_time", 200)) / 200 : 1) *
                         (1 + static_cast<double>(value("gain", 0)) / 100);
    const double contrast = static_cast<double>(value("contrast", 32)) / 32;
    const double brightness = static_cast<double>(value("brightness", 0));
    const double colour = 40.0 * static_cast<double>(value("saturation", 64)) / 64;
    const bool mirrored = value("mirror", 0) != 0;
    const bool covered = value("privacy", 0) != 0;
    Bytes row;
    for (int column = 0; column < kWidth; ++column)
    {
        const int seen = mirrored ? kWidth - 1 - column : column;
        const double scene = covered ? 16 : (28 + 200.0 * seen / kWidth) * light;
        row.push_back(shade((scene - 128) * contrast + 128 + brightness));
        row.push_back(shade(column % 2 == 0 ? 128 + colour : 128 - colour));
    }
    Bytes whole;
    whole.reserve(kPictureBytes);
    for (int line = 0; line < kHeight; ++line)
    {
        append(whole, row);
    }
    return whole;
}

}  // namespace vm
