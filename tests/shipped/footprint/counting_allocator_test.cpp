#include "tests/shipped/footprint/CountingAllocator.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>

using footprint::allocationsOfThisThread;
using footprint::AllocationWatch;
using footprint::liveBytes;

namespace {

// Keeps the compiler from leaving out an allocation whose block nobody uses.
template <typename Block>
Block* used(Block* block)
{
    asm volatile("" : : "g"(block) : "memory");
    return block;
}

struct alignas(256) Aligned
{
    char bytes[256];
};

template <typename Allocate, typename Release>
void expectCounted(const char* what, Allocate&& allocate, Release&& release)
{
    const AllocationWatch watch;
    const std::size_t before = liveBytes();
    const unsigned long ofThisThreadBefore = allocationsOfThisThread();
    auto* const block = used(allocate());
    const unsigned long counted = watch.total();
    const unsigned long ofThisThread = allocationsOfThisThread() - ofThisThreadBefore;
    const std::size_t held = liveBytes();
    release(block);
    const std::size_t after = liveBytes();
    EXPECT_EQ(1U, counted) << what;
    EXPECT_EQ(1U, ofThisThread) << what;
    EXPECT_GE(held, before + 100) << what;
    EXPECT_EQ(before, after) << what;
}

TEST(CountingAllocator, CountsEveryWayToAskForMemory)
{
    expectCounted(
        "malloc", [] { return std::malloc(100); }, std::free);
    expectCounted(
        "calloc", [] { return std::calloc(10, 10); }, std::free);
    expectCounted(
        "realloc", [] { return std::realloc(nullptr, 100); }, std::free);
    expectCounted(
        "aligned_alloc", [] { return std::aligned_alloc(64, 128); }, std::free);
    expectCounted(
        "memalign", [] { return memalign(64, 128); }, std::free);
    expectCounted(
        "valloc", [] { return valloc(100); }, std::free);
    expectCounted(
        "posix_memalign",
        [] {
            void* block = nullptr;
            return posix_memalign(&block, 64, 100) == 0 ? block : nullptr;
        },
        std::free);
    const std::string text(100, 'x');
    expectCounted(
        "strdup", [&text] { return strdup(text.c_str()); }, std::free);
    expectCounted(
        "new", [] { return new char[100]; }, [](char* block) { delete[] block; });
    expectCounted(
        "new, not throwing", [] { return new (std::nothrow) char[100]; }, [](char* block) { delete[] block; });
    expectCounted(
        "new, aligned", [] { return new Aligned; }, [](Aligned* block) { delete block; });
}

TEST(CountingAllocator, KeepsTheSumOfABlockThatGrowsAndGoes)
{
    const std::size_t before = liveBytes();
    void* const block = used(std::malloc(100));
    void* const grown = used(std::realloc(block, 100000));
    EXPECT_GE(liveBytes(), before + 100000);
    EXPECT_LT(liveBytes(), before + 100000 + 100 + 64);
    EXPECT_EQ(nullptr, std::realloc(grown, 0));
    EXPECT_EQ(before, liveBytes());
}

TEST(CountingAllocator, CountsWhatLibrariesAllocate)
{
    std::string text(10, 'x');
    AllocationWatch watch;
    text.append(1000, 'y');  // within the C++ library
    EXPECT_EQ(1U, watch.total());
    EXPECT_NE("", watch.firstCallers());
}

TEST(CountingAllocator, TellsThreadsApart)
{
    void* block = nullptr;
    unsigned long ofTheOther = 0;
    unsigned long atTheJoin = 0;
    {
        std::thread other([&] {
            block = used(std::malloc(100));
            ofTheOther = allocationsOfThisThread();
        });
        atTheJoin = allocationsOfThisThread();
        other.join();
    }
    EXPECT_EQ(1U, ofTheOther);
    EXPECT_EQ(atTheJoin, allocationsOfThisThread());
    std::free(block);
}

TEST(CountingAllocator, RemembersThePeak)
{
    const std::size_t before = liveBytes();
    footprint::resetPeak();
    std::free(used(std::malloc(50000)));
    EXPECT_EQ(before, liveBytes());
    EXPECT_GE(footprint::peakBytes(), before + 50000);
    footprint::resetPeak();
    EXPECT_LT(footprint::peakBytes(), before + 50000);
}

TEST(CountingAllocator, SeesNothingWhereNothingIsAllocated)
{
    int sum = 0;
    AllocationWatch watch;
    for (int i = 0; i < 1000; ++i)
    {
        sum += i;
    }
    EXPECT_EQ(0U, watch.total());
    EXPECT_EQ("", watch.firstCallers());
    EXPECT_EQ(499500, sum);
}

}  // namespace
