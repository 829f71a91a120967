#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace portcheck {

struct Options
{
    bool help = false;
    bool documents = false;  // read the camera's documents through the library
    bool set = false;        // set parameters
    bool lens = false;       // those too that move the lens
    std::string folder;      // where files may be made; "" for nowhere
    std::chrono::milliseconds limit{5000};
};

constexpr char kUsage[] =
    "Judges a port of the library: its image-adjust service, its host framework and its documents.\n"
    "Without options nothing is set, no file is touched and no lens moves.\n"
    "  --documents      reads the camera's documents through the library, which leaves its merged style in /tmp and\n"
    "                   its reports in /mnt/mtd/log\n"
    "  --set            sets parameters: factory values (with --documents) and values beyond all limits; puts back\n"
    "                   what it found, unless a call crashes or hangs\n"
    "  --lens           with --set: those parameters too that move zoom, focus or iris\n"
    "  --folder FOLDER  checks files, log and shell in a new folder, FOLDER/portcheck-files, and removes it\n"
    "  --limit SECONDS  how long one call may take, 3 to 600; 5 unless given\n"
    "  --help           prints this\n"
    "Exit status: 0 all checks that were made have passed, 1 one failed, 2 wrong options.\n";

// Nothing, with the reason on standard error, for wrong options.
std::optional<Options> parseOptions(int argc, char** argv);

}  // namespace portcheck
