#include "tests/unit/platform/ScannedBytes.h"

#include <atomic>
#include <cstddef>

namespace {

std::atomic<bool> isCounting{false};
std::atomic<unsigned long long> scanned{0};

}  // namespace

// In place of the C library's, under another name: C++ declares it twice.
extern "C" const void* findByte(const void* text, int byte, std::size_t size) noexcept __asm__("memchr");
extern "C" __attribute__((visibility("default"))) const void* findByte(const void* text, int byte,
                                                                       std::size_t size) noexcept
{
    const auto* const bytes = static_cast<const unsigned char*>(text);
    std::size_t i = 0;
    while (i < size && bytes[i] != static_cast<unsigned char>(byte))
    {
        ++i;
    }
    if (isCounting)
    {
        scanned += i;
    }
    return i < size ? bytes + i : nullptr;
}

namespace platform_tests {

ScannedBytes::ScannedBytes()
{
    scanned = 0;
    isCounting = true;
}

ScannedBytes::~ScannedBytes()
{
    isCounting = false;
}

unsigned long long ScannedBytes::count() const
{
    return scanned;
}

}  // namespace platform_tests
