#include "services/sim/picture/Street.h"

#include <algorithm>
#include <cmath>

#include "services/sim/picture/Charts.h"
#include "services/sim/picture/Shapes.h"
#include "services/sim/picture/Vehicle.h"

namespace sim::picture {
namespace {

constexpr float kFar = 220;    // metres; what lies beyond is sky
constexpr float kKerb = 1.4f;  // x of the right edge of the road
constexpr float kLeftKerb = -8;
constexpr float kFacade = -11;  // x of the houses on the left
constexpr float kWall = 6.5f;   // x of the garden wall on the right

// Colours as they are named: red, green, blue.
Paint matte(float red, float green, float blue, float infrared, float grain)
{
    Paint paint;
    paint.colour = {blue, green, red};
    paint.infrared = infrared;
    paint.grain = grain;
    return paint;
}

Paint shaded(Paint paint, float facing, float sun)
{
    paint.facing = facing;
    paint.sun = sun;
    return paint;
}

struct Pictures
{
    const cv::Mat colours = colourChart();
    const cv::Mat lines = resolutionChart();
    const cv::Mat shopWindow = picture::shopWindow();
    const cv::Mat shopSign = picture::shopSign();
    const cv::Mat vanPlate = numberPlate("B KT 5107");
    const cv::Mat carPlate = numberPlate("M LX 4826");
};

const Pictures& pictures()
{
    static const Pictures made;
    return made;
}

class Drawing
{
public:
    Drawing(Layers& layers, const Projection& projection)
        : layers_(layers),
          projection_(projection),
          pictures_(pictures())
    {
    }

    void draw()
    {
        sky();
        ground();
        markings();
        farEnd();
        leftHouses();
        rightHouses();
        shadows();
        posts();
        charts();
        parkedCars();
    }

private:
    void fill(const Corners& corners, const Paint& paint) { layers_.fill(projection_, corners, paint); }

    // Clouds on a plane high above.
    void sky()
    {
        layers_.albedo = cv::Scalar(235, 222, 210, 110);
        fill(level(-40000, 40000, 100, 60000, 900), matte(0.66f, 0.76f, 0.9f, 0.3f, 0.16f));
        layers_.place = cv::Scalar(0, 190, 0, 0);
    }

    void ground()
    {
        fill(level(-300, 300, 1, kFar, -0.02f), matte(0.11f, 0.14f, 0.06f, 0.4f, 0.6f));
        fill(level(kLeftKerb, kKerb, 1, kFar, 0), matte(0.115f, 0.112f, 0.11f, 0.14f, 0.35f));
        const Paint slabs = matte(0.33f, 0.31f, 0.28f, 0.36f, 0.25f);
        fill(level(kFacade, kLeftKerb, 1, kFar, 0.05f), slabs);
        fill(level(kKerb, 4.4f, 1, kFar, 0.05f), slabs);
        const Paint joint = matte(0.2f, 0.19f, 0.17f, 0.24f, 0);
        for (float y = 8; y < 60; y += 1.2f)
        {
            fill(level(kKerb, 4.4f, y, y + 0.03f, 0.055f), joint);
            fill(level(kFacade, kLeftKerb, y, y + 0.03f, 0.055f), joint);
        }
        for (const float x : {kKerb, kLeftKerb - 0.15f})
        {
            fill(level(x, x + 0.15f, 1, kFar, 0.1f), matte(0.45f, 0.44f, 0.42f, 0.45f, 0.15f));
        }
        fill(level(4.4f, kWall, 1, kFar, 0.06f), matte(0.07f, 0.15f, 0.03f, 0.55f, 0.8f));
    }

    void markings()
    {
        const Paint white = matte(0.68f, 0.68f, 0.64f, 0.7f, 0.3f);
        for (float y = 6; y < 160; y += 9)
        {
            fill(level(-4.45f, -4.3f, y, y + 4, 0.005f), white);
        }
        for (float y = 6; y < 160; y += 6)
        {
            fill(level(-1.18f, -1.08f, y, y + 0.9f, 0.005f), white);
        }
        for (float x = kLeftKerb + 0.4f; x < -1.2f; x += 1)
        {
            fill(level(x, x + 0.5f, 48, 52, 0.006f), white);
        }
        // Patches of newer asphalt and a manhole.
        const Paint patch = matte(0.075f, 0.075f, 0.078f, 0.1f, 0.3f);
        fill(level(-3.9f, -2.2f, 17, 22, 0.003f), patch);
        fill(level(-7.4f, -6.2f, 27, 36, 0.003f), patch);
        Corners cover;
        for (int i = 0; i < 16; ++i)
        {
            const float turn = i * 0.3927f;
            cover.push_back({-2.1f + 0.35f * std::cos(turn), 26 + 0.35f * std::sin(turn), 0.006f});
        }
        fill(cover, matte(0.06f, 0.055f, 0.05f, 0.08f, 0.6f));
    }

    void farEnd()
    {
        const Paint hill = matte(0.07f, 0.11f, 0.06f, 0.4f, 0.5f);
        fill({{-260, 215, 0},
              {-180, 215, 19},
              {-90, 215, 13},
              {-10, 215, 18},
              {60, 215, 12},
              {160, 215, 20},
              {260, 215, 0}},
             hill);
        fill(across(170, -16, 9, 0, 13), shaded(matte(0.42f, 0.33f, 0.25f, 0.45f, 0.2f), 0.8f, 0.6f));
        fill({{-17, 169.5f, 13}, {-3.5f, 169.5f, 18}, {10, 169.5f, 13}}, matte(0.25f, 0.1f, 0.07f, 0.3f, 0.3f));
        for (float x = -14; x < 7; x += 3)
        {
            for (float z = 2; z < 11; z += 3.2f)
            {
                window(across(169.9f, x, x + 1.3f, z, z + 1.8f), static_cast<int>(x * 7 + z * 3) % 3 == 0);
            }
        }
    }

    void window(const Corners& corners, bool lit)
    {
        Paint glass = matte(0.1f, 0.11f, 0.12f, 0.1f, 0);
        glass.sun = 0.3f;
        if (lit)
        {
            glass.colour = {0.22f, 0.4f, 0.55f};
            glass.glow = 5;
        }
        fill(corners, glass);
    }

    struct House
    {
        float from, to, height;
        cv::Vec3f colour;  // red, green, blue
        bool shop;
    };

    void leftHouses()
    {
        const House houses[] = {{6, 18, 9, {0.5f, 0.44f, 0.34f}, false},  {18, 32, 11, {0.36f, 0.2f, 0.15f}, true},
                                {32, 46, 8, {0.55f, 0.55f, 0.5f}, false}, {46, 64, 12, {0.42f, 0.36f, 0.28f}, false},
                                {64, 85, 10, {0.3f, 0.22f, 0.2f}, false}, {85, 110, 13, {0.5f, 0.47f, 0.42f}, false},
                                {110, 168, 9, {0.4f, 0.37f, 0.3f}, false}};
        for (int i = static_cast<int>(std::size(houses)) - 1; i >= 0; --i)
        {
            const House& house = houses[i];
            const Paint wall =
                shaded(matte(house.colour[0], house.colour[1], house.colour[2], 0.5f, 0.22f), 0.9f, 0.9f);
            fill({{kFacade - 4, house.from, house.height + 3},
                  {kFacade - 4, house.to, house.height + 3},
                  {kFacade + 0.4f, house.to, house.height},
                  {kFacade + 0.4f, house.from, house.height}},
                 matte(0.24f, 0.12f, 0.09f, 0.3f, 0.4f));
            fill({{kFacade, house.from, 0},
                  {kFacade, house.from, house.height},
                  {kFacade - 4, house.from, house.height + 3},
                  {kFacade - 8, house.from, house.height},
                  {kFacade - 8, house.from, 0}},
                 shaded(wall, 0.75f, 0.4f));
            fill(along(kFacade, house.from, house.to, 0, house.height), wall);
            fill(along(kFacade + 0.01f, house.from, house.to, 0, 0.6f),
                 shaded(matte(0.2f, 0.19f, 0.18f, 0.25f, 0.3f), 0.9f, 0.8f));
            facade(house, i);
            if (house.shop)
            {
                shop(house);
            }
        }
    }

    void facade(const House& house, int number)
    {
        const Paint frame = matte(0.62f, 0.6f, 0.56f, 0.6f, 0.1f);
        for (float z = house.shop ? 4.4f : 1.2f; z + 1.8f < house.height; z += 3)
        {
            for (float y = house.from + 1.2f; y + 1.4f < house.to; y += 2.9f)
            {
                const bool lit = (static_cast<int>(y * 3 + z * 5) + number) % 4 == 0;
                fill(along(kFacade + 0.03f, y - 0.1f, y + 1.3f, z - 0.15f, z + 1.75f), frame);
                window(along(kFacade + 0.05f, y, y + 0.56f, z, z + 1.6f), lit);
                window(along(kFacade + 0.05f, y + 0.64f, y + 1.2f, z, z + 1.6f), lit);
            }
        }
    }

    void shop(const House& house)
    {
        Paint light;
        light.image = &pictures_.shopWindow;
        light.sun = 0.2f;
        light.glow = 13;
        fill(along(kFacade + 0.06f, house.from + 0.8f, house.to - 3, 0.6f, 3), light);
        Paint sign;
        sign.image = &pictures_.shopSign;
        sign.glow = 7;
        fill(along(kFacade + 0.25f, house.from + 0.6f, house.to - 2.8f, 3.15f, 4), sign);
        fill(along(kFacade + 0.06f, house.to - 2.4f, house.to - 1.2f, 0.1f, 2.6f),
             matte(0.1f, 0.16f, 0.12f, 0.2f, 0.1f));
        // An awning.
        for (int i = 0; i < 16; ++i)
        {
            const float width = (house.to - house.from - 3.4f) / 16;
            const float y = house.from + 0.6f + i * width;
            const Paint stripe =
                i % 2 == 0 ? matte(0.5f, 0.08f, 0.06f, 0.5f, 0.1f) : matte(0.7f, 0.68f, 0.6f, 0.7f, 0.1f);
            fill({{kFacade + 0.1f, y, 3.1f},
                  {kFacade + 0.1f, y + width, 3.1f},
                  {kFacade + 1.3f, y + width, 2.6f},
                  {kFacade + 1.3f, y, 2.6f}},
                 stripe);
        }
    }

    void rightHouses()
    {
        for (float y = 150; y > 30; y -= 26)
        {
            const float x = 12, height = 6.5f;
            const Paint wall = shaded(matte(0.52f, 0.48f, 0.4f, 0.5f, 0.15f), 0.6f, 0.25f);
            fill(along(x, y, y + 16, 0, height), wall);
            fill(across(y, x, x + 11, 0, height), shaded(wall, 0.8f, 0.5f));
            fill({{x - 0.4f, y - 0.3f, height},
                  {x + 5.5f, y - 0.3f, height + 4},
                  {x + 5.5f, y + 16, height + 4},
                  {x - 0.4f, y + 16, height}},
                 shaded(matte(0.2f, 0.09f, 0.06f, 0.3f, 0.4f), 0.9f, 0.6f));
            fill({{x, y, height}, {x + 5.5f, y, height + 4}, {x + 11, y, height}}, shaded(wall, 0.8f, 0.5f));
            for (float z = 1; z < 5; z += 2.9f)
            {
                for (float side = 1.2f; side < 10; side += 3.1f)
                {
                    window(across(y - 0.02f, x + side, x + side + 1.2f, z, z + 1.5f),
                           static_cast<int>(y + side * 5 + z) % 3 == 0);
                }
            }
        }
        fill(along(kWall, 4, 160, 0, 1.1f), shaded(matte(0.34f, 0.3f, 0.26f, 0.4f, 0.35f), 0.8f, 0.3f));
        fill(level(kWall, kWall + 0.3f, 4, 160, 1.1f), matte(0.42f, 0.4f, 0.36f, 0.45f, 0.2f));
    }

    // The sun stands behind the camera and to the right of it.
    void shadows()
    {
        Paint half;
        half.shades = 0.45f;
        const auto onGround = [](float x, float y, float height) {
            return Point(x - 0.75f * height, y + 0.4f * height, 0.1f);
        };
        for (float y = 150; y > 30; y -= 26)
        {
            fill({{12, y, 0}, onGround(12, y, 6.5f), onGround(12, y + 16, 6.5f), {12, y + 16, 0}}, half);
        }
        for (const Tree& tree : trees())
        {
            fill({{tree.x - 0.15f, tree.y, 0.1f},
                  {tree.x + 0.15f, tree.y, 0.1f},
                  onGround(tree.x + 0.1f, tree.y, tree.height * 0.5f),
                  onGround(tree.x - 0.1f, tree.y, tree.height * 0.5f)},
                 half);
            const Point middle = onGround(tree.x, tree.y, tree.height - tree.crown);
            for (const float size : {1.1f, 0.9f})
            {
                Corners crown;
                for (int i = 0; i < 40; ++i)
                {
                    const float turn = i * 0.15708f;
                    const float uneven = 1 + 0.1f * std::sin(turn * 7 + tree.y) + 0.07f * std::sin(turn * 13);
                    const float far = tree.crown * size * uneven;
                    crown.push_back(middle + Point(far * std::cos(turn), far * std::sin(turn) * 1.1f, 0));
                }
                fill(crown, half);
            }
        }
    }

    void posts()
    {
        const Paint steel = shaded(matte(0.2f, 0.21f, 0.21f, 0.3f, 0.1f), 1, 0.7f);
        const std::vector<Point> lamps = streetLamps();
        for (std::size_t i = lamps.size(); i-- > 0;)
        {
            const Point& lamp = lamps[i];
            fill(across(lamp.y, kLeftKerb - 0.5f, kLeftKerb - 0.38f, 0, lamp.z + 0.2f), steel);
            fill(across(lamp.y, kLeftKerb - 0.5f, lamp.x, lamp.z + 0.12f, lamp.z + 0.2f), steel);
            Paint glass = matte(0.75f, 0.72f, 0.6f, 0.7f, 0);
            glass.glow = 180;
            fill(across(lamp.y - 0.05f, lamp.x - 0.35f, lamp.x + 0.25f, lamp.z, lamp.z + 0.12f), glass);
        }
        // A sign, and bollards along the kerb.
        fill(across(31, 2.05f, 2.11f, 0, 2.8f), steel);
        fill(disc({2.08f, 30.95f, 2.6f}, 0.34f), matte(0.6f, 0.03f, 0.03f, 0.6f, 0));
        fill(disc({2.08f, 30.9f, 2.6f}, 0.26f), matte(0.75f, 0.75f, 0.73f, 0.75f, 0));
        for (float y = 60; y > 10; y -= 5)
        {
            fill(across(y, 1.75f, 1.87f, 0.05f, 0.95f), shaded(matte(0.12f, 0.12f, 0.12f, 0.15f, 0.1f), 1, 0.7f));
            fill(across(y - 0.01f, 1.75f, 1.87f, 0.75f, 0.85f), matte(0.7f, 0.7f, 0.68f, 0.75f, 0));
        }
    }

    void charts()
    {
        Paint board;
        board.sun = 0.6f;
        const Paint leg = matte(0.15f, 0.13f, 0.1f, 0.2f, 0);
        fill(across(17, 4.6f, 4.68f, 0, 0.9f), leg);
        fill(across(17, 6.1f, 6.18f, 0, 0.9f), leg);
        board.image = &pictures_.colours;
        fill(across(16.95f, 4.5f, 6.3f, 1.5f, 2.7f), board);
        board.image = &pictures_.lines;
        fill(across(16.95f, 4.5f, 6.3f, 0.3f, 1.5f), board);
        // Small ones beside the car, for a long lens.
        board.image = &pictures_.lines;
        fill(across(34.9f, 1.0f, 1.3f, 0.8f, 1.0f), board);
        board.image = &pictures_.colours;
        fill(across(34.9f, 1.0f, 1.3f, 0.6f, 0.8f), board);
        fill(across(34.95f, 1.12f, 1.18f, 0, 0.6f), leg);
    }

    void parkedCars()
    {
        Vehicle van;
        van.body = Body::van;
        van.colour = {0.55f, 0.56f, 0.55f};
        van.plate = pictures_.vanPlate;
        van.x = 0.35f;
        van.y = 44;
        drawVehicle(layers_, projection_, van);
        Vehicle car;
        car.colour = {0.09f, 0.1f, 0.42f};
        car.plate = pictures_.carPlate;
        car.y = 35;
        drawVehicle(layers_, projection_, car);
    }

    Layers& layers_;
    const Projection& projection_;
    const Pictures& pictures_;
};

}  // namespace

Corners disc(Point middle, float radius, bool sideways)
{
    Corners corners;
    for (int i = 0; i < 20; ++i)
    {
        const float turn = i * 0.314159f;
        const float a = radius * std::cos(turn), b = radius * std::sin(turn);
        corners.push_back(middle + (sideways ? Point(0, a, b) : Point(a, 0, b)));
    }
    return corners;
}

std::vector<Point> streetLamps()
{
    std::vector<Point> lamps;
    for (float y = 12.5f; y < 160; y += 25)
    {
        lamps.push_back({-5.6f, y, 7});
    }
    return lamps;
}

const std::vector<Tree>& trees()
{
    static const std::vector<Tree> planted = {
        {5.4f, 52, 7.5f, 2.6f, 90}, {5.5f, 38, 8.5f, 2.9f, 130}, {5.3f, 25.5f, 7.2f, 2.2f, 170}};
    return planted;
}

void drawStreet(Layers& layers, const Projection& projection)
{
    Drawing(layers, projection).draw();
}

}  // namespace sim::picture
