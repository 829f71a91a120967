#pragma once

#include <linux/videodev2.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "services/linux/VideoNode.h"

namespace support {

// A camera whose driver answers as written down. Plain members are set before it streams; the rest is Thread-safe.
class ScriptedCamera
{
public:
    struct Size
    {
        u32 width;
        u32 height;
        std::vector<u32> rates;  // none: it does not say
    };

    std::vector<std::pair<u32, std::vector<Size>>> formats = {{V4L2_PIX_FMT_MJPEG, {{640, 480, {30, 15}}}}};
    std::map<u32, v4l2_query_ext_ctrl> controls;
    std::map<u32, int> values;
    u32 capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    u32 buffers = 4;
    u32 bufferLength = 1 << 20;
    u32 quantization = V4L2_QUANTIZATION_DEFAULT;

    ~ScriptedCamera() { close(event_); }

    void fail(unsigned long request, int error)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        errors_[request] = error;  // 0: not any more
        ready();
    }

    // Whoever calls that waits until release.
    void hang(unsigned long request)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hanging_ = request;
    }

    void release()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hanging_ = 0;
        changed_.notify_all();
    }

    void awaitHanging()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isHanging_; });
    }

    // The driver has a picture, in a buffer of that number where one is told.
    void give(const std::string& bytes, u32 flags = 0, u32 lost = 0, int index = -1)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        sequence_ += 1 + lost;
        given_.push_back({bytes, flags, sequence_, index});
        ready();
    }

    void awaitClosed()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return open_ == 0; });
    }

    int opened() const { return locked(opened_); }
    u32 rate() const { return locked(rate_); }
    u32 mapped() const { return locked(mapped_); }
    bool isStreaming() const { return locked(isStreaming_); }
    v4l2_pix_format format() const { return locked(format_); }

    std::unique_ptr<devices::VideoNode> open()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++opened_;
        ++open_;
        return std::make_unique<Node>(*this);
    }

private:
    struct Given
    {
        std::string bytes;
        u32 flags;
        u32 sequence;
        int index;
    };

    class Node : public devices::VideoNode
    {
    public:
        explicit Node(ScriptedCamera& camera) : camera_(camera) {}
        ~Node() override
        {
            const std::lock_guard<std::mutex> lock(camera_.mutex_);
            --camera_.open_;
            camera_.changed_.notify_all();
        }
        Node(const Node&) = delete;
        Node& operator=(const Node&) = delete;

        int ioctl(unsigned long request, void* argument) override { return camera_.call(request, argument); }
        void* map(std::size_t length, u32 offset) override
        {
            const std::lock_guard<std::mutex> lock(camera_.mutex_);
            ++camera_.mapped_;
            std::vector<char>& memory = camera_.memory_[offset];
            memory.resize(length);
            return memory.data();
        }
        void unmap(void*, std::size_t) override
        {
            const std::lock_guard<std::mutex> lock(camera_.mutex_);
            --camera_.mapped_;
        }
        int descriptor() const override { return camera_.event_; }

    private:
        ScriptedCamera& camera_;
    };

    template <typename Value>
    Value locked(const Value& value) const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return value;
    }

    void ready() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(event_, &one, sizeof one);
    }

    int call(unsigned long request, void* argument)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (request == hanging_)
        {
            isHanging_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return hanging_ == 0; });
            isHanging_ = false;
        }
        if (const int error = errors_[request])
        {
            return error;
        }
        switch (request)
        {
        case VIDIOC_QUERYCAP:
            static_cast<v4l2_capability*>(argument)->capabilities = capabilities;
            return 0;
        case VIDIOC_ENUM_FMT:
            return formatAt(*static_cast<v4l2_fmtdesc*>(argument));
        case VIDIOC_ENUM_FRAMESIZES:
            return sizeAt(*static_cast<v4l2_frmsizeenum*>(argument));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return intervalAt(*static_cast<v4l2_frmivalenum*>(argument));
        case VIDIOC_S_FMT:
            return setFormat(static_cast<v4l2_format*>(argument)->fmt.pix);
        case VIDIOC_G_PARM:
            static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe = {1, rate_};
            return 0;
        case VIDIOC_S_PARM:
            rate_ = static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe.denominator;
            return isStreaming_ ? EBUSY : 0;
        case VIDIOC_REQBUFS:
            static_cast<v4l2_requestbuffers*>(argument)->count = buffers;
            queued_.clear();
            return 0;
        case VIDIOC_QUERYBUF:
            static_cast<v4l2_buffer*>(argument)->length = bufferLength;
            static_cast<v4l2_buffer*>(argument)->m.offset = static_cast<v4l2_buffer*>(argument)->index << 24;
            return 0;
        case VIDIOC_QBUF:
            queued_.insert(static_cast<v4l2_buffer*>(argument)->index);
            return 0;
        case VIDIOC_DQBUF:
            return take(*static_cast<v4l2_buffer*>(argument));
        case VIDIOC_STREAMON:
        case VIDIOC_STREAMOFF:
            isStreaming_ = request == VIDIOC_STREAMON;
            return 0;
        case VIDIOC_QUERY_EXT_CTRL:
            return query(*static_cast<v4l2_query_ext_ctrl*>(argument));
        case VIDIOC_G_EXT_CTRLS:
            static_cast<v4l2_ext_controls*>(argument)->controls->value =
                values[static_cast<v4l2_ext_controls*>(argument)->controls->id];
            return 0;
        default:
            return ENOTTY;
        }
    }

    int formatAt(v4l2_fmtdesc& format) const
    {
        if (format.index >= formats.size())
        {
            return EINVAL;
        }
        format.pixelformat = formats[format.index].first;
        return 0;
    }

    const std::vector<Size>* sizesOf(u32 code) const
    {
        const auto found =
            std::find_if(formats.begin(), formats.end(), [code](const auto& format) { return format.first == code; });
        return found == formats.end() ? nullptr : &found->second;
    }

    int sizeAt(v4l2_frmsizeenum& size) const
    {
        const std::vector<Size>* const sizes = sizesOf(size.pixel_format);
        if (sizes == nullptr || size.index >= sizes->size())
        {
            return EINVAL;
        }
        size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        size.discrete = {(*sizes)[size.index].width, (*sizes)[size.index].height};
        return 0;
    }

    int intervalAt(v4l2_frmivalenum& interval) const
    {
        for (const Size& size : *sizesOf(interval.pixel_format))
        {
            if (size.width == interval.width && size.height == interval.height && interval.index < size.rates.size())
            {
                interval.type = V4L2_FRMIVAL_TYPE_DISCRETE;
                interval.discrete = {1, size.rates[interval.index]};
                return 0;
            }
        }
        return EINVAL;
    }

    int setFormat(v4l2_pix_format& wanted)
    {
        wanted.quantization = quantization;
        format_ = wanted;
        rate_ = 30;  // as many drivers do
        return 0;
    }

    int take(v4l2_buffer& buffer)
    {
        if (given_.empty() || queued_.empty())
        {
            std::uint64_t all;
            [[maybe_unused]] const ssize_t got = read(event_, &all, sizeof all);
            return EAGAIN;
        }
        const Given given = given_.front();
        given_.pop_front();
        buffer.index = given.index >= 0 ? static_cast<u32>(given.index) : *queued_.begin();
        queued_.erase(buffer.index);
        std::vector<char>& memory = memory_[buffer.index << 24];
        std::copy_n(given.bytes.begin(), std::min(given.bytes.size(), memory.size()), memory.begin());
        buffer.bytesused = static_cast<u32>(given.bytes.size());
        buffer.flags = given.flags;
        buffer.sequence = given.sequence;
        return 0;
    }

    int query(v4l2_query_ext_ctrl& control) const
    {
        const auto found = controls.find(control.id);
        if (found == controls.end())
        {
            return EINVAL;
        }
        control = found->second;
        return 0;
    }

    const int event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<unsigned long, int> errors_;
    unsigned long hanging_ = 0;
    bool isHanging_ = false;
    std::deque<Given> given_;
    u32 sequence_ = 0;
    std::set<u32> queued_;
    std::map<u32, std::vector<char>> memory_;  // by offset
    v4l2_pix_format format_ = {};
    u32 rate_ = 30;
    u32 mapped_ = 0;
    int opened_ = 0;
    int open_ = 0;
    bool isStreaming_ = false;
};

// The least that is one: a frame of that size, a scan, and text as its data. It has no tables.
inline std::string jpegOf(int width, int height, const std::string& data = "data")
{
    const std::string size = {static_cast<char>(height >> 8), static_cast<char>(height), static_cast<char>(width >> 8),
                              static_cast<char>(width)};
    return std::string("\xFF\xD8\xFF\xC0\x00\x0B\x08", 7) + size + std::string("\x01\x01\x11\x00", 4) +
           std::string("\xFF\xDA\x00\x08\x01\x01\x00\x00\x3F\x00", 10) + data + "\xFF\xD9";
}

}  // namespace support
