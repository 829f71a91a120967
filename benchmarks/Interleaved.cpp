#include "benchmarks/Interleaved.h"

#include <algorithm>
#include <ctime>

namespace bench {
namespace {

constexpr double kBatchSeconds = 1e-3;  // many of the shorter calls, and less than a time slice
constexpr int kWarmUpBatches = 5;

double now(Measure measure)
{
    std::timespec time{};
    clock_gettime(measure == Measure::processorTime ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double median(std::vector<double> values, double share = 0.5)
{
    const auto nth = values.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * share);
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

class Batches
{
public:
    Batches(const Scenario& scenario, Measure measure) : scenario_(scenario), measure_(measure) {}

    // Seconds a call.
    double figure(int calls) const
    {
        if (scenario_.before)
        {
            scenario_.before();
        }
        const double seconds = timed(scenario_.figure, calls);
        if (scenario_.after)
        {
            scenario_.after();
        }
        return seconds;
    }

    double floor(int calls) const { return timed(scenario_.floor, calls); }

    // As many as a batch needs; one where there is something to do around each.
    int callsOfBatch() const
    {
        int calls = 1;
        if (scenario_.before || scenario_.after)
        {
            return calls;
        }
        while (floor(calls) * calls < kBatchSeconds)
        {
            calls *= 2;
        }
        return calls;
    }

private:
    double timed(const std::function<void()>& work, int calls) const
    {
        const double start = now(measure_);
        for (int i = 0; i < calls; ++i)
        {
            work();
        }
        return (now(measure_) - start) / calls;
    }

    const Scenario& scenario_;
    const Measure measure_;
};

}  // namespace

Comparison compare(const Scenario& scenario, Measure measure, int pairs)
{
    const Batches batches(scenario, measure);
    const int calls = batches.callsOfBatch();
    std::vector<double> figures;
    std::vector<double> floors;
    std::vector<double> ratios;
    for (int i = -kWarmUpBatches; i < pairs; ++i)
    {
        double figure = 0;
        double floor = 0;
        if (i % 2 == 0)
        {
            figure = batches.figure(calls);
            floor = batches.floor(calls);
        }
        else
        {
            floor = batches.floor(calls);
            figure = batches.figure(calls);
        }
        if (i >= 0)
        {
            figures.push_back(figure);
            floors.push_back(floor);
            ratios.push_back(figure / floor);
        }
    }
    const double figure = median(figures);
    const double floor = median(floors);
    return {figure, floor, figure / floor, median(ratios, 0.25), median(ratios, 0.75), calls};
}

}  // namespace bench
