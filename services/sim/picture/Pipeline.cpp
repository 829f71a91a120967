#include "services/sim/picture/Pipeline.h"

#include <cmath>

namespace sim::picture {
namespace {

constexpr int kFirstTries = 24;  // the first frame is rightly exposed at once
constexpr double kTrySeconds = 0.1;

}  // namespace

Pipeline::Pipeline(cv::Size frame) : frame_(frame), scene_(frame, Optics::margin(frame)), optics_(frame) {}

void Pipeline::ended(const char* stage) const
{
    if (watch_)
    {
        watch_(stage);
    }
}

cv::Mat Pipeline::shoot(const View& view, double seconds, double interval)
{
    const double range = Exposure::range(view);
    const auto expose = [&](const cv::Mat& light) { linear_ = sensor_.expose(light, setting_, range, interval); };
    const bool first = linear_.empty();
    setting_ = exposure_.next(view, linear_, seconds);
    ended("exposure");
    const cv::Mat& street = scene_.look(view, Optics::framing(view, frame_), seconds);
    ended("scene");
    const cv::Point2d shake = Optics::shake(view, frame_, seconds);
    const cv::Mat light = optics_.draw(street, view, setting_.stop, shake);
    ended("optics");
    expose(light);
    for (int i = first ? kFirstTries : 0; i > 0; --i)
    {
        setting_ = exposure_.next(view, linear_, seconds - i * kTrySeconds);
        expose(light);
    }
    ended("sensor");
    Shot shot;
    shot.linear = linear_;
    shot.night = view.night;
    shot.gain = setting_.gain;
    shot.shake = shake;
    shot.clip = static_cast<int>(range * kFullScale);
    return processing_.process(shot, view);
}

}  // namespace sim::picture
