#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Require.h"
#include "services/linux/Jpeg.h"
#include "services/linux/V4l2Stream.h"

// A driver that answers what it likes when it is asked for pictures: formats, sizes, rates, buffers and what is in them,
// errors. Input: the answers' bytes, taken one after the other.

namespace {

using devices::V4l2Stream;

constexpr std::size_t kMostMemory = 1 << 16;  // of a buffer
constexpr int kCalls = 2'000;

class Driver : public devices::VideoNode
{
public:
    Driver(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}
    ~Driver() override { FUZZ_REQUIRE(mapped_.empty()); }
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    int ioctl(unsigned long request, void* argument) override
    {
        FUZZ_REQUIRE(++calls_ < kCalls * 20);
        switch (request)
        {
        case VIDIOC_QUERYCAP:
            static_cast<v4l2_capability*>(argument)->capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
            return error();
        case VIDIOC_ENUM_FMT:
            static_cast<v4l2_fmtdesc*>(argument)->pixelformat = code();
            return isEmpty() ? EINVAL : error();
        case VIDIOC_ENUM_FRAMESIZES:
            static_cast<v4l2_frmsizeenum*>(argument)->type = take<uint8_t>() & 3;
            static_cast<v4l2_frmsizeenum*>(argument)->stepwise = {size(), size(), size(), size(), size(), size()};
            return isEmpty() ? EINVAL : error();
        case VIDIOC_ENUM_FRAMEINTERVALS:
            static_cast<v4l2_frmivalenum*>(argument)->type = take<uint8_t>() & 3;
            static_cast<v4l2_frmivalenum*>(argument)->stepwise.min = take<v4l2_fract>();
            return isEmpty() ? EINVAL : error();
        case VIDIOC_S_FMT:
            return setFormat(static_cast<v4l2_format*>(argument)->fmt.pix);
        case VIDIOC_G_PARM:
        case VIDIOC_S_PARM:
            static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe = take<v4l2_fract>();
            return error();
        case VIDIOC_REQBUFS:
            static_cast<v4l2_requestbuffers*>(argument)->count += take<int8_t>();
            return error();
        case VIDIOC_QUERYBUF:
            static_cast<v4l2_buffer*>(argument)->length = size() * (1 + take<uint8_t>());
            return error();
        case VIDIOC_DQBUF:
            return fill(*static_cast<v4l2_buffer*>(argument));
        default:
            return error();
        }
    }

    // Of exactly that length, so that a byte too many is noticed.
    void* map(std::size_t length, u32) override
    {
        FUZZ_REQUIRE(length > 0);
        if (length > kMostMemory)
        {
            errno = ENOMEM;
            return nullptr;
        }
        auto memory = std::make_unique<char[]>(length);
        void* const at = memory.get();
        mapped_[at] = {std::move(memory), length};
        order_.push_back(at);
        return at;
    }

    void unmap(void* buffer, std::size_t length) override
    {
        FUZZ_REQUIRE(mapped_.count(buffer) == 1 && mapped_[buffer].length == length);
        mapped_.erase(buffer);
    }

    int descriptor() const override { return -1; }

    bool isEmpty() const { return rest_.empty(); }

private:
    struct Memory
    {
        std::unique_ptr<char[]> bytes;
        std::size_t length;
    };

    // Zero when there are no more.
    template <typename Word>
    Word take()
    {
        Word word{};
        const std::size_t length = std::min(sizeof word, rest_.size());
        rest_.copy(reinterpret_cast<char*>(&word), length);  // rest_ may be of no memory at all
        rest_.remove_prefix(length);
        return word;
    }

    // 0 for most bytes.
    int error()
    {
        constexpr int kErrors[] = {EINVAL, EAGAIN, EBUSY, ENOSPC, EPIPE, ETIMEDOUT, ENODEV, EIO};
        const auto byte = take<uint8_t>();
        return byte >= 0xE0 ? kErrors[byte & 7] : 0;
    }

    u32 code()
    {
        constexpr u32 kCodes[] = {V4L2_PIX_FMT_MJPEG, V4L2_PIX_FMT_JPEG, V4L2_PIX_FMT_YUYV,
                                  V4L2_PIX_FMT_UYVY,  V4L2_PIX_FMT_NV12, V4L2_PIX_FMT_GREY};
        const auto byte = take<uint8_t>();
        return byte < 6 ? kCodes[byte] : take<u32>();
    }

    u32 size()
    {
        const auto byte = take<uint8_t>();
        return byte < 0xF0 ? byte : take<u32>();
    }

    int setFormat(v4l2_pix_format& format)
    {
        const auto shape = take<uint8_t>();
        format.pixelformat = (shape & 1) != 0 ? code() : format.pixelformat;
        format.width = (shape & 2) != 0 ? size() : format.width;
        format.height = (shape & 4) != 0 ? size() : format.height;
        format.bytesperline = (shape & 8) != 0 ? size() : 0;
        format.quantization = shape >> 4 & 3;
        return error();
    }

    int fill(v4l2_buffer& buffer)
    {
        if (isEmpty())
        {
            return ENODEV;
        }
        const auto shape = take<uint8_t>();
        buffer.index = (shape & 1) != 0 ? size() : 0;
        buffer.sequence = (shape & 2) != 0 ? take<u32>() : buffer.sequence;
        buffer.flags = (shape & 4) != 0 ? V4L2_BUF_FLAG_ERROR : 0;
        const std::size_t length = take<uint16_t>();
        buffer.bytesused = (shape & 8) != 0 ? take<u32>() : static_cast<u32>(length);
        if (buffer.index < order_.size())
        {
            Memory& memory = mapped_[order_[buffer.index]];
            const std::size_t count = std::min({length, rest_.size(), memory.length});
            rest_.copy(memory.bytes.get(), count);
            rest_.remove_prefix(count);
        }
        return error();
    }

    std::string_view rest_;
    std::map<void*, Memory> mapped_;
    std::vector<void*> order_;
    int calls_ = 0;
};

// Reads what a real one would.
class Reader : public devices::picture::Encoder
{
public:
    std::string encode(const devices::picture::RawPicture& picture) override
    {
        using devices::picture::Layout;
        const bool isPacked = picture.layout == Layout::yuyv || picture.layout == Layout::uyvy;
        const auto width = static_cast<std::size_t>(picture.width) * (isPacked ? 2 : 1);
        const int lines = picture.height + (picture.layout == Layout::nv12 ? picture.height / 2 : 0);
        FUZZ_REQUIRE(picture.width > 0 && picture.width % 2 == 0 && picture.height > 0 && picture.stride >= width);
        unsigned sum = 0;
        for (int line = 0; line < lines; ++line)
        {
            const unsigned char* const begin = picture.bytes + static_cast<std::size_t>(line) * picture.stride;
            sum += begin[0] + begin[width - 1];
        }
        return std::to_string(sum);
    }
};

void requireJpeg(const devices::Jpeg& jpeg)
{
    FUZZ_REQUIRE(jpeg.bytes.size() <= devices::kLargestJpeg && jpeg.width > 0 && jpeg.height > 0);
    FUZZ_REQUIRE(jpeg.bytes.substr(0, 2) == "\xFF\xD8" && jpeg.bytes.substr(jpeg.bytes.size() - 2) == "\xFF\xD9");
    const std::optional<devices::Jpeg> again = devices::completeJpeg(jpeg.bytes);
    FUZZ_REQUIRE(again && again->bytes == jpeg.bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (const std::optional<devices::Jpeg> jpeg = devices::completeJpeg({reinterpret_cast<const char*>(data), size}))
    {
        requireJpeg(*jpeg);
    }
    Driver driver(data, size);
    const bool hasEncoder = size % 2 == 0;
    try
    {
        V4l2Stream stream(driver, size > 0 ? data[0] & 0x3FU : 0,
                          [hasEncoder]() -> std::unique_ptr<devices::picture::Encoder> {
                              return hasEncoder ? std::make_unique<Reader>() : throw std::runtime_error("no encoder");
                          });
        FUZZ_REQUIRE(stream.rate() >= 0);
        for (int i = 0; i < kCalls; ++i)
        {
            const std::optional<V4l2Stream::Picture> picture = stream.take();
            FUZZ_REQUIRE(!picture || (picture->steps > 0 && picture->width > 0 && picture->height > 0));
        }
    }
    catch (const std::runtime_error&)
    {
        // It says so.
    }
    return 0;
}
