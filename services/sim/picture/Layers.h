#pragma once

#include <vector>

#include "services/sim/picture/Projection.h"

namespace sim::picture {

// What a surface is made of.
struct Paint
{
    cv::Vec3f colour;       // blue, green, red: the part of the light that it gives back, 0 to 1
    float infrared = 0.4f;  // the same for near infrared
    float facing = 1;       // the part of all light that reaches it
    float sun = 1;          // the part of the sun that reaches it
    float grain = 0;        // how much the texture changes the colour, 0 to 1
    int glow = 0;           // light of its own, 0 to 255: kGlow times its square, in lux
    float dims = 1;         // a shadow: what is there is multiplied by this, and nothing else changes
    float shades = 1;       // a shadow in the sun: the part of the sun that is left there, and nothing else changes
    int lights = 0;         // a cone of light: added to the street lamps' light, of 255, and nothing else changes
    const cv::Mat* image = nullptr;  // CV_8UC3 instead of the colour; its corners are the polygon's, from top left on
};

// Lux of a glow's square.
constexpr float kGlow = 0.5f;

// What stands where in the picture, before any light falls on it. Reentrant.
class Layers
{
public:
    // Channels of place.
    enum Channel
    {
        kDepth = 0,  // metres; 0 for the sky
        kSun = 1,    // the part of the sun, of 255
        kLamps = 2,  // the part of the street lamps' light, of 255
        kGlows = 3,
    };

    void create(cv::Size canvas);
    // Makes this a copy that can be drawn on.
    void copy(const Layers& other);

    // Draws a flat polygon, unless something nearer is there already. What it touched.
    cv::Rect fill(const Projection& projection, const std::vector<Point>& corners, const Paint& paint);

    cv::Mat albedo;  // CV_8UC4: blue, green, red, near infrared, of 255
    cv::Mat place;   // CV_8UC4

private:
    cv::Mat mask_;
};

// The light of the street lamps at a place, 0 to 1.
float lampLight(Point street);

}  // namespace sim::picture
