#include "services/sim/picture/Traffic.h"

#include <algorithm>
#include <cmath>

#include "services/sim/picture/Charts.h"
#include "services/sim/picture/Shapes.h"
#include "services/sim/picture/Street.h"

namespace sim::picture {
namespace {

constexpr float kBegin = -14;  // y where vehicles that go away appear, unseen below the camera
constexpr float kEnd = 190;
constexpr int kHeadLamps = 255;
constexpr int kRearLamps = 45;

struct Lane
{
    float x;
    float speed;    // metres a second
    float spacing;  // metres from one vehicle to the next
    bool coming;
};

constexpr Lane kLanes[] = {{-2.75f, 9.5f, 47, false}, {-6.15f, 8.2f, 39, true}};

// Different for every number, the same each time.
std::uint32_t mixed(std::uint32_t number)
{
    number = (number ^ 61) ^ (number >> 16);
    number *= 9;
    number ^= number >> 4;
    number *= 0x27d4eb2d;
    return number ^ (number >> 15);
}

float fraction(std::uint32_t number)
{
    return static_cast<float>(mixed(number) % 1000) / 1000;
}

cv::Vec3f lacquerOf(int number)
{
    // Blue, green, red.
    const cv::Vec3f colours[] = {{0.6f, 0.6f, 0.6f},    {0.03f, 0.03f, 0.035f}, {0.3f, 0.12f, 0.05f},
                                 {0.05f, 0.05f, 0.42f}, {0.28f, 0.28f, 0.27f},  {0.12f, 0.22f, 0.1f},
                                 {0.1f, 0.42f, 0.55f},  {0.7f, 0.7f, 0.7f}};
    return colours[mixed(static_cast<std::uint32_t>(number) * 7 + 1) % std::size(colours)];
}

Paint cloth(const cv::Vec3f& colour, float infrared)
{
    Paint paint;
    paint.colour = colour;
    paint.infrared = infrared;
    paint.facing = 0.85f;
    paint.sun = 0.5f;
    return paint;
}

// A limb from one joint to the next, flat towards the camera.
Corners limb(Point from, Point to, float half)
{
    return {{from.x - half, from.y, from.z},
            {from.x + half, from.y, from.z},
            {to.x + half, to.y, to.z},
            {to.x - half, to.y, to.z}};
}

struct Walker
{
    float x;
    float speed;   // metres a second, negative towards the camera
    float begins;  // y
    float length;  // metres after which the way begins anew
    std::uint32_t looks;
};

constexpr Walker kWalkers[] = {{2.9f, 1.35f, 9, 55, 11},  {3.6f, -1.2f, 60, 52, 23},  {-9.4f, 1.25f, 14, 60, 31},
                               {-9.9f, 1.3f, 16, 60, 47}, {-8.9f, -1.5f, 75, 62, 53}, {2.4f, -1.1f, 40, 32, 71}};

cv::Rect drawWalker(Layers& layers, const Projection& projection, const Walker& walker, double seconds)
{
    const float gone = static_cast<float>(std::fmod(seconds * std::fabs(walker.speed) + walker.looks, walker.length));
    const float y = walker.begins + (walker.speed > 0 ? gone : -gone);
    const float x = walker.x + 0.15f * std::sin(static_cast<float>(y) * 0.3f);
    const float stride = std::sin(gone * 4.2f);
    const float tall = 1.62f + 0.22f * fraction(walker.looks);
    const auto colour = [&walker](std::uint32_t part) {
        return cv::Vec3f(0.05f + 0.35f * fraction(walker.looks + part),
                         0.05f + 0.3f * fraction(walker.looks + part + 1),
                         0.05f + 0.4f * fraction(walker.looks + part + 2));
    };
    const Paint skin = cloth({0.2f, 0.28f, 0.45f}, 0.55f);
    const Paint coat = cloth(colour(100), 0.5f);
    const Paint trousers = cloth(colour(200) * 0.5f, 0.15f);
    const float hip = tall * 0.52f, shoulder = tall * 0.82f;
    cv::Rect touched;
    const auto fill = [&](const Corners& corners, const Paint& paint) {
        touched |= layers.fill(projection, corners, paint);
    };
    Paint shadow;
    shadow.dims = 0.6f;
    fill(level(x - 0.3f, x + 0.4f, y - 0.25f, y + 0.3f, 0.07f), shadow);
    for (const float side : {-1.0f, 1.0f})
    {
        const float swing = 0.3f * stride * side;
        const Point foot(x + side * 0.09f, y + swing, 0.06f + 0.1f * std::max(0.0f, stride * side));
        fill(limb({x + side * 0.08f, y, hip}, foot, 0.085f), trousers);
        fill(limb({foot.x, foot.y, foot.z + 0.1f}, {foot.x, foot.y - 0.08f, foot.z}, 0.09f),
             cloth({0.03f, 0.03f, 0.03f}, 0.1f));
        fill(limb({x + side * 0.24f, y, shoulder}, {x + side * 0.28f, y - swing, hip - 0.03f}, 0.06f), coat);
    }
    fill({{x - 0.22f, y - 0.02f, shoulder + 0.02f},
          {x + 0.22f, y - 0.02f, shoulder + 0.02f},
          {x + 0.17f, y - 0.02f, hip - 0.08f},
          {x - 0.17f, y - 0.02f, hip - 0.08f}},
         coat);
    fill(disc({x, y - 0.04f, tall - 0.12f}, 0.115f), skin);
    fill(disc({x, y - 0.05f, tall - 0.075f}, 0.11f), cloth(colour(300) * 0.3f, 0.3f));
    return touched;
}

// The crown's leaves in clusters, dark ones behind bright ones; the wind moves the upper ones more.
cv::Rect drawTree(Layers& layers, const Projection& projection, const Tree& tree, const Moment& moment)
{
    cv::Rect touched;
    const double seconds = moment.seconds;
    const auto wind = static_cast<float>(moment.wind);
    const float gust = static_cast<float>(0.6 * std::sin(seconds * 0.9 + tree.y) + 0.4 * std::sin(seconds * 2.3));
    Paint bark;
    bark.colour = {0.06f, 0.08f, 0.1f};
    bark.infrared = 0.25f;
    bark.grain = 0.5f;
    touched |= layers.fill(projection,
                           {{tree.x - 0.09f, tree.y, tree.height * 0.6f},
                            {tree.x + 0.09f, tree.y, tree.height * 0.6f},
                            {tree.x + 0.17f, tree.y, 0},
                            {tree.x - 0.17f, tree.y, 0}},
                           bark);
    const float middle = tree.height - tree.crown * 1.15f;
    for (int i = 0; i < tree.clusters; ++i)
    {
        const auto part = [i, &tree](std::uint32_t salt) {
            return fraction(static_cast<std::uint32_t>(i) * 17 + salt + static_cast<std::uint32_t>(tree.y * 100));
        };
        const float outward = std::sqrt(part(1)), turn = part(2) * 6.2832f;
        const float up = std::sin(turn) * outward * 1.15f;
        const float flutter = static_cast<float>(std::sin(seconds * (2 + 2 * part(3)) + i));
        const float sway = wind * (0.5f * gust * (1.2f + up) + 0.2f * flutter);
        const Point at(tree.x + std::cos(turn) * outward * tree.crown + sway, tree.y - 0.01f * static_cast<float>(i),
                       middle + up * tree.crown + 0.3f * sway);
        const float bright = 0.45f + 0.35f * static_cast<float>(i) / static_cast<float>(tree.clusters) + 0.3f * up;
        Paint leaves;
        leaves.colour = cv::Vec3f(0.03f, 0.115f + 0.04f * part(4), 0.055f + 0.05f * part(5)) * std::max(0.25f, bright);
        leaves.infrared = 0.55f * std::max(0.35f, bright);
        leaves.grain = 0.8f;
        leaves.sun = std::clamp(bright, 0.1f, 1.0f);
        Corners cluster;
        const float radius = tree.crown * (1.25f + 1.25f * part(6)) / std::sqrt(static_cast<float>(tree.clusters));
        for (int corner = 0; corner < 14; ++corner)
        {
            const float angle = static_cast<float>(corner) * 0.4488f + part(7) * 6;
            const float far = radius * (corner % 2 == 0 ? 0.65f : 1.1f) *
                              (0.7f + 0.5f * part(20 + static_cast<std::uint32_t>(corner)));
            cluster.push_back(at + Point(far * std::cos(angle), 0, far * std::sin(angle)));
        }
        touched |= layers.fill(projection, cluster, leaves);
    }
    return touched;
}

}  // namespace

const cv::Mat& Traffic::plate(int number)
{
    if (plates_.size() > 100)
    {
        plates_.clear();
    }
    cv::Mat& made = plates_[number];
    if (made.empty())
    {
        const auto letter = [number](std::uint32_t place) {
            return static_cast<char>('A' + mixed(static_cast<std::uint32_t>(number) * 3 + place) % 26);
        };
        const int digits = 1000 + static_cast<int>(mixed(static_cast<std::uint32_t>(number)) % 9000);
        made = numberPlate(std::string({letter(1), ' ', letter(2), letter(3), ' '}) + std::to_string(digits));
    }
    return made;
}

void Traffic::addVehicles(double seconds, bool dark)
{
    vehicles_.clear();
    for (const Lane& lane : kLanes)
    {
        const double gone = seconds * lane.speed;
        const int newest = static_cast<int>(std::floor(gone / lane.spacing));
        for (int number = newest; number > newest - static_cast<int>((kEnd - kBegin) / lane.spacing) - 1; --number)
        {
            const int own = number * 2 + (lane.coming ? 1 : 0);
            const auto looks = static_cast<std::uint32_t>(own);
            if (fraction(looks * 5 + 2) < 0.2f)
            {
                continue;  // a gap in the traffic
            }
            const auto way = static_cast<float>(gone - double(number) * lane.spacing) +
                             (fraction(looks * 11 + 3) - 0.5f) * lane.spacing * 0.4f;
            Vehicle vehicle;
            const float kind = fraction(looks * 13 + 7);
            vehicle.body = kind < 0.72f ? Body::saloon : kind < 0.9f ? Body::van : Body::lorry;
            vehicle.colour = lacquerOf(own);
            vehicle.plate = plate(own);
            vehicle.x = lane.x + (fraction(looks * 3 + 5) - 0.5f) * 0.5f;
            vehicle.y = lane.coming ? kEnd - way : kBegin + way;
            vehicle.coming = lane.coming;
            vehicle.lamps = !dark ? 0 : lane.coming ? kHeadLamps : kRearLamps;
            vehicle.passed = way;
            vehicles_.push_back(vehicle);
        }
    }
    std::sort(vehicles_.begin(), vehicles_.end(), [](const Vehicle& a, const Vehicle& b) { return a.y > b.y; });
}

// The cone of the lamps in front of a vehicle.
void Traffic::lightRoad(Layers& layers, const Projection& projection, const Vehicle& vehicle,
                        std::vector<cv::Rect>& touched) const
{
    Paint cone;
    cone.lights = 28;
    const float direction = vehicle.coming ? -1.0f : 1.0f;
    const float start = vehicle.coming ? vehicle.y : vehicle.y + 4.5f;
    for (int ring = 0; ring < 4; ++ring)
    {
        const float reach = 16 - 3.5f * ring, wide = 2.3f - 0.35f * ring;
        const float near = start + direction * (0.6f + 0.4f * ring), far = start + direction * reach;
        touched.push_back(layers.fill(projection,
                                      {{vehicle.x - wide * 0.45f, near, 0.02f},
                                       {vehicle.x + wide * 0.45f, near, 0.02f},
                                       {vehicle.x + wide, (near + far) / 2, 0.02f},
                                       {vehicle.x + wide * 0.7f, far, 0.02f},
                                       {vehicle.x - wide * 0.7f, far, 0.02f},
                                       {vehicle.x - wide, (near + far) / 2, 0.02f}},
                                      cone));
    }
}

void Traffic::draw(Layers& layers, const Projection& projection, const Moment& moment, std::vector<cv::Rect>& touched)
{
    const double seconds = moment.seconds;
    const bool dark = moment.dark;
    addVehicles(seconds, dark);
    flares_.clear();
    if (dark)
    {
        for (const Vehicle& vehicle : vehicles_)
        {
            lightRoad(layers, projection, vehicle, touched);
        }
    }
    for (const Walker& walker : kWalkers)
    {
        touched.push_back(drawWalker(layers, projection, walker, seconds));
    }
    for (const Vehicle& vehicle : vehicles_)
    {
        touched.push_back(drawVehicle(layers, projection, vehicle));
        for (const float side : {-1.0f, 1.0f})
        {
            const Point lamp(vehicle.x + side * kLampsApart / 2, vehicle.y - 0.1f, kLampsHigh);
            if (dark && vehicle.coming)
            {
                flares_.push_back({lamp, {0.75f, 0.9f, 1.0f}, 260, 0.8f});
            }
            else if (dark)
            {
                flares_.push_back({lamp, {0.05f, 0.05f, 1.0f}, 12, 0.3f});
            }
        }
    }
    for (const Tree& tree : trees())
    {
        touched.push_back(drawTree(layers, projection, tree, moment));
    }
}

}  // namespace sim::picture
