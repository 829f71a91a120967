#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/BenchCamera.h"

// The operations that are measured: each beside its floor, on a camera of its own.
namespace bench {

// What is compared: the calling thread's processor time, or, where a disk is waited for, time on the wall.
enum class Measure
{
    processorTime,
    realTime,
};

// figure is the library's operation and floor what its contract cannot do without. Both may be called again and
// again and have the same effect each time.
struct Scenario
{
    std::unique_ptr<BenchCamera> camera;
    std::function<void()> figure;
    std::function<void()> floor;
    // Around every call of figure, not measured; empty where there is nothing to do.
    std::function<void()> before;
    std::function<void()> after;
    int tests;  // existence tests that figure and floor make, as the contract counts them
};

struct Operation
{
    const char* name;   // of the benchmark, for --filter
    const char* title;  // in the table
    Measure measure;
    double target;         // the largest ratio of figure to floor; 0 for none
    double targetSeconds;  // the longest figure; 0 for none
    int keys;              // parameters sent or read, where the growth with them is shown; else 0
    std::function<Scenario()> make;
};

const std::vector<Operation>& operations();

// Unique: the name, and the number of keys where the growth with them is shown ("grow_full-20").
std::string nameOf(const Operation& operation);

// Ends the program, saying why, unless figure and floor call the service alike.
void requireSameServiceCalls(const Operation& operation, const Scenario& scenario);

}  // namespace bench
