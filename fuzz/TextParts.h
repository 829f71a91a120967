#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Inputs are texts that a person can read and write: parts between lines of "%%", parts of lines, lines of words.
namespace fuzz {

// Exactly count parts; those that the input lacks are empty, the last one takes all the rest. Bytes pass unchanged.
std::vector<std::string> partsOf(const uint8_t* data, std::size_t size, std::size_t count);

// Takes the text up to the first separator off the front, and the separator with it; the whole text if there is none.
std::string_view takeUpTo(std::string_view& text, std::string_view separator);

// A number as strtoll reads it, clamped to 32 bits, taken off the front; other if the text is used up or begins with
// anything else. Blanks before it go.
int takeNumber(std::string_view& text, int other);

// As the library reads numbers: 0 without digits, clamped to 32 bits.
int decimalOf(const std::string& text);

// The text without the blanks at both ends, "\r" and "\n" among them.
std::string trimmed(const std::string& text);

// True for one sign or none and digits, of a number that fits into 32 bits; blanks at the ends do not count.
bool isDecimalInt(const std::string& text);

}  // namespace fuzz
