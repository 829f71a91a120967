#include "services/linux/V4l2Stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "services/ModuleFile.h"
#include "services/linux/Jpeg.h"
#include "services/linux/picture/Module.h"

namespace devices {
namespace {

constexpr u32 kBuffers = 4;
constexpr u32 kMostBuffers = 32;                  // a driver may give more than it was asked for
constexpr std::size_t kLargestBuffer = 64 << 20;  // bytes
constexpr std::uint32_t kMostSteps = 1'000;       // more frames are not lost at once: it counts anew
constexpr int kMostErrors = 20;                   // one after the other: some drivers lose a buffer now and then
constexpr u32 kType = V4L2_BUF_TYPE_VIDEO_CAPTURE;

}  // namespace

std::string noPictureReason(int error)
{
    switch (error)
    {
    case ENODEV:
    case ENXIO:
    case ENOENT:
    case ESHUTDOWN:
    case EBADF:
        return "the camera is not plugged in";
    case EBUSY:
        return "another program takes the pictures of this camera: end it there, and they come here again";
    case EACCES:
    case EPERM:
        return "this user may not open the camera: add it to the group video, and log in again";
    case ENOSPC:
        return "the USB bus has no room for the pictures of this camera: plug it in elsewhere, or end the picture of "
               "another";
    case ETIMEDOUT:
        return "the camera does not answer";
    default:
        return std::string("the camera gives no picture: ") + std::strerror(error);
    }
}

std::unique_ptr<picture::Encoder> loadEncoder()
{
    try
    {
        const auto entry = reinterpret_cast<decltype(&sensorlinuxOpenEncoder)>(
            services::moduleEntry(picture::kModuleFile, picture::kModuleEntry));
        return std::unique_ptr<picture::Encoder>(entry());
    }
    catch (const std::runtime_error& error)
    {
        throw std::runtime_error(std::string("the pictures of this camera cannot be encoded: ") + error.what() +
                                 "; the encoder is built where libjpeg-turbo is installed");
    }
}

V4l2Stream::V4l2Stream(VideoNode& node, u32 rate, const Load& load)
    : node_(node),
      ioctl_([&node](unsigned long request, void* argument) { return node.ioctl(request, argument); })
{
    requireCapture();
    const u32 wished = rate != 0 ? rate : rateInForce();
    setFormat(wished, load);
    setRate(wished);
    try
    {
        begin();
    }
    catch (const std::runtime_error&)
    {
        end();
        throw;
    }
}

V4l2Stream::~V4l2Stream()
{
    end();
}

void V4l2Stream::require(unsigned long request, void* argument)
{
    if (const int error = ioctl_(request, argument))
    {
        throw std::runtime_error(noPictureReason(error));
    }
}

void V4l2Stream::requireCapture()
{
    v4l2_capability known = {};
    require(VIDIOC_QUERYCAP, &known);
    const u32 abilities = (known.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? known.device_caps : known.capabilities;
    if ((abilities & V4L2_CAP_VIDEO_CAPTURE) == 0 || (abilities & V4L2_CAP_STREAMING) == 0)
    {
        throw std::runtime_error("this device gives no pictures");
    }
}

void V4l2Stream::setFormat(u32 rate, const Load& load)
{
    std::string offered;
    const std::vector<PictureFormat> formats = pictureFormats(ioctl_, rate, offered);
    if (formats.empty())
    {
        throw std::runtime_error("the camera gives its pictures in no form that can be shown here, but as " +
                                 (offered.empty() ? "nothing" : offered));
    }
    PictureFormat chosen = formats.front();
    try
    {
        encoder_ = isJpeg(chosen.code) ? nullptr : load();
    }
    catch (const std::runtime_error&)
    {
        chosen = formats.back();
        if (!isJpeg(chosen.code))
        {
            throw;
        }
    }
    v4l2_format format = {};
    format.type = kType;
    format.fmt.pix.pixelformat = chosen.code;
    format.fmt.pix.width = chosen.width;
    format.fmt.pix.height = chosen.height;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    require(VIDIOC_S_FMT, &format);
    format_ = format.fmt.pix;
    const u32 perPixel = format_.pixelformat == V4L2_PIX_FMT_YUYV || format_.pixelformat == V4L2_PIX_FMT_UYVY ? 2 : 1;
    const bool hasEvenLines = format_.pixelformat != V4L2_PIX_FMT_NV12 || format_.height % 2 == 0;
    const bool fits = format_.width != 0 && format_.width <= 2 * kWidest && format_.width % 2 == 0 &&
                      format_.height != 0 && format_.height <= 2 * kHighest && hasEvenLines &&
                      (format_.bytesperline == 0 || format_.bytesperline >= format_.width * perPixel);
    if (format_.pixelformat != chosen.code || (encoder_ != nullptr && !fits))
    {
        throw std::runtime_error("the camera takes " + codeText(chosen.code) +
                                 " as the form of its pictures, and does not keep it");
    }
    format_.bytesperline = std::max(format_.bytesperline, format_.width * perPixel);
}

u32 V4l2Stream::rateInForce()
{
    v4l2_streamparm parameters = {};
    parameters.type = kType;
    return ioctl_(VIDIOC_G_PARM, &parameters) == 0 ? rateOf(parameters.parm.capture.timeperframe) : 0;
}

// Each setting of a format may have changed it.
void V4l2Stream::setRate(u32 rate)
{
    v4l2_streamparm parameters = {};
    parameters.type = kType;
    parameters.parm.capture.timeperframe = {1, rate};
    if (rate == 0 || ioctl_(VIDIOC_S_PARM, &parameters) != 0)
    {
        rate_ = rateInForce();
        return;
    }
    const v4l2_fract& interval = parameters.parm.capture.timeperframe;
    rate_ = interval.numerator == 0 ? 0 : static_cast<double>(interval.denominator) / interval.numerator;
}

void V4l2Stream::begin()
{
    v4l2_requestbuffers wanted = {};
    wanted.count = kBuffers;
    wanted.type = kType;
    wanted.memory = V4L2_MEMORY_MMAP;
    require(VIDIOC_REQBUFS, &wanted);
    for (u32 index = 0; index < std::min(wanted.count, kMostBuffers); ++index)
    {
        v4l2_buffer buffer = {};
        buffer.index = index;
        buffer.type = kType;
        buffer.memory = V4L2_MEMORY_MMAP;
        require(VIDIOC_QUERYBUF, &buffer);
        const bool isUsable = buffer.length != 0 && buffer.length <= kLargestBuffer;
        void* const bytes = isUsable ? node_.map(buffer.length, buffer.m.offset) : nullptr;
        if (bytes == nullptr)
        {
            throw std::runtime_error(noPictureReason(isUsable ? errno : ENOMEM));
        }
        buffers_.push_back({bytes, buffer.length});
        require(VIDIOC_QBUF, &buffer);
    }
    if (buffers_.empty())
    {
        throw std::runtime_error(noPictureReason(ENOMEM));
    }
    u32 type = kType;
    require(VIDIOC_STREAMON, &type);
}

// All of it, whatever fails: a device that is gone has forgotten it.
void V4l2Stream::end()
{
    u32 type = kType;
    ioctl_(VIDIOC_STREAMOFF, &type);
    for (const Buffer& buffer : buffers_)
    {
        node_.unmap(buffer.bytes, buffer.length);
    }
    buffers_.clear();
    v4l2_requestbuffers none = {};
    none.type = kType;
    none.memory = V4L2_MEMORY_MMAP;
    ioctl_(VIDIOC_REQBUFS, &none);
}

std::optional<V4l2Stream::Picture> V4l2Stream::take()
{
    v4l2_buffer buffer = {};
    buffer.type = kType;
    buffer.memory = V4L2_MEMORY_MMAP;
    const int error = ioctl_(VIDIOC_DQBUF, &buffer);
    if (error == EAGAIN)
    {
        return std::nullopt;
    }
    if (error == ENODEV || error == ENXIO || error == ESHUTDOWN || error == EBADF)
    {
        throw std::runtime_error("the camera was unplugged");
    }
    if (error != 0)
    {
        if (++errors_ > kMostErrors)
        {
            throw std::runtime_error(noPictureReason(error));
        }
        return std::nullopt;
    }
    if (buffer.index >= buffers_.size())
    {
        throw std::runtime_error("the driver gives a buffer that it does not have");
    }
    errors_ = 0;
    steps_ = std::min(steps_ + stepsTo(buffer.sequence), kMostSteps);
    const Buffer& filled = buffers_[buffer.index];
    const std::size_t size = std::min<std::size_t>(buffer.bytesused, filled.length);
    std::optional<Picture> picture;
    if ((buffer.flags & V4L2_BUF_FLAG_ERROR) == 0)
    {
        picture = pictureOf({static_cast<const char*>(filled.bytes), size});
    }
    broken_ = picture ? 0 : broken_ + 1;
    if (picture)
    {
        picture->steps = std::exchange(steps_, 0);
    }
    require(VIDIOC_QBUF, &buffer);
    return picture;
}

std::uint32_t V4l2Stream::stepsTo(std::uint32_t sequence)
{
    if (!sequence_)
    {
        sequence_ = sequence;
        return 1;
    }
    const std::uint32_t steps = sequence - *sequence_;
    sequence_ = sequence;
    return steps == 0 || steps > kMostSteps ? 1 : steps;
}

std::optional<V4l2Stream::Picture> V4l2Stream::pictureOf(std::string_view bytes)
{
    if (encoder_ == nullptr)
    {
        std::optional<Jpeg> jpeg = completeJpeg(bytes);
        return jpeg ? std::optional<Picture>({1, jpeg->width, jpeg->height, std::move(jpeg->bytes)}) : std::nullopt;
    }
    const std::size_t lines =
        layoutOf(format_.pixelformat) == picture::Layout::nv12 ? format_.height * 3 / 2 : format_.height;
    if (bytes.size() < lines * format_.bytesperline)
    {
        return std::nullopt;
    }
    const bool isFullRange =
        format_.quantization == V4L2_QUANTIZATION_FULL_RANGE ||
        (format_.quantization == V4L2_QUANTIZATION_DEFAULT && format_.colorspace == V4L2_COLORSPACE_JPEG);
    Picture made = {1, static_cast<int>(format_.width), static_cast<int>(format_.height), ""};
    made.jpeg = encoder_->encode({*layoutOf(format_.pixelformat), made.width, made.height, format_.bytesperline,
                                  isFullRange, reinterpret_cast<const unsigned char*>(bytes.data())});
    return made;
}

}  // namespace devices
