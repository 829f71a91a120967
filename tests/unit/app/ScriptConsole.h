#pragma once

#include <map>
#include <string>

#include "app/cli/Console.h"

namespace support {

// Nobody's: keeps what it is told.
class ScriptConsole : public app::Console
{
public:
    explicit ScriptConsole(bool interactive = false) : interactive_(interactive) {}

    bool interactive() const override { return interactive_; }
    bool endsCamera() const override { return true; }
    void print(const std::string& text) override { out += text; }
    void notice(const std::string& text) override { err += text + "\n"; }
    int columns() const override { return 80; }
    void showLibrary() override { ++shown; }
    std::optional<std::deque<std::string>> keptLines() override { return kept; }
    void writeFile(const std::string& file, const std::string& bytes) override { files[file] = bytes; }
    bool pause(std::chrono::microseconds span) override
    {
        paused += span;
        return pauses-- > 0;
    }
    bool takeInterrupt() override { return interactive_; }
    bool ended() const override { return isEnded; }
    bool broken() const override { return false; }
    bool readerGone() const override { return false; }

    std::string out;
    std::string err;
    std::optional<std::deque<std::string>> kept;
    std::map<std::string, std::string> files;
    int shown = 0;
    int pauses = 0;  // how many are not interrupted
    std::chrono::microseconds paused = {};
    bool isEnded = false;

private:
    const bool interactive_;
};

}  // namespace support
