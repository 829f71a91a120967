#include "tests/unit/services/sim/picture/LinearPictures.h"

namespace {

const std::vector<int> kPercents = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};

class ToneMapping : public LinearPictures
{
protected:
    ToneMapping() { bare(); }

    // What a measure gives for each value of a command.
    template <typename Measure>
    std::vector<double> over(u32 cmd, const std::vector<int>& values, const cv::Mat& counts, Measure measure)
    {
        std::vector<double> result;
        for (const int value : values)
        {
            set(cmd, value);
            result.push_back(measure(processed(counts)));
        }
        return result;
    }
};

TEST_F(ToneMapping, GreyThatReflectsLikeSkinIsInTheMiddle)
{
    EXPECT_NEAR(104, brightness(processed(linear(flat(0.18)))), 3);
    EXPECT_GE(3, brightness(processed(linear(flat(0)))));
    EXPECT_LE(252, brightness(processed(linear(flat(1)))));
}

TEST_F(ToneMapping, BrightnessMakesThePictureLighter)
{
    expectRising(over(IA_CMD_BRIGHTNESS, kPercents, linear(chart()), [](const cv::Mat& p) { return brightness(p); }),
                 5);
}

TEST_F(ToneMapping, ContrastDrivesLightAndDarkApart)
{
    expectRising(over(IA_CMD_CONTRAST, kPercents, linear(chart()),
                      [](const cv::Mat& p) { return brightness(p, kLight) - brightness(p, kDark); }),
                 2);
}

TEST_F(ToneMapping, ContrastLeavesTheMiddleWhereItIs)
{
    for (const double value :
         over(IA_CMD_CONTRAST, kPercents, linear(flat(0.26)), [](const cv::Mat& p) { return brightness(p); }))
    {
        EXPECT_NEAR(128, value, 4);
    }
}

TEST_F(ToneMapping, SaturationMakesColoursStronger)
{
    for (const cv::Rect& place : {kRed, kBlue})
    {
        expectRising(over(IA_CMD_SATURATION, kPercents, linear(chart()),
                          [&place](const cv::Mat& p) { return colour(p, place); }),
                     2);
    }
}

TEST_F(ToneMapping, WithoutSaturationThereIsNoColour)
{
    set(IA_CMD_SATURATION, 0);
    EXPECT_GE(1.5, colour(processed(linear(chart())), kRed));
}

TEST_F(ToneMapping, SaturationLeavesGreyGrey)
{
    for (const double value :
         over(IA_CMD_SATURATION, kPercents, linear(chart()), [](const cv::Mat& p) { return colour(p, kGrey); }))
    {
        EXPECT_GE(2, value);
    }
}

TEST_F(ToneMapping, TheMoreGainTheDarkNeedsTheLessColourIsLeft)
{
    std::vector<double> colours;
    for (const double gain : {15.0, 25.0, 35.0, 45.0})
    {
        gain_ = gain;
        colours.push_back(colour(processed(linear(chart())), kRed));
    }
    expectFalling(colours, 3);
}

TEST_F(ToneMapping, AGreaterExponentOfGammaMakesTheMiddleDarker)
{
    expectFalling(over(IA_CMD_GAMMA, {1, 2, 3}, linear(flat(0.18)), [](const cv::Mat& p) { return brightness(p); }),
                  10);
}

TEST_F(ToneMapping, GammaIsSoftStandardOrStrong)
{
    expectRising(over(IA_CMD_GAMMA, {4, 0, 5}, linear(chart()),
                      [](const cv::Mat& p) { return brightness(p, kLight) - brightness(p, kDark); }),
                 8);
}

TEST_F(ToneMapping, NoGammaTurnsTonesRound)
{
    for (int gamma = 0; gamma <= 5; gamma++)
    {
        set(IA_CMD_GAMMA, gamma);
        std::vector<double> values;
        for (const double light : {0.02, 0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8})
        {
            values.push_back(brightness(processed(linear(flat(light)))));
        }
        SCOPED_TRACE(gamma);
        expectRising(values, 2);
    }
}

// ---- wide dynamic range --------------------------------------------------------------------------------------

const cv::Rect kShade(0, 0, 160, kHeight);
const cv::Rect kOutside(168, 0, 152, kHeight);

// A dark room with a window on a bright street.
cv::Mat roomAndStreet()
{
    cv::Mat result = flat(0.03);
    for (int column = 0; column < kOutside.width; column++)
    {
        result(kOutside).col(column) = cv::Scalar::all(column / 8 % 2 == 0 ? 1.5 : 2.5);
    }
    return result;
}

constexpr int kTwoExposures = 4 * sim::picture::kFullScale;

TEST_F(ToneMapping, WideDynamicRangeLiftsWhatIsDark)
{
    for (const int mode : {1, 2, 3})
    {
        set(IA_CMD_WDR_MODE, mode);
        SCOPED_TRACE(mode);
        expectRising(
            over(IA_CMD_WDR_STRG, kPercents, linear(chart()), [](const cv::Mat& p) { return brightness(p, kDark); }),
            1);
    }
}

TEST_F(ToneMapping, ItsStrengthDoesNothingWhileItIsOff)
{
    const cv::Mat before = processed(linear(chart()));
    set(IA_CMD_WDR_STRG, 100);
    EXPECT_EQ(0, difference(before, processed(linear(chart()))));
}

TEST_F(ToneMapping, WideDynamicRangeShowsWhatIsBrighterThanWhite)
{
    EXPECT_GE(1, deviation(processed(linear(roomAndStreet())), kOutside));
    set(IA_CMD_WDR_MODE, 2);
    clip_ = kTwoExposures;
    const cv::Mat seen = linear(roomAndStreet(), 0, 1, clip_);
    expectRising(
        over(IA_CMD_WDR_STRG, {0, 25, 50, 75, 100}, seen, [](const cv::Mat& p) { return deviation(p, kOutside); }));
    set(IA_CMD_WDR_STRG, 0);
    EXPECT_LE(3, deviation(processed(seen), kOutside));
}

TEST_F(ToneMapping, WideDynamicRangeBringsDarkAndLightCloser)
{
    set(IA_CMD_WDR_MODE, 2);
    clip_ = kTwoExposures;
    expectFalling(over(IA_CMD_WDR_STRG, kPercents, linear(roomAndStreet(), 0, 1, clip_),
                       [](const cv::Mat& p) { return brightness(p, kOutside) - brightness(p, kShade); }),
                  1);
}

TEST_F(ToneMapping, WideDynamicRangeKeepsFineDetail)
{
    const double before = deviation(processed(linear(chart())), kStripes);
    set(IA_CMD_WDR_MODE, 1);
    set(IA_CMD_WDR_STRG, 100);
    EXPECT_LE(0.8 * before, deviation(processed(linear(chart())), kStripes));
}

// ---- highlight compensation ----------------------------------------------------------------------------------

TEST_F(ToneMapping, HighlightCompensationDarkensLamps)
{
    const cv::Rect lamp(200, 60, 48, 48);
    cv::Mat street = flat(0.05);
    street(lamp) = cv::Scalar::all(3);
    const cv::Rect road(0, 0, 120, kHeight);
    const cv::Mat off = processed(linear(street));
    EXPECT_LE(250, brightness(off, lamp));
    set(IA_CMD_HLC_SWITCH, 1);
    expectFalling(
        over(IA_CMD_HLC_STRG, kPercents, linear(street), [&lamp](const cv::Mat& p) { return brightness(p, lamp); }), 3);
    EXPECT_NEAR(brightness(off, road), brightness(processed(linear(street)), road), 2);
}

TEST_F(ToneMapping, HighlightCompensationThatIsOffDoesNothing)
{
    const cv::Mat before = processed(linear(flat(3)));
    set(IA_CMD_HLC_STRG, 100);
    EXPECT_EQ(0, difference(before, processed(linear(flat(3)))));
}

// ---- defog ---------------------------------------------------------------------------------------------------

cv::Mat inHaze(double haze)
{
    return cv::Mat(chart() * (1 - haze)) + cv::Scalar::all(0.6 * haze);
}

double range(const cv::Mat& picture)
{
    return brightness(picture, kLight) - brightness(picture, kDark);
}

TEST_F(ToneMapping, DefogGivesBackContrastAndColour)
{
    const cv::Mat seen = linear(inHaze(0.6));
    const double without = range(processed(seen));
    const double colourWithout = colour(processed(seen), kRed);
    set(IA_CMD_DEFLG_SWITCH, 1);
    expectRising(over(IA_CMD_DEFLG_STRG, kPercents, seen, range));
    EXPECT_LT(1.3 * without, range(processed(seen)));
    EXPECT_LT(1.3 * colourWithout, colour(processed(seen), kRed));
}

TEST_F(ToneMapping, DefogThatIsOffDoesNothing)
{
    const cv::Mat before = processed(linear(inHaze(0.6)));
    set(IA_CMD_DEFLG_STRG, 100);
    EXPECT_EQ(0, difference(before, processed(linear(inHaze(0.6)))));
}

TEST_F(ToneMapping, AutomaticDefogActsInHazeOnly)
{
    const cv::Mat clear = linear(chart() * 0.4);
    const cv::Mat thick = linear(inHaze(0.8));
    const double clearBefore = range(processed(clear));
    const double thickBefore = range(processed(thick));
    set(IA_CMD_DEFLG_SWITCH, 2);
    EXPECT_NEAR(clearBefore, range(processed(clear)), 0.12 * clearBefore);
    EXPECT_LT(1.15 * thickBefore, range(processed(thick)));
}

}  // namespace
