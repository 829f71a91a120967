#pragma once

namespace fuzz {

// Ends the program with a message: a property does not hold for this input.
[[noreturn]] void fail(const char* condition, const char* file, int line);

}  // namespace fuzz

// In every kind of build.
#define FUZZ_REQUIRE(condition) ((condition) ? static_cast<void>(0) : ::fuzz::fail(#condition, __FILE__, __LINE__))
