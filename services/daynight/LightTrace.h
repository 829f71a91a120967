#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "services/daynight/Engine.h"

// Light over time, to see later why a camera switched, and to try an engine on it. A file of lines "SECONDS LUX LAMPS":
// seconds since the recorder began, also in its later files, never back; "-" where the light could not be measured; lamps
// 1 while they shone, else 0. "#" begins a comment.
namespace daynight {

// Writes it. Who decides by light holds one and shows it each sample that its engine sees; the file is "light" in the
// camera's state folder. One camera's, for one thread at a time.
class LightTrace
{
public:
    static constexpr std::size_t kMostBytes = 256 * 1024;
    static constexpr double kTell = 0.1;  // so much of the light, and so many lux, a change is worth a line
    static constexpr host::Span kTellAnyway = std::chrono::minutes(10);

    // Nothing is written before the first record. Then what the file held, and again whenever it would grow beyond
    // mostBytes, goes to path + ".old", instead of what that held.
    explicit LightTrace(std::string path, std::size_t mostBytes = kMostBytes);

    // Adds a line where something has changed. False if that failed; the next change tries again.
    bool record(const Sample& sample);

private:
    struct Line
    {
        host::Span time;
        std::optional<double> lux;
        bool lampsShine;
    };

    bool isWorthALine(const Line& line) const;
    bool write(const std::string& line);

    const std::string path_;
    const std::size_t mostBytes_;
    std::optional<host::Span> start_;
    std::optional<Line> last_;
    std::size_t bytes_ = 0;  // in the file; 0: another file comes first
};

struct LightPoint
{
    host::Span time;  // since the recorder began
    std::optional<double> lux;
    bool lampsShine;
};

// A last line without an end was cut off and is left out. Throws std::runtime_error that names the line.
std::vector<LightPoint> readTrace(std::istream& in);

// The place in which a trace is played.
struct Scene
{
    double lampsLux = 0;         // what lit lamps give on the sensor; 0: it does not see them
    double secondsOfDay = 0;     // at the trace's beginning
    host::Span delayOfLamps{0};  // from a decision until the lamps follow it
};

struct Played
{
    unsigned movements = 0;  // changes after the first decision
    unsigned proofs = 0;     // so often the lamps went off for a moment
    bool night = false;      // in the end
};

// Shows a trace to an engine, every second; light stays as it is from point to point. Lamps shine by night as the
// engine decides, and not as they did when the trace was written: of light with lamps theirs is taken off first.
Played play(const std::vector<LightPoint>& trace, const Scene& scene,
            const std::function<Decision(const Sample&)>& look);

}  // namespace daynight
