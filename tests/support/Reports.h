#pragma once

#include <gtest/gtest.h>

#include <string>

// Texts that the library prints, byte for byte. In a pattern "<line>" stands for a line number: readers rely on
// the number only where a test names it.
namespace support {

constexpr char kController[] = "ISensorController";
constexpr char kFiles[] = "SensorFile";
constexpr char kKeyVals[] = "SensorKeyVal";
constexpr char kConfiguration[] = "sensor";
constexpr char kAnyLine[] = "<line>";

// A message without header.
std::string plain(const std::string& message);

// A message of kind "dbg", "err", "warn" or "info" with its header.
std::string traced(const std::string& kind, const std::string& unit, const std::string& function,
                   const std::string& message, const std::string& line = kAnyLine);

// Both halves of an assertion report.
std::string asserted(const std::string& unit, const std::string& function, const std::string& expression,
                     const std::string& detail = "", const std::string& line = kAnyLine);

// The output holds the pattern.
testing::AssertionResult says(const std::string& output, const std::string& pattern);

// How often the output holds the pattern.
int timesSaid(const std::string& output, const std::string& pattern);

// The output is the pattern, whole.
testing::AssertionResult saysOnly(const std::string& output, const std::string& pattern);

}  // namespace support
