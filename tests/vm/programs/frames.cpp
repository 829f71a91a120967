// vm-frames NODE: reads the pictures of a camera as the service does. Reads commands from standard input, a line each, and
// says on standard output what came of it:
//   node NODE           the camera is there from now on
//   open READER         a reader of that name
//   read READER COUNT   so many frames, and tells of the last one; or why there are no more
//   save READER FILE    the frame that it read last
//   close READER
//   rate COUNT          frames in a second are wished
//   set-rate COUNT      at the device's controls, which stay open, as the service does
//   exposure            as the service sees it
//   colours FILE        of a picture that somebody else has written
// Ends with its input.

#include <fcntl.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "services/linux/Capture.h"
#include "services/linux/ControlIds.h"
#include "services/linux/V4l2Device.h"

namespace vm {

namespace {

class Node : public devices::DeviceSource
{
public:
    std::string path;

    int open(devices::Role, const std::string&) override
    {
        const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        return descriptor < 0 ? -errno : descriptor;
    }
    void listen(std::function<void()>) override {}
};

// Mean of red, green and blue, or why it is none.
std::string coloursOf(const std::string& jpeg)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(jpeg.data());
    int width = 0, height = 0, sampling = 0, space = 0;
    const tjhandle handle = tjInitDecompress();
    std::vector<unsigned char> pixels;
    bool decoded = tjDecompressHeader3(handle, bytes, jpeg.size(), &width, &height, &sampling, &space) == 0;
    if (decoded)
    {
        pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
        decoded = tjDecompress2(handle, bytes, jpeg.size(), pixels.data(), width, 0, height, TJPF_RGB, 0) == 0;
    }
    tjDestroy(handle);
    if (!decoded)
    {
        return " broken";
    }
    double sums[3] = {};
    for (std::size_t i = 0; i < pixels.size(); ++i)
    {
        sums[i % 3] += pixels[i];
    }
    const double count = static_cast<double>(width) * height;
    char text[100];
    std::snprintf(text, sizeof text, " red %.0f green %.0f blue %.0f", sums[0] / count, sums[1] / count,
                  sums[2] / count);
    return text;
}

class Reading
{
public:
    explicit Reading(const std::string& path) { node_.path = path; }

    void command(const std::string& line)
    {
        std::istringstream words(line);
        std::string what, name, more;
        words >> what >> name >> more;
        if (what == "node")
        {
            node_.path = name;
        }
        else if (what == "open")
        {
            readers_.erase(name);
            readers_[name].source = capture_.open();
        }
        else if (what == "read")
        {
            read(name, std::stoi(more));
            return;
        }
        else if (what == "save")
        {
            std::ofstream(more, std::ios::binary) << readers_.at(name).last.jpeg;
        }
        else if (what == "close")
        {
            readers_.erase(name);
        }
        else if (what == "rate")
        {
            rate_ = static_cast<u32>(std::stoul(name));
        }
        else if (what == "set-rate")
        {
            setRate(std::stoi(name));
        }
        else if (what == "colours")
        {
            std::ifstream file(name, std::ios::binary);
            const std::string jpeg((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            std::printf("colours%s\n", coloursOf(jpeg).c_str());
            return;
        }
        else if (what == "exposure")
        {
            const std::optional<devices::Exposure> exposure = capture_.exposure();
            std::printf("exposure %.4f s gain %.1f dB\n", exposure ? exposure->seconds : -1,
                        exposure ? exposure->gain : -1);
        }
        else
        {
            throw std::runtime_error("no such command");
        }
        std::printf("%s: done\n", line.c_str());
    }

private:
    struct Reader
    {
        std::unique_ptr<services::PictureSource> source;
        services::Frame last;
    };

    void setRate(int rate)
    {
        int error = 0;
        controls_ =
            controls_ ? std::move(controls_) : devices::V4l2Device::open(node_.open(devices::Role::camera, ""), error);
        std::vector<devices::Setting> settings = {{devices::kFrameRate, rate}};
        error = controls_ ? controls_->set(settings) : error;
        if (error != 0)
        {
            throw std::runtime_error(std::strerror(error));
        }
    }

    void read(const std::string& name, int count)
    {
        Reader& reader = readers_.at(name);
        for (int i = 0; i < count; ++i)
        {
            std::optional<services::Frame> frame = reader.source->next();
            if (!frame)
            {
                throw std::runtime_error("ended");
            }
            reader.last = std::move(*frame);
        }
        const services::Frame& last = reader.last;
        std::printf("%s frame %llu %dx%d rate %.0f exposure %.4f gain %.1f%s\n", name.c_str(),
                    static_cast<unsigned long long>(last.number), last.width, last.height, last.rate, last.exposure,
                    last.gain, coloursOf(last.jpeg).c_str());
    }

    Node node_;
    std::unique_ptr<devices::V4l2Device> controls_;
    std::atomic<u32> rate_{0};
    devices::Capture capture_{[this](int& error) { return devices::openVideoNode(node_, error); },
                              [this] {
                                  devices::Surroundings around;
                                  around.rate = rate_;
                                  return around;
                              }};
    std::map<std::string, Reader> readers_;
};

}  // namespace

}  // namespace vm

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc != 2)
    {
        std::fprintf(stderr, "vm-frames needs the camera's node\n");
        return 1;
    }
    vm::Reading reading(argv[1]);
    std::string line;
    while (std::getline(std::cin, line))
    {
        try
        {
            reading.command(line);
        }
        catch (const std::exception& reason)
        {
            std::printf("%s: %s\n", line.c_str(), reason.what());
        }
    }
    return 0;
}
