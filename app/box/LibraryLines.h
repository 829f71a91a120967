#pragma once

#include <string>

namespace app {

// Stands in what the library printed where nothing follows for now. The library prints text, so a zero byte is ours.
constexpr char kPause = '\0';

// Turns what the library prints (colour sequences, lines, pieces of lines) into whole printable lines behind a mark.
// Reentrant.
class LibraryLines
{
public:
    // mark: what each line begins with; may be empty.
    // colour: keep the library's colours and dim the mark; otherwise leave them out.
    LibraryLines(const std::string& mark, bool colour);

    // Takes in bytes; returns the lines that they completed, each with its line end. A pause completes a begun line of
    // which something is visible.
    std::string feed(const std::string& bytes);

private:
    void take(char c, std::string& lines);
    bool goesOnWith(char c);
    void takeText();
    std::string finished();

    const std::string mark_;
    const bool colour_;
    std::string colours_;   // sequences in force, "" after a reset
    std::string line_;      // printable, with colours
    std::string text_;      // what follows in it, as it came
    std::string sequence_;  // an escape sequence that has begun
    bool visible_ = false;  // there is more than sequences
};

}  // namespace app
