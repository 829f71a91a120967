#pragma once

#include <optional>
#include <string>
#include <vector>

#include "camera/Results.h"

// Reading what people type. All functions are reentrant.
namespace app {

using Words = std::vector<std::string>;

// Splits a command line at blanks; '…' and "…" hold blanks together, a backslash takes the next character as
// it is (not inside '…'). Nothing, with a reason in error, when a quotation is not closed.
std::optional<Words> splitWords(const std::string& line, std::string& error);

// A line that is being typed, up to the cursor.
struct TypedLine
{
    Words before;       // complete words
    std::string word;   // the one that is being typed, without its quotation marks
    std::size_t begin;  // where that one begins in the line
};

// As above; a quotation may be open.
TypedLine splitTyped(const std::string& typed);

// The word as splitWords reads it back: in quotation marks where it needs them.
std::string quotedWord(const std::string& word);

// A whole decimal number with an optional sign, within 32 signed bits; nothing else around it.
std::optional<int> parseInt(const std::string& text);

// A whole decimal number with an optional fraction, finite.
std::optional<double> parseNumber(const std::string& text);

// Minutes since midnight of "H:MM" or "HH:MM", 0 to 1440 (24:00); nothing for any other text.
std::optional<int> parseTimeOfDay(const std::string& text);

// "HH:MM"
std::string formatTimeOfDay(int minutes);

struct TimeSpanOfDay
{
    int startMinutes;
    int endMinutes;
};

// "HH:MM-HH:MM", each as above. The order of the two is not looked at.
std::optional<TimeSpanOfDay> parseTimeSpan(const std::string& text);

// The number of the key that a person means: a name with or without "KEY_", in any case, or any positive number.
// Nothing, with a sentence in error that suggests what is near, when it is neither.
std::optional<int> parseKey(const std::string& text, std::string& error);

struct Assignment
{
    std::string key;
    std::string value;
};

// "KEY=VALUE"; nothing when the equals sign or one side is missing.
std::optional<Assignment> parseAssignment(const std::string& text);

// Pair text "(34,60)(144,1)" as the library writes it, blanks between the pairs allowed. Nothing, with a reason in
// error, when there is no pair or anything else in it: the library would take other numbers for what it cannot read.
std::optional<std::vector<camera::Value>> parsePairs(const std::string& text, std::string& error);

std::string toLower(std::string text);

// "a, b and c"
std::string joinWords(const Words& words);

// "1 key", "2 keys"
std::string counted(std::size_t count, const std::string& one, const std::string& many);

}  // namespace app
