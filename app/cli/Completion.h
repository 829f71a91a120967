#pragma once

#include <functional>
#include <string>

#include "app/cli/Parsing.h"

// What could be typed at a place in a command line. Reentrant.
namespace app {

// What there is to choose from.
struct Vocabulary
{
    std::function<Words(const Words& before)> words;      // that may stand after these; "KEY=" where a value follows
    std::function<Words(const std::string& key)> values;  // that may stand after "KEY="
};

struct Completion
{
    std::size_t begin;  // where the word that is being typed begins in the line
    Words candidates;   // what could stand in its place, in quotation marks where it needs them
};

// Upper and lower case are alike, and "KEY_" may be missing. What is behind the cursor is not looked at.
Completion complete(const std::string& line, std::size_t cursor, const Vocabulary& vocabulary);

}  // namespace app
