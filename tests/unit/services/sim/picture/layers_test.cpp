#include "services/sim/picture/Layers.h"

#include <gtest/gtest.h>

#include <cmath>

#include "services/sim/picture/Shapes.h"

namespace {

using sim::picture::across;
using sim::picture::Layers;
using sim::picture::level;
using sim::picture::Paint;
using sim::picture::Projection;

class LayersOfAStreet : public testing::Test
{
protected:
    LayersOfAStreet() { layers_.create(projection_.canvas()); }

    static Paint paint(float grey)
    {
        Paint result;
        result.colour = cv::Vec3f::all(grey);
        return result;
    }

    cv::Vec4b albedo(sim::picture::Point street) const { return layers_.albedo.at<cv::Vec4b>(pixel(street)); }
    int depth(sim::picture::Point street) const { return layers_.place.at<cv::Vec4b>(pixel(street))[Layers::kDepth]; }

    cv::Point pixel(sim::picture::Point street) const
    {
        const cv::Point2f at = projection_.pixel(projection_.seen(street));
        return {static_cast<int>(at.x), static_cast<int>(at.y)};
    }

    const Projection projection_{{320, 180}, 0, 1, {}};
    Layers layers_;
};

TEST_F(LayersOfAStreet, KnowWhereASurfaceIsAndWhatItIsMadeOf)
{
    layers_.fill(projection_, across(20, -2, 2, 0, 3), paint(0.5f));
    EXPECT_NEAR(128, albedo({0, 20, 1.5f})[0], 1);
    EXPECT_NEAR(20, depth({0, 20, 1.5f}), 1);
    EXPECT_EQ(0, depth({5, 20, 1.5f})) << "nothing beside it";
}

TEST_F(LayersOfAStreet, GetFartherAlongTheGround)
{
    layers_.fill(projection_, level(-50, 50, 1, 200, 0), paint(0.2f));
    for (const float metres : {15.0f, 30.0f, 60.0f, 120.0f})
    {
        EXPECT_NEAR(metres, depth({0, metres, 0}), metres * 0.04f + 1);
    }
}

TEST_F(LayersOfAStreet, HideWhatIsBehind)
{
    layers_.fill(projection_, across(20, -2, 2, 0, 3), paint(0.5f));
    layers_.fill(projection_, across(40, -9, 9, 0, 9), paint(0.9f));
    EXPECT_NEAR(128, albedo({0, 20, 1.5f})[0], 1);
    EXPECT_NEAR(230, albedo({5, 40, 3})[0], 1);
}

TEST_F(LayersOfAStreet, SayWhatADrawingTouched)
{
    const cv::Rect touched = layers_.fill(projection_, across(20, -2, 2, 0, 3), paint(0.5f));
    cv::Mat outside = layers_.albedo.clone();
    outside(touched) = cv::Scalar::all(0);
    EXPECT_EQ(0, cv::norm(outside, cv::NORM_INF));
    EXPECT_TRUE(layers_.fill(projection_, across(-20, -2, 2, 0, 3), paint(0.5f)).empty()) << "behind the camera";
}

TEST_F(LayersOfAStreet, TakeAShadowWithoutAChangeOfPlace)
{
    layers_.fill(projection_, level(-50, 50, 1, 200, 0), paint(0.5f));
    Paint shadow;
    shadow.dims = 0.5f;
    layers_.fill(projection_, level(-2, 2, 20, 30, 0), shadow);
    EXPECT_NEAR(64, albedo({0, 25, 0})[0], 1);
    EXPECT_NEAR(25, depth({0, 25, 0}), 2);
}

TEST_F(LayersOfAStreet, TakeAShadowInTheSunThatChangesNothingElse)
{
    layers_.fill(projection_, level(-50, 50, 1, 200, 0), paint(0.5f));
    const cv::Mat before[] = {layers_.albedo.clone(), layers_.place.clone()};
    Paint shadow;
    shadow.shades = 0.4f;
    const cv::Rect touched = layers_.fill(projection_, level(-2, 2, 20, 30, 0), shadow);
    EXPECT_EQ(0, cv::norm(before[0], layers_.albedo, cv::NORM_INF));
    cv::Mat channels[4], earlier[4];
    cv::split(layers_.place, channels);
    cv::split(before[1], earlier);
    for (const int channel : {Layers::kDepth, Layers::kLamps, Layers::kGlows})
    {
        EXPECT_EQ(0, cv::norm(earlier[channel], channels[channel], cv::NORM_INF)) << channel;
    }
    const cv::Point middle = (touched.tl() + touched.br()) / 2;
    EXPECT_NEAR(0.4 * earlier[Layers::kSun].at<uchar>(middle), channels[Layers::kSun].at<uchar>(middle), 1);
}

TEST_F(LayersOfAStreet, ShowAnImageTheRightWayRound)
{
    cv::Mat image(40, 60, CV_8UC3, cv::Scalar::all(0));
    image(cv::Rect(30, 0, 30, 20)) = cv::Scalar::all(200);  // top right
    Paint picture;
    picture.image = &image;
    layers_.fill(projection_, across(15, -2, 2, 0, 3), picture);
    EXPECT_NEAR(200, albedo({1, 15, 2.3f})[0], 2);
    EXPECT_NEAR(0, albedo({-1, 15, 2.3f})[0], 2);
    EXPECT_NEAR(0, albedo({1, 15, 0.7f})[0], 2);
}

TEST(StreetProjection, GoesToThePictureAndBack)
{
    const Projection projection({320, 180}, 4, 2, {3, -5});
    const sim::picture::Point street(-3, 27, 1.2f);
    const sim::picture::Point back = projection.street(projection.seen(street));
    EXPECT_NEAR(0, cv::norm(back - street), 1e-4);
}

TEST(StreetLamps, LightWhatIsBelowThem)
{
    using sim::picture::lampLight;
    EXPECT_GT(lampLight({-5.6f, 12.5f, 0}), 0.9f);
    EXPECT_LT(lampLight({-5.6f, 25, 0}), 0.3f) << "between two";
    EXPECT_NEAR(lampLight({-5.6f, 12.5f, 0}), lampLight({-5.6f, 37.5f, 0}), 1e-3) << "the next one";
    EXPECT_LT(lampLight({10, 12.5f, 0}), 0.1f) << "aside";
}

}  // namespace
