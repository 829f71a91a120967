// vm-hid: two USB devices by /dev/uhid, for drivers of Debian's kernel. A lamp of six lights, each of three colours
// (hid-led: /sys/class/leds/luxafor0:red:led0 and so on, 0 to 255), and a bridge with eight lines (hid-cp2112:
// /dev/gpiochipN). Reads commands from standard input, a line each:
//   input LINE 0|1   what is at a line from outside, seen where the line is an input
// Says on standard output, a line each, what arrives: "lamp LIGHT = RED GREEN BLUE" and "line LINE = VALUE" where an output
// changes. Ends with its input.

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/uhid.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

constexpr int kLines = 8;

// Reports of the bridge, by their numbers.
constexpr int kDirections = 2, kLevels = 3, kSetLevels = 4, kVersion = 5, kBusSettings = 6, kLock = 0x20;

// Reports of 63 bytes in both directions, of no usage that anybody else would take.
constexpr std::uint8_t kReports[] = {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x09, 0x01, 0x15, 0x00, 0x26, 0xff,
                                     0x00, 0x75, 0x08, 0x95, 0x3f, 0x81, 0x02, 0x09, 0x01, 0x91, 0x02, 0xc0};

void send(int device, const uhid_event& event)
{
    if (write(device, &event, sizeof event) != static_cast<ssize_t>(sizeof event))
    {
        throw std::runtime_error(std::string("uhid: ") + std::strerror(errno));
    }
}

int create(const char* name, unsigned vendor, unsigned product)
{
    const int device = open("/dev/uhid", O_RDWR | O_CLOEXEC);
    if (device < 0)
    {
        throw std::runtime_error(std::string("/dev/uhid: ") + std::strerror(errno));
    }
    uhid_event event{};
    event.type = UHID_CREATE2;
    uhid_create2_req& request = event.u.create2;
    std::snprintf(reinterpret_cast<char*>(request.name), sizeof request.name, "%s", name);
    std::memcpy(request.rd_data, kReports, sizeof kReports);
    request.rd_size = sizeof kReports;
    request.bus = BUS_USB;
    request.vendor = vendor;
    request.product = product;
    send(device, event);
    return device;
}

uhid_event next(int device)
{
    uhid_event event{};
    if (read(device, &event, sizeof event) <= 0)
    {
        throw std::runtime_error(std::string("uhid: ") + std::strerror(errno));
    }
    return event;
}

void takeLamp(int device)
{
    const uhid_event event = next(device);
    const std::uint8_t* data = event.u.output.data;  // report, command, light, red, green, blue
    if (event.type == UHID_OUTPUT && event.u.output.size >= 6)
    {
        std::printf("lamp %d = %d %d %d\n", data[2], data[3], data[4], data[5]);
    }
}

class Bridge
{
public:
    explicit Bridge(int device) : device_(device) {}

    void take()
    {
        const uhid_event event = next(device_);
        if (event.type == UHID_GET_REPORT)
        {
            give(event.u.get_report);
        }
        else if (event.type == UHID_SET_REPORT)
        {
            accept(event.u.set_report);
        }
    }

    void input(int line, bool high)
    {
        const auto bit = static_cast<std::uint8_t>(1 << line);
        outside_ = static_cast<std::uint8_t>(high ? outside_ | bit : outside_ & ~bit);
    }

private:
    void give(const uhid_get_report_req& request)
    {
        uhid_event event{};
        event.type = UHID_GET_REPORT_REPLY;
        uhid_get_report_reply_req& reply = event.u.get_report_reply;
        reply.id = request.id;
        reply.data[0] = request.rnum;
        switch (request.rnum)
        {
        case kDirections:
            reply.data[1] = outputs_;
            reply.data[2] = 0xff;
            reply.size = 5;
            break;
        case kLevels:
            reply.data[1] = static_cast<std::uint8_t>((levels_ & outputs_) | (outside_ & ~outputs_));
            reply.size = 2;
            break;
        case kVersion:
            reply.data[1] = 0x0c;
            reply.data[2] = 3;
            reply.size = 3;
            break;
        case kBusSettings:
            reply.size = 14;
            break;
        case kLock:
            reply.size = 2;
            break;
        default:
            reply.err = EIO;
        }
        send(device_, event);
    }

    void accept(const uhid_set_report_req& request)
    {
        const std::uint8_t outputs = outputs_;
        const std::uint8_t levels = levels_;
        if (request.data[0] == kDirections && request.size >= 2)
        {
            outputs_ = request.data[1];
        }
        if (request.data[0] == kSetLevels && request.size >= 3)
        {
            const std::uint8_t mask = request.data[2];
            levels_ = static_cast<std::uint8_t>((levels_ & ~mask) | (request.data[1] & mask));
        }
        for (int line = 0; line < kLines; ++line)
        {
            const int bit = 1 << line;
            if ((outputs_ & bit) != 0 && (((outputs ^ outputs_) | (levels ^ levels_)) & bit) != 0)
            {
                std::printf("line %d = %d\n", line, (levels_ & bit) != 0);
            }
        }
        uhid_event event{};
        event.type = UHID_SET_REPORT_REPLY;
        event.u.set_report_reply.id = request.id;
        send(device_, event);
    }

    int device_;
    std::uint8_t outputs_ = 0;
    std::uint8_t levels_ = 0;
    std::uint8_t outside_ = 0;
};

// One line at a time is what a script writes. False when there will be no more.
bool takeCommand(Bridge& bridge)
{
    char text[64];
    const ssize_t size = read(STDIN_FILENO, text, sizeof text - 1);
    if (size <= 0)
    {
        return false;
    }
    text[size] = '\0';
    int line = 0;
    int level = 0;
    if (std::sscanf(text, "input %d %d", &line, &level) != 2 || line < 0 || line >= kLines)
    {
        std::printf("not understood: %s", text);
        return true;
    }
    bridge.input(line, level != 0);
    std::printf("input %d %d: done\n", line, level);
    return true;
}

void run()
{
    const int lamp = create("Lamp", 0x04d8, 0xf372);
    const int lines = create("Bridge", 0x10c4, 0xea90);
    Bridge bridge(lines);
    for (;;)
    {
        pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {lamp, POLLIN, 0}, {lines, POLLIN, 0}};
        poll(watched, 3, -1);
        if (watched[0].revents != 0 && !takeCommand(bridge))
        {
            return;
        }
        if (watched[1].revents != 0)
        {
            takeLamp(lamp);
        }
        if (watched[2].revents != 0)
        {
            bridge.take();
        }
    }
}

}  // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try
    {
        run();
        return 0;
    }
    catch (const std::exception& reason)
    {
        std::fprintf(stderr, "vm-hid: %s\n", reason.what());
        return 1;
    }
}
