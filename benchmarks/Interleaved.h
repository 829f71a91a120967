#pragma once

#include "benchmarks/Operations.h"

namespace bench {

// Seconds a call. Quartiles are of the ratios of neighbouring batches.
struct Comparison
{
    double figure;  // medians over all batches
    double floor;
    double ratio;  // of the medians
    double lowerQuartile;
    double upperQuartile;
    int calls;  // in a batch
};

// Measures short batches of figure and floor in turn, pairs times each, so that whatever else the machine does
// meets both alike, and no single disturbance reaches the medians.
Comparison compare(const Scenario& scenario, Measure measure, int pairs);

}  // namespace bench
