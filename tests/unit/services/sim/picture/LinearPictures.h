#pragma once

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include "services/sim/ParameterTable.h"
#include "services/sim/picture/Processing.h"

#include <cmath>
#include <vector>

// What a sensor could deliver, and measures of what processing makes of it.

constexpr int kWidth = 320;
constexpr int kHeight = 192;
const cv::Size kSize(kWidth, kHeight);
const cv::Rect kWhole({0, 0}, kSize);

// light: 1 for full scale; blue, green, red.
inline cv::Mat flat(const cv::Scalar& light)
{
    return cv::Mat(kSize, CV_32FC3, light);
}

inline cv::Mat flat(double light)
{
    return flat(cv::Scalar::all(light));
}

// The places of the chart.
const cv::Rect kGrey(0, 0, 160, 96);
const cv::Rect kRed(8, 104, 64, 80);
const cv::Rect kBlue(88, 104, 64, 80);
const cv::Rect kStripes(168, 8, 144, 80);
const cv::Rect kDark(168, 104, 64, 80);
const cv::Rect kLight(248, 104, 64, 80);

inline cv::Mat chart()
{
    cv::Mat result = flat(0.18);
    result(kRed) = cv::Scalar(0.05, 0.08, 0.3);
    result(kBlue) = cv::Scalar(0.3, 0.1, 0.06);
    for (int column = 0; column < kStripes.width; column++)
    {
        result(kStripes).col(column) = cv::Scalar::all(0.25 + 0.12 * std::sin(column * 0.7));
    }
    result(kDark) = cv::Scalar::all(0.02);
    result(kLight) = cv::Scalar::all(0.7);
    return result;
}

// As counted by the sensor. noise: the deviation at white, of full scale.
inline cv::Mat linear(const cv::Mat& light, double noise = 0, int seed = 1, int clip = sim::picture::kFullScale)
{
    cv::Mat counts = light.clone();
    if (noise > 0)
    {
        cv::RNG generator(static_cast<std::uint64_t>(seed) * 7919 + 1);
        cv::Mat grain(light.size(), CV_32FC3);
        generator.fill(grain, cv::RNG::NORMAL, 0, noise);
        cv::Mat root;
        cv::sqrt(cv::max(light, 0.0), root);
        counts += grain.mul(root);
    }
    cv::Mat result;
    cv::Mat(cv::min(counts * double(sim::picture::kFullScale), double(clip))).convertTo(result, CV_16U);
    return result;
}

// A camera with every parameter at its default.
class LinearPictures : public ::testing::Test
{
protected:
    LinearPictures()
    {
        cv::setNumThreads(1);  // a sanitizer does not see how its own threads wait for each other
        for (const sim::Parameter& parameter : sim::parameters())
        {
            set(parameter.cmd, parameter.defaultValue);
        }
    }

    void set(u32 cmd, int value) { view_.values.set(cmd, value); }

    // Without what is made against noise and for edges.
    void bare()
    {
        set(IA_CMD_2D_NR_SWITCH, 0);
        set(IA_CMD_3D_NR_SWITCH, 0);
        set(IA_CMD_SHARPNESS, 0);
    }

    // By a camera that has just begun.
    cv::Mat processed(const cv::Mat& counts) { return processed(sim::picture::Processing(), counts); }

    cv::Mat processed(sim::picture::Processing&& processing, const cv::Mat& counts)
    {
        return processed(processing, counts);
    }

    cv::Mat processed(sim::picture::Processing& processing, const cv::Mat& counts)
    {
        sim::picture::Shot shot;
        shot.linear = counts;
        shot.night = view_.night;
        shot.gain = gain_;
        shot.clip = clip_;
        shot.shake = shake_;
        return processing.process(shot, view_);
    }

    sim::picture::View view_;
    double gain_ = 0;
    int clip_ = sim::picture::kFullScale;
    cv::Point2d shake_;
};

// ---- measures ------------------------------------------------------------------------------------------------

inline double brightness(const cv::Mat& picture, const cv::Rect& place = kWhole)
{
    cv::Mat grey;
    cv::cvtColor(picture(place), grey, cv::COLOR_BGR2GRAY);
    return cv::mean(grey)[0];
}

// Standard deviation: contrast of what has some, noise of what is flat.
inline double deviation(const cv::Mat& picture, const cv::Rect& place = kWhole)
{
    cv::Mat grey;
    cv::cvtColor(picture(place), grey, cv::COLOR_BGR2GRAY);
    cv::Scalar mean;
    cv::Scalar result;
    cv::meanStdDev(grey, mean, result);
    return result[0];
}

// Mean difference of a channel from green: of red, above 0 where it is reddish.
inline double cast(const cv::Mat& picture, int channel, const cv::Rect& place = kWhole)
{
    const cv::Scalar mean = cv::mean(picture(place));
    return mean[channel] - mean[1];
}

constexpr int kBlueChannel = 0;
constexpr int kRedChannel = 2;

inline double colour(const cv::Mat& picture, const cv::Rect& place = kWhole)
{
    return std::hypot(cast(picture, kBlueChannel, place), cast(picture, kRedChannel, place));
}

// Mean steepness.
inline double edges(const cv::Mat& picture, const cv::Rect& place = kWhole)
{
    cv::Mat grey;
    cv::cvtColor(picture(place), grey, cv::COLOR_BGR2GRAY);
    cv::Mat across;
    cv::Sobel(grey, across, CV_32F, 1, 0);
    return cv::mean(cv::abs(across))[0];
}

inline double difference(const cv::Mat& one, const cv::Mat& other)
{
    return cv::norm(one, other, cv::NORM_L1) / static_cast<double>(one.total() * 3);
}

inline void expectRising(const std::vector<double>& values, double least = 0)
{
    for (std::size_t i = 1; i < values.size(); i++)
    {
        EXPECT_GT(values[i], values[i - 1] + least) << "value " << i;
    }
}

inline void expectFalling(std::vector<double> values, double least = 0)
{
    for (double& value : values)
    {
        value = -value;
    }
    expectRising(values, least);
}
