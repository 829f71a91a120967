#include "services/sim/picture/Scene.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

namespace {

using sim::picture::Framing;
using sim::picture::Scene;
using sim::picture::View;

constexpr int kMargin = 4;
const cv::Size kFrame(320, 180);

View day()
{
    View view;
    view.lux = 8000;
    view.secondsOfDay = 12 * 3600;
    return view;
}

View night()
{
    View view;
    view.lux = 0.05;
    view.night = true;
    view.lamps = {100, 100, 100};
    return view;
}

cv::Mat fresh(const View& view, const Framing& framing, double seconds)
{
    return Scene(kFrame, kMargin).look(view, framing, seconds).clone();
}

double greatest(const cv::Mat& one, const cv::Mat& other)
{
    return cv::norm(one, other, cv::NORM_INF);
}

double mean(const cv::Mat& radiance)
{
    return cv::mean(radiance)[1];
}

TEST(Scene, ShowsTheSameAtTheSameMoment)
{
    EXPECT_EQ(0, greatest(fresh(day(), {}, 7), fresh(day(), {}, 7)));
}

// Only what moved, what is lit otherwise, or what the lens turned to is drawn anew.
TEST(Scene, ShowsTheSameWhateverItShowedBefore)
{
    Scene scene(kFrame, kMargin);
    const Framing longer{4, {10, -6}};
    scene.look(day(), {}, 3);
    scene.look(day(), {}, 4.5);
    EXPECT_EQ(0, greatest(fresh(day(), {}, 9), scene.look(day(), {}, 9)));
    EXPECT_EQ(0, greatest(fresh(night(), {}, 9.2), scene.look(night(), {}, 9.2)));
    EXPECT_EQ(0, greatest(fresh(night(), longer, 9.4), scene.look(night(), longer, 9.4)));
    EXPECT_EQ(0, greatest(fresh(day(), {}, 11), scene.look(day(), {}, 11)));
}

TEST(Scene, IsDrawnCoarselyWhileTheLensZooms)
{
    View zooming = day();
    zooming.lens.zoomMoving = true;
    const Framing framing{2.5, {8, 4}};
    const cv::Mat fine = fresh(day(), framing, 5), coarse = fresh(zooming, framing, 5);
    ASSERT_EQ(fine.size(), coarse.size());
    EXPECT_LT(cv::norm(fine, coarse, cv::NORM_L1), 0.25 * cv::norm(fine, cv::NORM_L1)) << "the same street";
    cv::Mat fineEdges, coarseEdges;
    cv::Laplacian(fine, fineEdges, CV_32F);
    cv::Laplacian(coarse, coarseEdges, CV_32F);
    EXPECT_LT(cv::norm(coarseEdges, cv::NORM_L1), 0.7 * cv::norm(fineEdges, cv::NORM_L1));
}

TEST(Scene, MovesWithTime)
{
    const cv::Mat before = fresh(day(), {}, 20), after = fresh(day(), {}, 20.5);
    const cv::Rect trees(190, 30, 50, 50), road(60, 60, 100, 100), house(270, 50, 30, 30);
    EXPECT_GT(cv::norm(before(trees), after(trees), cv::NORM_L1), 0);
    EXPECT_GT(cv::norm(before(road), after(road), cv::NORM_L1), 0);
    EXPECT_EQ(0, greatest(before(house), after(house)));
}

TEST(Scene, IsAsBrightAsItsLight)
{
    View view = day();
    view.lux = 1000;
    const double before = mean(fresh(view, {}, 5));
    view.lux = 2000;
    EXPECT_NEAR(2, mean(fresh(view, {}, 5)) / before, 0.08) << "but for the lamps";
}

// The shadow of a tree on the pavement.
TEST(Scene, ThrowsShadowsWhenTheSunShines)
{
    const auto shaded = [](double lux, int haze) {
        View view = day();
        view.lux = lux;
        view.haze = haze;
        const cv::Mat radiance = fresh(view, {}, 5);
        return mean(radiance(cv::Rect(174, 109, 14, 4))) / mean(radiance(cv::Rect(174, 135, 14, 4)));
    };
    EXPECT_LT(shaded(40000, 0), 0.7 * shaded(2000, 0)) << "in the sun darker than under clouds";
    EXPECT_GT(shaded(40000, 100), shaded(40000, 0)) << "no sun in fog";
}

TEST(Scene, LightsItsLampsAtDusk)
{
    View view = day();
    view.lux = 60;
    const cv::Rect road(100, 120, 60, 40);
    const double before = mean(fresh(view, {}, 5)(road)) / view.lux;
    view.lux = 5;
    EXPECT_GT(mean(fresh(view, {}, 5)(road)) / view.lux, before * 1.2);
}

// Of what is far, relative to its brightness.
double contrast(const View& view)
{
    cv::Scalar middle, deviation;
    cv::meanStdDev(fresh(view, {}, 5)(cv::Rect(130, 50, 40, 25)), middle, deviation);
    return deviation[1] / middle[1];
}

TEST(Scene, IsHazyInTheMorning)
{
    View view = day();
    const double clear = contrast(view);
    view.secondsOfDay = 6.5 * 3600;
    EXPECT_LT(contrast(view), clear * 0.9);
}

TEST(Scene, HidesWhatIsFarTheMoreTheHazierItIs)
{
    View view = day();
    double before = contrast(view);
    const double clear = before;
    for (int haze = 10; haze <= 100; haze += 10)
    {
        view.haze = haze;
        const double now = contrast(view);
        EXPECT_LT(now, before) << haze << " %";
        before = now;
    }
    EXPECT_LT(before, clear * 0.1);
}

TEST(Scene, HidesASkyBehindFog)
{
    const cv::Rect sky(160, 5, 100, 15);
    View view = day();
    view.haze = 100;
    cv::Scalar middle, deviation;
    cv::meanStdDev(fresh(view, {}, 5)(sky), middle, deviation);
    EXPECT_LT(deviation[1], middle[1] * 0.001);
}

TEST(Scene, MovesItsTreesTheMoreTheMoreWindThereIs)
{
    const cv::Rect trees(190, 30, 50, 50);
    View view = day();
    double before = -1;
    for (int wind = 0; wind <= 100; wind += 20)
    {
        view.wind = wind;
        const double moved = cv::norm(fresh(view, {}, 20)(trees), fresh(view, {}, 20.2)(trees), cv::NORM_L1);
        EXPECT_GT(moved, before) << wind << " %";
        before = moved;
        if (wind == 0)
        {
            EXPECT_EQ(0, moved) << "still";
        }
    }
}

// Leaves give back near infrared, which a sensor without its cut filter sees.
TEST(Scene, ShowsLeavesBrightInInfraredLight)
{
    const cv::Rect grass(265, 160, 15, 15);
    View view = day();
    const cv::Mat filtered = fresh(view, {}, 5);
    view.night = true;
    const cv::Mat open = fresh(view, {}, 5);
    EXPECT_GT(mean(open(grass)) / mean(filtered(grass)), 1.6 * mean(open) / mean(filtered));
}

TEST(Scene, ShowsANumberPlateWhereTheLensLooks)
{
    const cv::Mat radiance = fresh(day(), {16, {}}, 5);
    cv::Mat grey, columns;
    cv::cvtColor(radiance, grey, cv::COLOR_BGR2GRAY);
    // Characters: black and white in turns along the plate, which is 65 pixels wide here.
    cv::reduce(grey(cv::Rect(radiance.cols / 2 - 34, radiance.rows / 2 - 12, 68, 24)), columns, 0, cv::REDUCE_MIN);
    double least = 0, most = 0;
    cv::minMaxLoc(columns, &least, &most);
    int turns = 0;
    for (int x = 1; x < columns.cols; ++x)
    {
        const double half = (least + most) / 2;
        turns += (columns.at<float>(x) > half) != (columns.at<float>(x - 1) > half) ? 1 : 0;
    }
    EXPECT_GT(turns, 8);
}

}  // namespace
