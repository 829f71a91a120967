#pragma once

#include <string>
#include <vector>

namespace diag_tests {

// The read calls on the marker file, of the whole test program, while it lives. One at a time.
class MarkerReads
{
public:
    // Before the first call the file gets the first of these contents, before the second the second, and so on. Without
    // any it stays as it is.
    explicit MarkerReads(std::vector<std::string> contents = {});

    // All of them fail with this error.
    explicit MarkerReads(int error);
    ~MarkerReads();
    MarkerReads(const MarkerReads&) = delete;
    MarkerReads& operator=(const MarkerReads&) = delete;

    int calls() const;
    long long bytes() const;
};

}  // namespace diag_tests
