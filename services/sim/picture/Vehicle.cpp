#include "services/sim/picture/Vehicle.h"

#include <cmath>

#include "services/sim/picture/Shapes.h"

namespace sim::picture {
namespace {

// A body as seen from its side: pieces from the nearer end to the farther one.
struct Piece
{
    float y, z;  // where the piece ends, from the nearer end
    bool glass;
};

struct Shape
{
    float halfWidth;
    float clearance;
    std::vector<Piece> pieces;                     // the first one begins at y = 0 on the clearance
    std::vector<std::pair<float, float>> windows;  // of the sides: y and z
    std::vector<float> wheels;                     // y
    float wheelRadius;
};

const Shape& shapeOf(Body body, bool coming)
{
    static const Shape kSaloonRear = {0.88f,
                                      0.22f,
                                      {{0, 0.78f, false},
                                       {0.08f, 0.98f, false},
                                       {0.55f, 1.02f, false},
                                       {1.15f, 1.42f, true},
                                       {2.55f, 1.46f, false},
                                       {3.35f, 1.02f, true},
                                       {4.3f, 0.82f, false},
                                       {4.4f, 0.3f, false}},
                                      {{0.75f, 1.02f}, {1.2f, 1.36f}, {2.5f, 1.39f}, {3.15f, 1.02f}},
                                      {0.85f, 3.5f},
                                      0.32f};
    static const Shape kSaloonFront = {0.88f,
                                       0.2f,
                                       {{0, 0.72f, false},
                                        {0.12f, 0.82f, false},
                                        {1.05f, 1.02f, false},
                                        {1.85f, 1.43f, true},
                                        {3.25f, 1.44f, false},
                                        {3.85f, 1.02f, true},
                                        {4.35f, 0.96f, false},
                                        {4.4f, 0.3f, false}},
                                       {{1.25f, 1.02f}, {1.9f, 1.37f}, {3.2f, 1.38f}, {3.65f, 1.02f}},
                                       {0.9f, 3.55f},
                                       0.32f};
    static const Shape kVan = {0.97f,
                               0.25f,
                               {{0, 0.95f, false},
                                {0.15f, 1.1f, false},
                                {0.75f, 1.25f, false},
                                {1.35f, 2.0f, true},
                                {1.6f, 2.15f, false},
                                {5.0f, 2.2f, false},
                                {5.05f, 0.3f, false}},
                               {{1.0f, 1.25f}, {1.45f, 1.9f}, {2.3f, 1.9f}, {2.3f, 1.25f}},
                               {0.95f, 4.0f},
                               0.36f};
    static const Shape kVanRear = {0.97f,
                                   0.25f,
                                   {{0, 1.2f, false},
                                    {0.03f, 1.85f, true},
                                    {0.1f, 2.2f, false},
                                    {3.5f, 2.15f, false},
                                    {4.3f, 1.25f, true},
                                    {5.0f, 0.95f, false},
                                    {5.05f, 0.3f, false}},
                                   {{2.8f, 1.25f}, {2.8f, 1.9f}, {3.5f, 1.9f}, {4.0f, 1.25f}},
                                   {1.0f, 4.1f},
                                   0.36f};
    static const Shape kLorry = {1.2f,
                                 0.45f,
                                 {{0, 1.3f, false},
                                  {0.1f, 2.5f, true},
                                  {0.25f, 2.8f, false},
                                  {1.9f, 2.85f, false},
                                  {2.1f, 3.3f, false},
                                  {8.5f, 3.3f, false},
                                  {8.55f, 0.6f, false}},
                                 {{0.35f, 1.5f}, {0.4f, 2.3f}, {1.4f, 2.3f}, {1.4f, 1.5f}},
                                 {1.2f, 5.6f, 6.9f},
                                 0.5f};
    static const Shape kLorryRear = {1.2f,
                                     0.6f,
                                     {{0, 3.3f, false}, {6.4f, 3.3f, false}, {8.5f, 2.8f, false}, {8.55f, 0.6f, false}},
                                     {},
                                     {1.2f, 2.5f, 7.0f},
                                     0.5f};
    switch (body)
    {
    case Body::van:
        return coming ? kVan : kVanRear;
    case Body::lorry:
        return coming ? kLorry : kLorryRear;
    default:
        return coming ? kSaloonFront : kSaloonRear;
    }
}

const cv::Vec3f kGlassColour(0.06f, 0.055f, 0.05f);
const cv::Vec3f kRubber(0.03f, 0.03f, 0.03f);

class Drawing
{
public:
    Drawing(Layers& layers, const Projection& projection, const Vehicle& vehicle)
        : layers_(layers),
          projection_(projection),
          vehicle_(vehicle),
          shape_(shapeOf(vehicle.body, vehicle.coming))
    {
    }

    cv::Rect draw()
    {
        const float length = shape_.pieces.back().y;
        fill(level(left() - 0.15f, right() + 0.25f, vehicle_.y - 0.2f, vehicle_.y + length + 0.3f, 0.01f),
             shadow(0.55f));
        fill(level(left(), right(), vehicle_.y, vehicle_.y + length, 0.01f), shadow(0.3f));
        side();
        top();
        end();
        return touched_;
    }

private:
    float left() const { return vehicle_.x - shape_.halfWidth; }
    float right() const { return vehicle_.x + shape_.halfWidth; }

    static Paint shadow(float dims)
    {
        Paint paint;
        paint.dims = dims;
        return paint;
    }

    Paint lacquer(float facing, float sun) const
    {
        Paint paint;
        paint.colour = vehicle_.colour;
        paint.infrared = 0.15f + 0.6f * (vehicle_.colour[0] + vehicle_.colour[1] + vehicle_.colour[2]) / 3;
        paint.facing = facing;
        paint.sun = sun;
        paint.grain = 0.04f;
        return paint;
    }

    static Paint plain(const cv::Vec3f& colour, float infrared, int glow = 0)
    {
        Paint paint;
        paint.colour = colour;
        paint.infrared = infrared;
        paint.glow = glow;
        paint.sun = 0.6f;
        return paint;
    }

    void fill(const Corners& corners, const Paint& paint) { touched_ |= layers_.fill(projection_, corners, paint); }

    // The side that the camera sees.
    void side()
    {
        const float x = vehicle_.x < 0 ? right() : left();
        const float inward = vehicle_.x < 0 ? -1.0f : 1.0f;
        Corners outline = {{x, vehicle_.y, shape_.clearance},
                           {x, vehicle_.y + shape_.pieces.back().y, shape_.clearance}};
        for (std::size_t i = shape_.pieces.size(); i-- > 0;)
        {
            const Piece& piece = shape_.pieces[i];
            outline.push_back({x + inward * narrowed(piece.z), vehicle_.y + piece.y, piece.z});
        }
        fill(outline, lacquer(0.72f, 0.5f));
        Corners windows;
        for (const auto& [y, z] : shape_.windows)
        {
            windows.push_back({x + inward * narrowed(z), vehicle_.y + y, z});
        }
        if (!windows.empty())
        {
            fill(windows, plain(kGlassColour, 0.08f));
        }
        for (const float y : shape_.wheels)
        {
            const Point hub(x, vehicle_.y + y, shape_.wheelRadius);
            fill(disc(hub, shape_.wheelRadius, true), plain(kRubber, 0.06f));
            fill(disc(hub, shape_.wheelRadius * 0.6f, true), plain({0.35f, 0.35f, 0.35f}, 0.4f));
            for (int spoke = 0; spoke < 3; ++spoke)
            {
                const float turn = vehicle_.passed / shape_.wheelRadius + spoke * 2.094f;
                const Point at = hub + Point(0, std::cos(turn), std::sin(turn)) * (shape_.wheelRadius * 0.35f);
                fill(disc(at, shape_.wheelRadius * 0.14f, true), plain(kRubber, 0.06f));
            }
        }
    }

    // From the farther end to the nearer one. What is above the waist is narrower.
    void top()
    {
        const std::vector<Piece>& pieces = shape_.pieces;
        for (std::size_t i = pieces.size() - 1; i > 0; --i)
        {
            const Piece& from = pieces[i - 1];
            const Piece& to = pieces[i];
            const float rise = to.z - from.z, run = std::max(0.01f, to.y - from.y);
            const float flat = run / std::hypot(rise, run);
            const float inFrom = narrowed(from.z), inTo = narrowed(to.z);
            const Corners piece = {{left() + inTo, vehicle_.y + to.y, to.z},
                                   {right() - inTo, vehicle_.y + to.y, to.z},
                                   {right() - inFrom, vehicle_.y + from.y, from.z},
                                   {left() + inFrom, vehicle_.y + from.y, from.z}};
            if (to.glass)
            {
                fill(piece, plain(kGlassColour * (1 + flat), 0.1f));
                const Point across = (piece[1] - piece[0]) * 0.3f;
                fill({piece[0] + across * 0.3f, piece[0] + across, piece[3] + across * 1.6f, piece[3] + across * 0.9f},
                     plain(kGlassColour * (2 + flat), 0.14f));
            }
            else
            {
                fill(piece, lacquer(0.55f + 0.45f * flat, 0.4f + 0.6f * flat));
            }
        }
    }

    float narrowed(float z) const
    {
        return vehicle_.body == Body::saloon && z > 1.1f ? 0.16f : vehicle_.body == Body::van && z > 1.5f ? 0.08f : 0;
    }

    // Bumper, lamps, plate.
    void end()
    {
        const float y = vehicle_.y, waist = shape_.pieces[0].z;
        const float low = shape_.clearance;
        fill(across(y, left(), right(), low, waist), lacquer(0.62f, 0.3f));
        fill(across(y, left() + 0.05f, right() - 0.05f, low, low + 0.14f), plain({0.05f, 0.05f, 0.05f}, 0.1f));
        if (vehicle_.coming)
        {
            fill(across(y, vehicle_.x - 0.42f, vehicle_.x + 0.42f, kLampsHigh - 0.12f, kLampsHigh),
                 plain({0.04f, 0.04f, 0.04f}, 0.1f));
        }
        for (const float side : {-1.0f, 1.0f})
        {
            const float x = vehicle_.x + side * kLampsApart / 2;
            const Corners lamp = across(y, x - 0.16f, x + 0.16f, kLampsHigh - 0.09f, kLampsHigh + 0.07f);
            const cv::Vec3f colour = vehicle_.coming ? cv::Vec3f(0.75f, 0.85f, 0.9f) : cv::Vec3f(0.03f, 0.03f, 0.5f);
            fill(lamp, plain(colour, vehicle_.coming ? 0.8f : 0.5f, vehicle_.lamps));
        }
        trim(y, low, waist);
        const float plateLow = low + (vehicle_.coming ? 0.14f : 0.26f);
        Paint plate;
        plate.image = &vehicle_.plate;
        plate.sun = 0.4f;
        fill(across(y - 0.02f, vehicle_.x - 0.26f, vehicle_.x + 0.26f, plateLow, plateLow + 0.112f), plate);
    }

    // Gaps between the sheets, a strip of chrome, reversing lamps or indicators.
    void trim(float y, float low, float waist)
    {
        const Paint gap = plain({0.02f, 0.02f, 0.02f}, 0.05f);
        fill(across(y - 0.01f, left() + 0.12f, right() - 0.12f, waist - 0.035f, waist - 0.025f), gap);
        fill(across(y - 0.01f, left() + 0.04f, right() - 0.04f, low + 0.155f, low + 0.165f), gap);
        fill(across(y - 0.01f, vehicle_.x - 0.3f, vehicle_.x + 0.3f, waist - 0.075f, waist - 0.055f),
             plain({0.5f, 0.5f, 0.5f}, 0.6f));
        for (const float side : {-1.0f, 1.0f})
        {
            const float x = vehicle_.x + side * (kLampsApart / 2 - 0.11f);
            const cv::Vec3f colour = vehicle_.coming ? cv::Vec3f(0.05f, 0.35f, 0.75f) : cv::Vec3f(0.6f, 0.65f, 0.65f);
            fill(across(y - 0.01f, x - 0.05f, x + 0.05f, kLampsHigh - 0.08f, kLampsHigh - 0.03f), plain(colour, 0.6f));
        }
    }

    Layers& layers_;
    const Projection& projection_;
    const Vehicle& vehicle_;
    const Shape& shape_;
    cv::Rect touched_;
};

}  // namespace

cv::Rect drawVehicle(Layers& layers, const Projection& projection, const Vehicle& vehicle)
{
    return Drawing(layers, projection, vehicle).draw();
}

}  // namespace sim::picture
