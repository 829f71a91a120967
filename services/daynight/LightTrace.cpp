#include "services/daynight/LightTrace.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace daynight {
namespace {

using host::Span;
using namespace std::chrono_literals;

constexpr char kTitle[] = "# seconds, lux on the sensor, lamps\n";
constexpr double kSecondsPerDay = 24 * 3600;
constexpr double kLongestTrace = 366 * kSecondsPerDay;  // of a file that is played second by second
constexpr std::size_t kLongestLine = 200;

double toSeconds(Span span)
{
    return std::chrono::duration<double>(span).count();
}

[[noreturn]] void refuse(int line, const std::string& why)
{
    throw std::runtime_error("line " + std::to_string(line) + ": " + why);
}

// Reads a number of at least 0 and nothing after it.
std::optional<double> parse(const std::string& word)
{
    std::istringstream text(word);
    text.imbue(std::locale::classic());
    double value = 0;
    const bool isNumber = text >> value && text.peek() == std::istringstream::traits_type::eof();
    return isNumber && value >= 0 && value < 1e12 ? std::optional<double>(value) : std::nullopt;
}

LightPoint parseLine(const std::string& line, int number)
{
    if (line.size() > kLongestLine)
    {
        refuse(number, "longer than any that holds a light");
    }
    std::istringstream words(line);
    std::string seconds;
    std::string lux;
    std::string lamps;
    std::string more;
    if (!(words >> seconds >> lux >> lamps) || words >> more)
    {
        refuse(number, "seconds, lux and lamps are expected");
    }
    const std::optional<double> time = parse(seconds);
    const std::optional<double> light = parse(lux);
    if (!time)
    {
        refuse(number, "\"" + seconds + "\" are no seconds");
    }
    if (*time > 100 * kLongestTrace)
    {
        refuse(number, "later than a hundred years");
    }
    if (!light && lux != "-")
    {
        refuse(number, "\"" + lux + "\" is no light");
    }
    if (lamps != "0" && lamps != "1")
    {
        refuse(number, "\"" + lamps + "\" is neither 0 nor 1");
    }
    return {std::chrono::round<Span>(std::chrono::duration<double>(*time)), light, lamps == "1"};
}

}  // namespace

// ---- writing -----------------------------------------------------------------------------------------------

LightTrace::LightTrace(std::string path, std::size_t mostBytes) : path_(std::move(path)), mostBytes_(mostBytes) {}

bool LightTrace::record(const Sample& sample)
{
    if (!start_)
    {
        start_ = sample.now;
    }
    const std::optional<double> lux = sample.lux && std::isfinite(*sample.lux) ? sample.lux : std::nullopt;
    const Line line{sample.now - *start_, lux, sample.lampsShine};
    if (!isWorthALine(line))
    {
        return true;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed;
    text.precision(1);
    text << toSeconds(line.time) << ' ';
    text.precision(2);
    line.lux ? text << *line.lux : text << '-';
    text << ' ' << line.lampsShine << '\n';
    if (!write(text.str()))
    {
        return false;
    }
    last_ = line;
    return true;
}

bool LightTrace::isWorthALine(const Line& line) const
{
    if (!last_ || line.lampsShine != last_->lampsShine || line.lux.has_value() != last_->lux.has_value() ||
        line.time - last_->time >= kTellAnyway)
    {
        return true;
    }
    return line.lux && std::fabs(*line.lux - *last_->lux) > std::max(kTell * *last_->lux, kTell);
}

bool LightTrace::write(const std::string& line)
{
    const bool isNew = bytes_ == 0 || bytes_ + line.size() > mostBytes_;
    if (isNew)
    {
        std::rename(path_.c_str(), (path_ + ".old").c_str());  // there may be none
        bytes_ = 0;
    }
    std::ofstream file(path_, isNew ? std::ios::trunc : std::ios::app);
    file << (isNew ? kTitle : "") << line << std::flush;
    // What was cut off may only stand at the end of a file.
    bytes_ = file ? bytes_ + line.size() + (isNew ? sizeof kTitle - 1 : 0) : 0;
    return file.good();
}

// ---- reading -----------------------------------------------------------------------------------------------

std::vector<LightPoint> readTrace(std::istream& in)
{
    std::vector<LightPoint> points;
    std::string line;
    for (int number = 1; std::getline(in, line) && !in.eof(); ++number)
    {
        line.erase(std::min(line.find('#'), line.size()));
        if (line.find_first_not_of(" \t\r") == std::string::npos)
        {
            continue;
        }
        const LightPoint point = parseLine(line, number);
        if (!points.empty() && point.time < points.back().time)
        {
            refuse(number, "the time goes back");
        }
        if (!points.empty() && toSeconds(point.time - points.front().time) > kLongestTrace)
        {
            refuse(number, "a year after the first");
        }
        points.push_back(point);
    }
    return points;
}

Played play(const std::vector<LightPoint>& trace, const Scene& scene,
            const std::function<Decision(const Sample&)>& look)
{
    Played played;
    Decision last{false, false};
    std::vector<std::pair<Span, bool>> wishes;  // of the lamps, not followed yet
    bool lit = false;
    auto point = trace.begin();
    for (Span now = trace.empty() ? Span(0) : point->time; !trace.empty() && now <= trace.back().time; now += 1s)
    {
        while (std::next(point) != trace.end() && std::next(point)->time <= now)
        {
            ++point;
        }
        while (!wishes.empty() && wishes.front().first <= now)
        {
            lit = wishes.front().second;
            wishes.erase(wishes.begin());
        }
        Sample sample{now, std::fmod(scene.secondsOfDay + toSeconds(now - trace.front().time), kSecondsPerDay),
                      point->lux, lit && scene.lampsLux > 0};
        if (sample.lux)
        {
            const double natural = std::max(0.0, *sample.lux - (point->lampsShine ? scene.lampsLux : 0));
            sample.lux = natural + (lit ? scene.lampsLux : 0);
        }
        const bool isFirst = now == trace.front().time;
        const Decision decision = look(sample);
        played.movements += !isFirst && decision.night != last.night ? 1 : 0;
        played.proofs += decision.lampsOff && !last.lampsOff ? 1 : 0;
        wishes.emplace_back(now + scene.delayOfLamps, decision.night && !decision.lampsOff);
        last = decision;
    }
    played.night = last.night;
    return played;
}

}  // namespace daynight
