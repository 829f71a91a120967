#include "services/sim/picture/Processing.h"

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/NoiseReduction.h"
#include "services/sim/picture/Planes.h"
#include "services/sim/picture/Sharpening.h"
#include "services/sim/picture/ToneMapping.h"
#include "services/sim/picture/WhiteBalance.h"

#include <algorithm>

namespace sim::picture {
namespace {

constexpr double kPercent = 100;

// In the dark, where noise has more colour than things have, some of it goes: decibels.
constexpr double kColourFadesFrom = 15;
constexpr double kColourFadesTo = 45;
constexpr double kLeastColour = 0.5;

// Bits of IA_CMD_UI_MIRROR.
constexpr int kLeftRight = 1;
constexpr int kUpDown = 2;

// The part of the colour that is shown.
double colourAt(double gain)
{
    const double dark = std::clamp((gain - kColourFadesFrom) / (kColourFadesTo - kColourFadesFrom), 0.0, 1.0);
    return 1 - (1 - kLeastColour) * dark;
}

// The sensor reads its lines the other way round, then the picture is turned: so the mirror's directions are those of the
// sensor also in corridor view.
void orient(cv::Mat& plane, const View& view)
{
    const int mirror = view.values.get(IA_CMD_UI_MIRROR);
    if (mirror != 0)
    {
        cv::flip(plane, plane, mirror == kLeftRight ? 1 : mirror == kUpDown ? 0 : -1);
    }
    if (view.values.get(IA_CMD_BEAWAY) != 0)
    {
        cv::Mat turned;
        cv::rotate(plane, turned, cv::ROTATE_90_CLOCKWISE);
        plane = turned;
    }
}

// One below the other, as the colour conversion wants them.
cv::Mat toBgr(const cv::Mat& y, const cv::Mat& cb, const cv::Mat& cr)
{
    cv::Mat stacked(y.rows * 3 / 2, y.cols, CV_8U);
    uchar* const colour = stacked.ptr<uchar>(y.rows);
    y.copyTo(stacked.rowRange(0, y.rows));
    cb.copyTo(cv::Mat(cb.size(), CV_8U, colour));
    cr.copyTo(cv::Mat(cr.size(), CV_8U, colour + cb.total()));
    cv::Mat result;
    cv::cvtColor(stacked, result, cv::COLOR_YUV2BGR_I420);
    return result;
}

}  // namespace

struct Processing::Stages
{
    WhiteBalance whiteBalance;
    Developing developing;
    TemporalNoiseReduction temporal;
    ToneCurve toneCurve;
    Planes planes;
};

Processing::Processing() : stages_(std::make_unique<Stages>()) {}

Processing::~Processing() = default;

void Processing::ended(const char* stage) const
{
    if (watch_)
    {
        watch_(stage);
    }
}

cv::Mat Processing::process(const Shot& shot, const View& view)
{
    Stages& s = *stages_;
    const ColourGains gains = shot.night ? ColourGains{} : s.whiteBalance.update(shot.linear, shot.clip, view);
    ended("white balance");
    s.developing.develop(shot.linear, shot.clip, gains, s.planes);
    ended("developing");
    if (view.values.get(IA_CMD_ANTI_SHAKE_SWITCH) != 0)
    {
        steady(s.planes, shot.shake, view.values.get(IA_CMD_ANTI_SHAKE_STRG) / kPercent);
    }
    ended("anti-shake");
    s.temporal.reduce(s.planes, temporalStrength(view, shot.gain));
    ended("3D noise reduction");
    mapTones(s.planes, shot.clip, view);
    ended("tone mapping");
    cv::Mat y;
    cv::Mat cb;
    cv::Mat cr;
    s.toneCurve.apply(s.planes, shot.night ? 0 : colourAt(shot.gain), view, y, cb, cr);
    ended("tone curve");
    const double spatial = spatialStrength(view, shot.gain);
    if (spatial > 0)
    {
        reduceInBrightness(y, spatial);
        if (!shot.night)
        {
            reduceInColour(cb, spatial);
            reduceInColour(cr, spatial);
        }
    }
    ended("2D noise reduction");
    sharpen(y, view.values.get(IA_CMD_SHARPNESS) / kPercent, shot.gain);
    ended("sharpness");
    for (cv::Mat* plane : {&y, &cb, &cr})
    {
        orient(*plane, view);
    }
    cv::Mat result = toBgr(y, cb, cr);
    ended("mirror and colours");
    return result;
}

}  // namespace sim::picture
