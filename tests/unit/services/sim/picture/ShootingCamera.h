#pragma once

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/Pipeline.h"
#include "tests/unit/services/sim/SimCamera.h"

// A simulated camera whose pictures are measured: small ones, all of the same moment of the street.
class ShootingCamera : public SimCamera
{
protected:
    static constexpr double kMoment = 5;

    // The first picture of a reader that comes now; its exposure is settled.
    cv::Mat shoot()
    {
        sim::picture::Pipeline pipeline({320, 180});
        const cv::Mat picture = pipeline.shoot(service_->look(), kMoment, 0.04);
        setting_ = pipeline.setting();
        return picture;
    }

    // From 0 to 255.
    static double mean(const cv::Mat& picture)
    {
        const cv::Scalar channels = cv::mean(picture);
        return (channels[0] + channels[1] + channels[2]) / 3;
    }

    double brightness() { return mean(shoot()); }

    static double chroma(const cv::Mat& picture)
    {
        cv::Mat channels[3];
        cv::split(picture, channels);
        return cv::mean(cv::max(cv::max(channels[0], channels[1]), channels[2]) -
                        cv::min(cv::min(channels[0], channels[1]), channels[2]))[0];
    }

    static double edges(const cv::Mat& picture)
    {
        cv::Mat grey, second;
        cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
        cv::Laplacian(grey, second, CV_32F);
        return cv::mean(cv::abs(second))[0];
    }

    double sharpness() { return edges(shoot()); }

    static double difference(const cv::Mat& one, const cv::Mat& other)
    {
        cv::Mat between;
        cv::absdiff(one, other, between);
        return mean(between);
    }

    // A shutter, a gain and an iris that stay, so that pictures show the light itself.
    void holdExposure(int shutter, int gain)
    {
        set(IA_CMD_EXPOSE_MODE, sim::kManualExposure);
        set(IA_CMD_FIX_SHUTTER, shutter);
        set(IA_CMD_FIX_GAIN, gain);
        pass(std::chrono::minutes(1));
    }

    sim::picture::Setting setting_;  // of the last picture
};

// Values that go up, or at least never down by more than noise, and clearly in all.
inline void expectRising(const std::vector<double>& values, double noise, double inAll)
{
    for (std::size_t i = 1; i < values.size(); ++i)
    {
        EXPECT_GE(values[i], values[i - 1] - noise) << "step " << i;
    }
    EXPECT_GE(values.back(), values.front() + inAll);
}
