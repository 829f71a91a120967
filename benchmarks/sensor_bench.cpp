// Measures the library's operations beside their floors. Runs itself again in a private file tree; writes Google
// Benchmark's JSON to standard output and its progress to standard error. ./bench builds and starts it.
//   sensor_bench [--quick] [Google Benchmark's options, such as --benchmark_filter=switch]

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ext/stdio_filebuf.h>
#include <fstream>
#include <string>

#include "benchmarks/Callers.h"
#include "benchmarks/Interleaved.h"
#include "benchmarks/Operations.h"
#include "benchmarks/Web.h"
#include "tests/support/Sandbox.h"

namespace {

struct Effort
{
    int pairs;       // of batches, where processor time is compared
    int startPairs;  // where each batch is a whole start or waits for a disk
    double callersSeconds;
    double loadSeconds;  // less than a slow client may take for its request
};

constexpr Effort kThorough = {1000, 300, 3.0, 8.0};
constexpr Effort kQuick = {100, 30, 0.3, 2.0};

constexpr double kRequestTarget = 1.5;  // of the same server answering a constant

bool isLong(const bench::Operation& operation)
{
    return operation.measure == bench::Measure::realTime || operation.targetSeconds > 0 ||
           std::strcmp(operation.name, "start") == 0 || std::strcmp(operation.name, "flush") == 0;
}

void measure(benchmark::State& state, const bench::Operation& operation, const Effort& effort)
{
    const bench::Scenario scenario = operation.make();
    bench::requireSameServiceCalls(operation, scenario);
    for (auto _ : state)
    {
        const bench::Comparison result =
            bench::compare(scenario, operation.measure, isLong(operation) ? effort.startPairs : effort.pairs);
        state.SetIterationTime(result.figure);
        state.counters["figure_s"] = result.figure;
        state.counters["floor_s"] = result.floor;
        state.counters["ratio"] = result.ratio;
        state.counters["ratio_lower_quartile"] = result.lowerQuartile;
        state.counters["ratio_upper_quartile"] = result.upperQuartile;
        state.counters["calls_per_batch"] = result.calls;
    }
    state.counters["existence_tests"] = scenario.tests;
    state.counters["target_ratio"] = operation.target;
    state.counters["target_s"] = operation.targetSeconds;
    state.counters["real_time"] = operation.measure == bench::Measure::realTime ? 1 : 0;
    state.counters["keys"] = operation.keys;
    state.SetLabel(operation.title);
}

void measureExistenceTest(benchmark::State& state)
{
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(KSFile::exists(bench::kDebugMarkerFile));
    }
}

void measureCallers(benchmark::State& state, const Effort& effort)
{
    for (auto _ : state)
    {
        const bench::CallersResult result =
            bench::measureCallers(static_cast<int>(state.range(0)), effort.callersSeconds);
        state.SetIterationTime(effort.callersSeconds);
        state.counters["callers"] = static_cast<double>(state.range(0));
        state.counters["calls_per_s"] = result.callsPerSecond;
        state.counters["median_s"] = result.medianWait;
        state.counters["high_s"] = result.highWait;
        state.counters["worst_s"] = result.worstWait;
    }
}

void measureRequest(benchmark::State& state, bench::OneKey what, const char* title, const Effort& effort)
{
    for (auto _ : state)
    {
        const bench::RequestCost result = bench::measureRequest(what, effort.pairs);
        state.SetIterationTime(result.figure);
        state.counters["figure_s"] = result.figure - result.call;
        state.counters["floor_s"] = result.floor;
        state.counters["ratio"] = result.ratio;
        state.counters["ratio_lower_quartile"] = result.lowerQuartile;
        state.counters["ratio_upper_quartile"] = result.upperQuartile;
        state.counters["call_s"] = result.call;
        state.counters["requests_per_s"] = 1 / result.figure;
    }
    state.counters["existence_tests"] = 0;  // of the call alone, which is not part of it
    state.counters["target_ratio"] = kRequestTarget;
    state.counters["target_s"] = 0;
    state.counters["real_time"] = 1;
    state.counters["keys"] = 0;
    state.SetLabel(title);
}

void measureLoadedServer(benchmark::State& state, const Effort& effort)
{
    for (auto _ : state)
    {
        const bench::LoadedServer result = bench::measureLoadedServer(effort.loadSeconds);
        state.SetIterationTime(effort.loadSeconds);
        state.counters["slow_clients"] = bench::kSlowClients;
        state.counters["streams"] = bench::kStreams;
        state.counters["viewers"] = bench::kViewers;
        state.counters["frames_per_s"] = result.frames;
        state.counters["median_s"] = result.median;
        state.counters["high_s"] = result.high;
        state.counters["share_soon"] = result.share;
        state.counters["memory_bytes"] = result.memory;
        state.counters["end_s"] = result.end;
    }
}

void registerAll(const Effort& effort)
{
    benchmark::RegisterBenchmark("existence_test", measureExistenceTest)->MinTime(0.2);
    for (const bench::Operation& operation : bench::operations())
    {
        benchmark::RegisterBenchmark(bench::nameOf(operation).c_str(), measure, operation, effort)
            ->Iterations(1)
            ->UseManualTime();
    }
    const auto registerRequest = [&effort](const char* name, bench::OneKey what, const char* title) {
        benchmark::RegisterBenchmark(name, measureRequest, what, title, effort)->Iterations(1)->UseManualTime();
    };
    registerRequest("get", bench::OneKey::get, "GET of one key, without the call");
    registerRequest("patch", bench::OneKey::patch, "PATCH of one key, without the call");
    benchmark::RegisterBenchmark("loaded", measureLoadedServer, effort)->Iterations(1)->UseManualTime();
    benchmark::RegisterBenchmark("callers", measureCallers, effort)
        ->Arg(1)
        ->Arg(2)
        ->Arg(4)
        ->Arg(8)
        ->Iterations(1)
        ->UseManualTime();
}

// ---- the machine -------------------------------------------------------------------------------------------------

std::string processorModel()
{
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    while (std::getline(info, line))
    {
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos && line.rfind("model name", 0) == 0)
        {
            return line.substr(colon + 2);
        }
    }
    return "unknown processor";
}

void addMachine()
{
    utsname system{};
    uname(&system);
    const char* const commit = std::getenv("SENSORDLL_COMMIT");
    benchmark::AddCustomContext("processor", processorModel());
    benchmark::AddCustomContext("kernel", std::string(system.sysname) + " " + system.release + " " + system.machine);
#ifdef __clang__
    benchmark::AddCustomContext("compiler", __VERSION__);
#else
    benchmark::AddCustomContext("compiler", "GCC " __VERSION__);
#endif
    benchmark::AddCustomContext("commit", commit == nullptr ? "unknown" : commit);
}

// ---- output ------------------------------------------------------------------------------------------------------

// JSON to the stream, a line a benchmark to standard error.
class Reporter : public benchmark::JSONReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            std::fprintf(stderr, "bench: measured %s\n", run.benchmark_name().c_str());
        }
        JSONReporter::ReportRuns(runs);
    }
};

// The library prints on descriptor 1, always about shutters: that goes nowhere. Returns where it went before.
int takeStandardOutput()
{
    const int results = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY);
    if (results < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0)
    {
        std::perror("sensor_bench: standard output");
        std::exit(EXIT_FAILURE);
    }
    close(nowhere);
    return results;
}

bool takeOption(int& argc, char** argv, const char* option)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], option) == 0)
        {
            std::memmove(argv + i, argv + i + 1, static_cast<std::size_t>(argc - i) * sizeof(char*));
            --argc;
            return true;
        }
    }
    return false;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!support::insidePrivateTree())
    {
        return support::runInPrivateTree(argv);
    }
    __gnu_cxx::stdio_filebuf<char> buffer(takeStandardOutput(), std::ios::out);
    std::ostream results(&buffer);
    const bool isQuick = takeOption(argc, argv, "--quick");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return EXIT_FAILURE;
    }
    addMachine();
    registerAll(isQuick ? kQuick : kThorough);
    Reporter reporter;
    reporter.SetOutputStream(&results);
    reporter.SetErrorStream(&results);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    results.flush();
    return results ? EXIT_SUCCESS : EXIT_FAILURE;
}
