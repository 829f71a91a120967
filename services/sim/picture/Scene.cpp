#include "services/sim/picture/Scene.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/Street.h"

namespace sim::picture {
namespace {

constexpr float kStreetLampsLux = 4;       // below a street lamp
constexpr double kStreetLampsOff = 40;     // lux of daylight above which they are off
constexpr double kStreetLampsFull = 15;    // and below which they are fully on
constexpr double kOvercast = 3000;         // lux up to which there is no sun
constexpr double kSunny = 20000;           // and from which it shines fully
constexpr float kDaylightInfrared = 0.8f;  // of the same light in white, for a sensor without its cut filter
constexpr float kLampInfrared = 1.5f;
constexpr double kLightChange = 0.004;  // a smaller change of the daylight draws nothing anew
constexpr double kZoomStep = 1.06;      // a smaller change of the zoom draws nothing anew while the lens zooms

// Infrared lamps: what they give at 10 m straight ahead, and how wide they spread.
struct Beam
{
    float luxAtTen;
    float degrees;  // from the middle to where 37 % is left
};
constexpr Beam kBeams[] = {{14, 34}, {34, 14}, {100, 6.5f}};  // near, medium, far

constexpr float kClearMetres = 2200;  // what haze leaves of a contrast there is 37 %
constexpr float kMistMetres = 150;    // at its thickest, in the morning
constexpr double kMistHour = 6.5;
constexpr float kFogMetres = 20;   // in fog: 5 % of a contrast is left in 60 m
constexpr float kSkyMetres = 150;  // of haze before the sky

float between(double value, double none, double full)
{
    return static_cast<float>(std::clamp((value - none) / (full - none), 0.0, 1.0));
}

cv::Vec3f mixed(const cv::Vec3f& a, const cv::Vec3f& b, float part)
{
    return a + (b - a) * part;
}

// Areas that overlap, as areas that do not: runs of square tiles.
std::vector<cv::Rect> joined(const std::vector<cv::Rect>& areas, cv::Size canvas)
{
    constexpr int kTile = 16;
    const int columns = (canvas.width + kTile - 1) / kTile, rows = (canvas.height + kTile - 1) / kTile;
    cv::Mat tiles = cv::Mat::zeros(rows, columns + 1, CV_8U);
    for (const cv::Rect& area : areas)
    {
        if (!area.empty())
        {
            const cv::Point first = area.tl() / kTile, last = (area.br() - cv::Point(1, 1)) / kTile;
            tiles(cv::Rect(first, last + cv::Point(1, 1))) = 1;
        }
    }
    std::vector<cv::Rect> runs;
    for (int row = 0; row < rows; ++row)
    {
        for (int column = 0, begin = 0; column <= columns; ++column)
        {
            if (tiles.at<std::uint8_t>(row, column) == 0)
            {
                if (column > begin)
                {
                    runs.push_back(cv::Rect(begin * kTile, row * kTile, (column - begin) * kTile, kTile) &
                                   cv::Rect({0, 0}, canvas));
                }
                begin = column + 1;
            }
        }
    }
    return runs;
}

const cv::Vec3f kSunColour(0.82f, 0.97f, 1.12f);
const cv::Vec3f kSkyColour(1.1f, 1.0f, 0.92f);
const cv::Vec3f kTwilight(1.6f, 0.95f, 0.72f);
const cv::Vec3f kSodium(0.32f, 0.9f, 1.6f);

}  // namespace

// All of it in lux.
struct Scene::Light
{
    cv::Vec3f sky;
    cv::Vec3f sun;
    cv::Vec3f lamps;
    float daylight = 0;  // what the view says
    bool night = false;
    float skyInfrared = 0;
    float sunInfrared = 0;
    float lampInfrared = 0;
    float beams[3] = {};
    float haze = 0;  // a metre
    bool dark = false;

    bool like(const Light& other) const
    {
        return night == other.night && dark == other.dark && std::fabs(lamps[1] - other.lamps[1]) <= 0.01f &&
               std::equal(beams, beams + 3, other.beams) && std::fabs(haze - other.haze) <= haze * 0.02f &&
               std::fabs(daylight - other.daylight) <= kLightChange * daylight;
    }
};

Scene::Scene(cv::Size frame, int margin) : frame_(frame), margin_(margin)
{
    framing_.zoom = 0;
}

Scene::Light Scene::lightOf(const View& view)
{
    Light light;
    const auto lux = static_cast<float>(view.lux);
    const float fog = static_cast<float>(view.haze) / 100;
    const float sunny = 0.72f * between(view.lux, kOvercast, kSunny) * (1 - fog);
    const float dusk = 1 - between(std::log10(std::max(view.lux, 0.01)), 0.5, 2.3);
    const float evening = between(view.lux, kSunny, kOvercast);
    light.daylight = lux;
    light.sky = mixed(kSkyColour, kTwilight, dusk) * (lux * (1 - sunny));
    light.sun = mixed(kSunColour, {0.5f, 0.9f, 1.4f}, evening) * (lux * sunny * 1.4f);
    const float on = 1 - between(view.lux, kStreetLampsFull, kStreetLampsOff);
    light.lamps = kSodium * (kStreetLampsLux * on);
    light.dark = on > 0.5f;
    light.night = view.night;
    if (view.night)
    {
        light.skyInfrared = lux * (1 - sunny) * kDaylightInfrared;
        light.sunInfrared = lux * sunny * kDaylightInfrared;
        light.lampInfrared = kStreetLampsLux * on * kLampInfrared;
        const int strengths[] = {view.lamps.near, view.lamps.medium, view.lamps.far};
        for (int i = 0; i < 3; ++i)
        {
            light.beams[i] = kBeams[i].luxAtTen * static_cast<float>(strengths[i]) / 100;
        }
    }
    const double hours = std::fabs(std::remainder(view.secondsOfDay / 3600 - kMistHour, 24));
    const float mist = 1 - between(hours, 0.5, 3);
    light.haze = (1 - mist) / kClearMetres + mist / kMistMetres;
    light.haze += (std::pow(kClearMetres / kFogMetres, fog) - 1) / kClearMetres;
    return light;
}

// How the infrared lamps spread over the canvas; they look where the lens looks.
void Scene::spread(const Projection& projection)
{
    focal_ = projection.focal();
    const auto fill = [&projection](std::vector<float>& beam, int count, float centre, float degrees) {
        beam.resize(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
        {
            const float angle = std::atan((i + 0.5f - centre) / projection.focal()) * 57.29578f / degrees;
            beam[static_cast<std::size_t>(i)] = std::exp(-angle * angle);
        }
    };
    for (int i = 0; i < 3; ++i)
    {
        fill(beamAcross_[i], projection.canvas().width, projection.centre().x, kBeams[i].degrees);
        fill(beamDown_[i], projection.canvas().height, projection.centre().y, kBeams[i].degrees);
    }
}

void Scene::shine(const Light& light, const std::vector<cv::Rect>& areas)
{
    float clear[256], air[256], near[256];
    cv::Vec3f veil = light.sky * 0.75f + light.sun * 0.25f + light.lamps * 0.02f;
    if (light.night)
    {
        const float infrared = light.skyInfrared * 0.5f + light.sunInfrared * 0.2f;
        veil += cv::Vec3f::all(infrared);
    }
    for (int metres = 0; metres < 256; ++metres)
    {
        clear[metres] = std::exp(-light.haze * (metres == 0 ? kSkyMetres : static_cast<float>(metres)));
        air[metres] = 1 - clear[metres];
        const float distance = std::max(2, metres);
        near[metres] = metres == 0 ? 0 : 100 / (distance * distance);
    }
    float sunlight[3], lamplight[3];
    for (int c = 0; c < 3; ++c)
    {
        sunlight[c] = light.sun[c] / 255;
        lamplight[c] = light.lamps[c] / 255;
    }
    constexpr float kByte = 1 / 255.0f;
    const auto row = [&](const cv::Rect& area, int y) {
        const cv::Vec4b* const albedo = layers_.albedo.ptr<cv::Vec4b>(y);
        const cv::Vec4b* const place = layers_.place.ptr<cv::Vec4b>(y);
        cv::Vec3f* const out = radiance_.ptr<cv::Vec3f>(y);
        const auto down = static_cast<std::size_t>(y);
        const float beams[] = {light.beams[0] * beamDown_[0][down], light.beams[1] * beamDown_[1][down],
                               light.beams[2] * beamDown_[2][down]};
        for (int x = area.x; x < area.x + area.width; ++x)
        {
            const cv::Vec4b& colour = albedo[x];
            const cv::Vec4b& here = place[x];
            const float glow = kGlow * here[Layers::kGlows] * here[Layers::kGlows];
            const float through = clear[here[Layers::kDepth]] * kByte;
            const float hidden = air[here[Layers::kDepth]];
            float infrared = 0;
            if (light.night)
            {
                const auto column = static_cast<std::size_t>(x);
                const float beam = beams[0] * beamAcross_[0][column] + beams[1] * beamAcross_[1][column] +
                                   beams[2] * beamAcross_[2][column];
                infrared =
                    colour[3] * (light.skyInfrared + light.sunInfrared * here[Layers::kSun] * kByte +
                                 light.lampInfrared * here[Layers::kLamps] * kByte + beam * near[here[Layers::kDepth]]);
            }
            for (int c = 0; c < 3; ++c)
            {
                const float falls =
                    light.sky[c] + sunlight[c] * here[Layers::kSun] + lamplight[c] * here[Layers::kLamps] + glow;
                out[x][c] = through * (colour[c] * falls + infrared) + hidden * veil[c];
            }
        }
    };
    cv::parallel_for_({0, static_cast<int>(areas.size())}, [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i)
        {
            const cv::Rect& area = areas[static_cast<std::size_t>(i)];
            for (int y = area.y; y < area.y + area.height; ++y)
            {
                row(area, y);
            }
        }
    });
}

// Light scattered in lens and air around a lamp.
void Scene::dazzle(const Light& light, const Flare& flare, std::vector<cv::Rect>& touched)
{
    const Projection projection(frame_, margin_, framing_.zoom, framing_.offset);
    const Point seen = projection.seen(flare.street);
    if (seen.z < 4)
    {
        return;
    }
    const cv::Point2f middle = projection.pixel(seen);
    const float radius = std::min(flare.metres * focal_ / seen.z + 2, static_cast<float>(frame_.height) / 3);
    const int reach = static_cast<int>(radius * 2);
    const cv::Rect area =
        cv::Rect(static_cast<int>(middle.x) - reach, static_cast<int>(middle.y) - reach, 2 * reach, 2 * reach) &
        cv::Rect({0, 0}, radiance_.size());
    if (area.empty() || layers_.place.empty())
    {
        return;
    }
    const float lux = flare.lux * std::exp(-light.haze * seen.z);
    for (int y = area.y; y < area.y + area.height; ++y)
    {
        cv::Vec3f* const out = radiance_.ptr<cv::Vec3f>(y);
        for (int x = area.x; x < area.x + area.width; ++x)
        {
            const float dx = x - middle.x, dy = y - middle.y;
            const float off = (dx * dx + dy * dy) / (radius * radius);
            const float edge = std::max(0.0f, 1 - off / 4);
            out[x] += flare.colour * (lux * edge * edge / (1 + 60 * off));
        }
    }
    touched.push_back(area);
}

// Drawn anew only when the zoom has come some way further; in between, a part of what is there is enlarged.
const cv::Mat& Scene::lookCoarsely(const View& view, const Framing& framing, double seconds)
{
    if (!coarse_)
    {
        coarse_ = std::make_unique<Scene>(frame_ / 2, margin_ / 2);
    }
    View resting = view;
    resting.lens.zoomMoving = false;
    const Framing drawn{std::pow(kZoomStep, std::floor(std::log(framing.zoom) / std::log(kZoomStep))),
                        framing.offset / 2};
    const cv::Mat& street = coarse_->look(resting, drawn, seconds);
    const cv::Point2d size(street.cols, street.rows);
    const cv::Point2d centre = size / 2 + cv::Point2d(drawn.offset);
    const double part = drawn.zoom / framing.zoom;
    const cv::Rect seen(cv::Point(centre * (1 - part)), cv::Point(centre + (size - centre) * part));
    cv::resize(street(seen), enlarged_, frame_ + cv::Size(2 * margin_, 2 * margin_), 0, 0, cv::INTER_LINEAR);
    return enlarged_;
}

const cv::Mat& Scene::look(const View& view, const Framing& framing, double seconds)
{
    if (view.lens.zoomMoving)
    {
        return lookCoarsely(view, framing, seconds);
    }
    const Projection projection(frame_, margin_, framing.zoom, framing.offset);
    const bool newStreet = !(framing == framing_);
    if (newStreet)
    {
        framing_ = framing;
        street_.create(projection.canvas());
        drawStreet(street_, projection);
        layers_.copy(street_);
        radiance_.create(projection.canvas(), CV_32FC3);
        spread(projection);
        moved_.clear();
    }
    for (const cv::Rect& area : moved_)
    {
        street_.albedo(area).copyTo(layers_.albedo(area));
        street_.place(area).copyTo(layers_.place(area));
    }
    const auto light = std::make_shared<const Light>(lightOf(view));
    if (newStreet || !lit_ || !lit_->like(*light))
    {
        lit_ = light;
        shine(*lit_, joined({{{0, 0}, projection.canvas()}}, projection.canvas()));
        radiance_.copyTo(resting_);
        moved_.clear();
    }
    for (const cv::Rect& area : moved_)
    {
        resting_(area).copyTo(radiance_(area));
    }
    moved_.clear();
    traffic_.draw(layers_, projection, {seconds, lit_->dark, view.wind / 100.0}, moved_);
    moved_ = joined(moved_, projection.canvas());
    shine(*lit_, moved_);
    for (const Flare& flare : traffic_.flares())
    {
        dazzle(*lit_, flare, moved_);
    }
    for (const Point& lamp : lit_->dark ? streetLamps() : std::vector<Point>())
    {
        dazzle(*lit_, {lamp, {0.3f, 0.75f, 1.1f}, 20, 0.8f}, moved_);
    }
    return radiance_;
}

}  // namespace sim::picture
