#include "services/linux/PictureFormat.h"

#include <algorithm>
#include <cstdint>

namespace devices {
namespace {

// That are asked for: a driver's list may have no end.
constexpr u32 kMostFormats = 64;
constexpr u32 kMostSizes = 128;
constexpr u32 kMostIntervals = 64;

struct Candidate
{
    PictureFormat format;
    bool isFast;  // enough

    std::uint64_t pixels() const { return std::uint64_t{format.width} * format.height; }
};

bool isBetter(const Candidate& one, const std::optional<Candidate>& other)
{
    return !other || (one.isFast != other->isFast ? one.isFast : one.pixels() > other->pixels());
}

bool givesRate(const Ioctl& ioctl, const PictureFormat& format, u32 rate)
{
    for (u32 index = 0; rate != 0 && index < kMostIntervals; ++index)
    {
        v4l2_frmivalenum interval = {};
        interval.index = index;
        interval.pixel_format = format.code;
        interval.width = format.width;
        interval.height = format.height;
        if (ioctl(VIDIOC_ENUM_FRAMEINTERVALS, &interval) != 0)
        {
            return index == 0;  // it does not say
        }
        const bool isList = interval.type == V4L2_FRMIVAL_TYPE_DISCRETE;
        if (rateOf(isList ? interval.discrete : interval.stepwise.min) >= rate)
        {
            return true;
        }
        if (!isList)
        {
            return false;
        }
    }
    return rate == 0;
}

// The largest one below the limit; 0 for none.
u32 largest(u32 minimum, u32 maximum, u32 step, u32 limit)
{
    const u32 top = std::min(maximum, limit);
    return minimum == 0 || minimum > top ? 0 : top - (top - minimum) % std::max<u32>(step, 1);
}

void considerSize(const Ioctl& ioctl, const PictureFormat& format, u32 rate, std::optional<Candidate>& best)
{
    if (format.width == 0 || format.height == 0 || format.width > kWidest || format.height > kHighest)
    {
        return;
    }
    const Candidate candidate = {format, givesRate(ioctl, format, rate)};
    if (isBetter(candidate, best))
    {
        best = candidate;
    }
}

void considerFormat(const Ioctl& ioctl, u32 code, u32 rate, std::optional<Candidate>& best)
{
    for (u32 index = 0; index < kMostSizes; ++index)
    {
        v4l2_frmsizeenum size = {};
        size.index = index;
        size.pixel_format = code;
        if (ioctl(VIDIOC_ENUM_FRAMESIZES, &size) != 0)
        {
            if (index == 0)  // it does not say; the driver will take what is nearest
            {
                considerSize(ioctl, {code, kWidest, kHighest}, rate, best);
            }
            return;
        }
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE)
        {
            considerSize(ioctl, {code, size.discrete.width, size.discrete.height}, rate, best);
            continue;
        }
        const v4l2_frmsize_stepwise& steps = size.stepwise;
        considerSize(ioctl,
                     {code, largest(steps.min_width, steps.max_width, steps.step_width, kWidest),
                      largest(steps.min_height, steps.max_height, steps.step_height, kHighest)},
                     rate, best);
        return;
    }
}

}  // namespace

bool isJpeg(u32 code)
{
    return code == V4L2_PIX_FMT_MJPEG || code == V4L2_PIX_FMT_JPEG;
}

std::optional<picture::Layout> layoutOf(u32 code)
{
    switch (code)
    {
    case V4L2_PIX_FMT_YUYV:
        return picture::Layout::yuyv;
    case V4L2_PIX_FMT_UYVY:
        return picture::Layout::uyvy;
    case V4L2_PIX_FMT_NV12:
        return picture::Layout::nv12;
    case V4L2_PIX_FMT_GREY:
        return picture::Layout::grey;
    default:
        return std::nullopt;
    }
}

std::string codeText(u32 code)
{
    const char bytes[] = {static_cast<char>(code), static_cast<char>(code >> 8), static_cast<char>(code >> 16),
                          static_cast<char>(code >> 24 & 0x7F)};  // the highest bit is another byte order
    return cleanText(bytes, sizeof bytes);
}

std::vector<PictureFormat> pictureFormats(const Ioctl& ioctl, u32 rate, std::string& offered)
{
    std::optional<Candidate> compressed;
    std::optional<Candidate> raw;
    offered.clear();
    for (u32 index = 0; index < kMostFormats; ++index)
    {
        v4l2_fmtdesc format = {};
        format.index = index;
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (ioctl(VIDIOC_ENUM_FMT, &format) != 0)
        {
            break;
        }
        offered += (offered.empty() ? "" : ", ") + codeText(format.pixelformat);
        if (isJpeg(format.pixelformat))
        {
            considerFormat(ioctl, format.pixelformat, rate, compressed);
        }
        else if (layoutOf(format.pixelformat))
        {
            considerFormat(ioctl, format.pixelformat, rate, raw);
        }
    }
    std::vector<PictureFormat> formats;
    for (const std::optional<Candidate>& candidate : {compressed, raw})
    {
        if (candidate)
        {
            const bool isFirst = candidate->isFast && !formats.empty() && !compressed->isFast;
            formats.insert(isFirst ? formats.begin() : formats.end(), candidate->format);
        }
    }
    return formats;
}

}  // namespace devices
