#pragma once

#include <cstddef>
#include <string>

// The program's allocator counts: malloc and its relatives are replaced for everything in the process, and operator
// new ends in them. A sanitizer has to have these functions to itself, so this is no part of sanitized builds.
namespace footprint {

// Bytes that the allocator has given out and not got back, rounded up as it rounds. Thread-safe.
std::size_t liveBytes();

// The most that liveBytes has been since the last resetPeak. Thread-safe.
std::size_t peakBytes();
void resetPeak();

// Calls that asked for memory on the calling thread since it began.
unsigned long allocationsOfThisThread();

// Counts the calls that ask for memory while it lives. One at a time; the threads that it counts may be any.
class AllocationWatch
{
public:
    AllocationWatch();
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    // By any thread.
    unsigned long total() const;

    // Ends the watch and names the callers of the first allocation, innermost first, a line each. Empty without one.
    std::string firstCallers();

private:
    const unsigned long before_;
};

}  // namespace footprint
