#include "services/sim/picture/Layers.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

namespace sim::picture {
namespace {

constexpr int kTexels = 512;           // of the texture, which repeats; a power of two
constexpr float kTexelPixels = 0.75f;  // a texel covers that many pixels at least
constexpr int kSubpixelBits = 4;
constexpr int kWidePixels = 2000;  // a smaller surface is as far away and as bright all over as in its middle

// Street lamps: one every so many metres of the street, on arms above the left lane.
constexpr float kLampSpacing = 25;
constexpr float kLampX = -5.6f;
constexpr float kLampHeight = 7;

// Noise that looks alike at every scale, mean 0, within -1 to 1.
cv::Mat makeTexture()
{
    cv::RNG random(7);
    cv::Mat sum = cv::Mat::zeros(kTexels, kTexels, CV_32F);
    for (int cells = 8; cells <= kTexels; cells *= 2)
    {
        cv::Mat noise(cells + 1, cells + 1, CV_32F);
        random.fill(noise, cv::RNG::UNIFORM, -1, 1);
        noise.row(0).copyTo(noise.row(cells));
        noise.col(0).copyTo(noise.col(cells));
        cv::Mat large;
        const double scale = double(kTexels) / cells;
        cv::warpAffine(noise, large, cv::Matx23d(scale, 0, 0, 0, scale, 0), sum.size(), cv::INTER_LINEAR,
                       cv::BORDER_REPLICATE);
        sum += large * 0.3;
    }
    return cv::max(cv::min(sum, 1), -1);
}

const cv::Mat& texture()
{
    static const cv::Mat made = makeTexture();
    return made;
}

// Keeps what lies in front of the camera.
std::vector<Point> clipped(const std::vector<Point>& seen)
{
    std::vector<Point> kept;
    for (std::size_t i = 0; i < seen.size(); ++i)
    {
        const Point& a = seen[i];
        const Point& b = seen[(i + 1) % seen.size()];
        if (a.z >= kNearest)
        {
            kept.push_back(a);
        }
        if ((a.z >= kNearest) != (b.z >= kNearest))
        {
            kept.push_back(a + (b - a) * ((kNearest - a.z) / (b.z - a.z)));
        }
    }
    return kept;
}

// Where on a plane the ray through a pixel meets it. Depths are a fraction of linear functions of the pixel.
struct Plane
{
    Plane(const Projection& projection, const std::vector<Point>& seen) : projection_(projection)
    {
        normal_ = (seen[1] - seen[0]).cross(seen[2] - seen[0]);
        distance_ = normal_.dot(seen[0]);
    }

    Point at(float x, float y) const
    {
        const Point ray((x - projection_.centre().x) / projection_.focal(),
                        (y - projection_.centre().y) / projection_.focal(), 1);
        const float towards = normal_.dot(ray);
        return ray * (std::fabs(towards) > 1e-9f ? distance_ / towards : 0);
    }

    const Projection& projection_;
    Point normal_;
    float distance_;
};

std::uint8_t byte(float value)
{
    return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

std::uint8_t blend(std::uint8_t below, float above, int cover)
{
    return static_cast<std::uint8_t>(below + (above - below) * cover / 255 + 0.5f);
}

// The texture on whichever two directions the plane runs along, with texels that fit the pixels.
class Grain
{
public:
    Grain(const std::vector<Point>& corners, float metresPerPixel)
    {
        const Point normal = (corners[1] - corners[0]).cross(corners[2] - corners[0]);
        const float x = std::fabs(normal.x), y = std::fabs(normal.y), z = std::fabs(normal.z);
        across_ = x > y && x > z ? 1 : 0;
        along_ = z > x && z > y ? 1 : 2;
        fit(metresPerPixel);
    }

    void fit(float metresPerPixel)
    {
        scale_ = 1 / std::exp2(std::ceil(std::log2(std::max(1e-3f, metresPerPixel * kTexelPixels))));
    }

    float at(Point street) const
    {
        const float place[] = {street.x, street.y, street.z};
        const int column = static_cast<int>(place[across_] * scale_ + kAbove) & (kTexels - 1);
        const int row = static_cast<int>(place[along_] * scale_ + kAbove) & (kTexels - 1);
        return texels_[row * kTexels + column];
    }

private:
    static constexpr float kAbove = 512 * kTexels;  // makes what is cut off always positive

    const float* texels_ = texture().ptr<float>();
    int across_;
    int along_;
    float scale_ = 1;
};

// A picture on the polygon's first four corners.
cv::Mat warped(const cv::Mat& image, const std::vector<cv::Point2f>& pixels, cv::Rect area)
{
    const cv::Point2f move(static_cast<float>(area.x), static_cast<float>(area.y));
    const cv::Point2f to[] = {pixels[0] - move, pixels[1] - move, pixels[2] - move, pixels[3] - move};
    const double width = std::max(cv::norm(to[1] - to[0]), cv::norm(to[2] - to[3]));
    cv::Mat source = image;
    if (width < image.cols)
    {
        const double scale = std::max(width, 4.0) / image.cols;
        cv::resize(image, source, {}, scale, scale, cv::INTER_AREA);
    }
    const float right = static_cast<float>(source.cols), bottom = static_cast<float>(source.rows);
    const cv::Point2f from[] = {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}};
    cv::Mat out;
    cv::warpPerspective(source, out, cv::getPerspectiveTransform(from, to), area.size(), cv::INTER_LINEAR,
                        cv::BORDER_REPLICATE);
    return out;
}

using Channel = Layers::Channel;

// Draws one surface pixel by pixel.
class Brush
{
public:
    // image: the paint's, as it lies in the area; empty without one.
    Brush(const Projection& projection, const std::vector<Point>& corners, const Plane& plane, const Paint& paint,
          cv::Rect area, const cv::Mat& image)
        : projection_(projection),
          plane_(plane),
          paint_(paint),
          area_(area),
          image_(image),
          middle_(plane.at(area.x + area.width / 2.0f, area.y + area.height / 2.0f)),
          grain_(corners, middle_.z / projection.focal()),
          wide_(area.area() > kWidePixels),
          own_{255 * paint.facing * paint.colour[0], 255 * paint.facing * paint.colour[1],
               255 * paint.facing * paint.colour[2], 255 * paint.facing * paint.infrared},
          place_(depth(middle_), byte(255 * paint.sun), byte(255 * lampLight(projection.street(middle_))),
                 static_cast<std::uint8_t>(paint.glow))
    {
    }

    void beginRow(int y)
    {
        y_ = y;
        if (paint_.grain > 0 && area_.height > 8)
        {
            const Point here = plane_.at(static_cast<float>(area_.x + area_.width / 2), static_cast<float>(y));
            grain_.fit(std::max(0.01f, here.z) / projection_.focal());
        }
    }

    // cover: how much of the pixel, of 255.
    void touch(int x, int cover, cv::Vec4b& colour, cv::Vec4b& place) const
    {
        cv::Vec4b now = place_;
        Point street;
        if (wide_ || paint_.grain > 0)
        {
            const Point point = plane_.at(static_cast<float>(x), static_cast<float>(y_));
            street = projection_.street(point);
            now[Channel::kDepth] = depth(point);
        }
        if (place[Channel::kDepth] != 0 && now[Channel::kDepth] > place[Channel::kDepth] + 1)
        {
            return;
        }
        if (paint_.dims < 1)
        {
            return dim(cover, colour, place);
        }
        if (paint_.shades < 1)
        {
            place[Channel::kSun] = byte(place[Channel::kSun] * left(paint_.shades, cover));
            return;
        }
        if (paint_.lights > 0)
        {
            place[Channel::kLamps] = byte(place[Channel::kLamps] + paint_.lights * static_cast<float>(cover) / 255);
            return;
        }
        if (!image_.empty())
        {
            show(image_.ptr<cv::Vec3b>(y_ - area_.y)[x - area_.x], cover, colour);
        }
        else
        {
            put(street, cover, colour);
        }
        if (cover > 127)
        {
            if (wide_)
            {
                now[Channel::kLamps] = byte(255 * lampLight(street));
            }
            place = now;
        }
    }

private:
    static std::uint8_t depth(Point seen) { return byte(std::clamp(seen.z, 1.0f, 255.0f)); }

    // Of a pixel that is covered in part.
    static float left(float part, int cover) { return 1 - (1 - part) * static_cast<float>(cover) / 255; }

    void dim(int cover, cv::Vec4b& colour, cv::Vec4b& place) const
    {
        const float dims = left(paint_.dims, cover);
        for (int c = 0; c < 4; ++c)
        {
            colour[c] = byte(colour[c] * dims);
        }
        place[Channel::kSun] = byte(place[Channel::kSun] * dims);
    }

    void show(const cv::Vec3b& texel, int cover, cv::Vec4b& colour) const
    {
        for (int c = 0; c < 3; ++c)
        {
            colour[c] = blend(colour[c], texel[c] * paint_.facing, cover);
        }
        colour[3] = blend(colour[3], (texel[0] + texel[1] + texel[2]) * paint_.facing / 3, cover);
    }

    void put(Point street, int cover, cv::Vec4b& colour) const
    {
        const float factor = paint_.grain > 0 ? 1 + paint_.grain * grain_.at(street) : 1;
        for (int c = 0; c < 4; ++c)
        {
            const float above = std::min(own_[c] * factor, 255.0f);
            colour[c] = cover == 255 ? static_cast<std::uint8_t>(above + 0.5f) : blend(colour[c], above, cover);
        }
    }

    const Projection& projection_;
    const Plane& plane_;
    const Paint& paint_;
    const cv::Rect area_;
    const cv::Mat& image_;
    const Point middle_;
    Grain grain_;
    const bool wide_;
    const float own_[4];
    const cv::Vec4b place_;
    int y_ = 0;
};

// The pixels that may be touched.
cv::Rect areaOf(const std::vector<cv::Point2f>& pixels, cv::Size canvas)
{
    constexpr float kFarOutside = 1e6f;  // what is further out is as good as there
    const cv::Rect2f bounds = cv::boundingRect(pixels);
    const cv::Rect area(static_cast<int>(std::max(bounds.x - 1, -kFarOutside)),
                        static_cast<int>(std::max(bounds.y - 1, -kFarOutside)),
                        static_cast<int>(std::min(bounds.width + 3, 2 * kFarOutside)),
                        static_cast<int>(std::min(bounds.height + 3, 2 * kFarOutside)));
    return area & cv::Rect({0, 0}, canvas);
}

// How much of each pixel a polygon covers, of 255.
void cover(cv::Mat mask, const std::vector<cv::Point2f>& pixels, cv::Point origin)
{
    std::vector<cv::Point> fixed;
    for (const cv::Point2f& pixel : pixels)
    {
        fixed.emplace_back((pixel - cv::Point2f(origin)) * (1 << kSubpixelBits));
    }
    mask = 0;
    cv::fillPoly(mask, std::vector<std::vector<cv::Point>>{fixed}, 255, cv::LINE_AA, kSubpixelBits);
}

}  // namespace

float lampLight(Point street)
{
    const float along = street.y + 100 * kLampSpacing;  // above 0
    const float away =
        along - kLampSpacing * static_cast<float>(static_cast<int>(along / kLampSpacing)) - kLampSpacing / 2;
    const float aside = street.x - kLampX;
    const float below = kLampHeight - street.z;
    const float near = kLampHeight * kLampHeight / (aside * aside + away * away + below * below + 1);
    return std::min(1.0f, near * std::sqrt(near));
}

void Layers::create(cv::Size canvas)
{
    albedo.create(canvas, CV_8UC4);
    albedo = cv::Scalar::all(0);
    place.create(canvas, CV_8UC4);
    place = cv::Scalar::all(0);
    mask_.create(canvas, CV_8U);
}

void Layers::copy(const Layers& other)
{
    other.albedo.copyTo(albedo);
    other.place.copyTo(place);
    mask_.create(albedo.size(), CV_8U);
}

cv::Rect Layers::fill(const Projection& projection, const std::vector<Point>& corners, const Paint& paint)
{
    std::vector<Point> seen;
    for (const Point& corner : corners)
    {
        seen.push_back(projection.seen(corner));
    }
    const Plane plane(projection, seen);
    const std::vector<Point> inFront = clipped(seen);
    std::vector<cv::Point2f> pixels;
    for (const Point& point : inFront)
    {
        pixels.push_back(projection.pixel(point));
    }
    const cv::Rect area = pixels.size() < 3 ? cv::Rect() : areaOf(pixels, albedo.size());
    if (area.empty())
    {
        return {};
    }
    const cv::Mat mask = mask_(area);
    cover(mask, pixels, area.tl());
    const bool pictured = paint.image != nullptr && inFront.size() == 4 && corners.size() == 4;
    const cv::Mat image = pictured ? warped(*paint.image, pixels, area) : cv::Mat();
    Brush brush(projection, corners, plane, paint, area, image);
    for (int y = area.y; y < area.y + area.height; ++y)
    {
        const std::uint8_t* const covered = mask.ptr(y - area.y);
        cv::Vec4b* const colours = albedo.ptr<cv::Vec4b>(y);
        cv::Vec4b* const places = place.ptr<cv::Vec4b>(y);
        brush.beginRow(y);
        for (int x = area.x; x < area.x + area.width; ++x)
        {
            if (covered[x - area.x] != 0)
            {
                brush.touch(x, covered[x - area.x], colours[x], places[x]);
            }
        }
    }
    return area;
}

}  // namespace sim::picture
