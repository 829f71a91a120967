#pragma once

namespace platform_tests {

// The bytes that searches for a character go over, in the whole test program, while it lives. One at a time.
class ScannedBytes
{
public:
    ScannedBytes();
    ~ScannedBytes();
    ScannedBytes(const ScannedBytes&) = delete;
    ScannedBytes& operator=(const ScannedBytes&) = delete;

    unsigned long long count() const;
};

}  // namespace platform_tests
