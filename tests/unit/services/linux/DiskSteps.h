#pragma once

#include <string>
#include <vector>

namespace support {

// What the program does to the files below a folder, step by step, while this lives: the C library's calls are watched,
// on one thread. One at a time.
class DiskSteps
{
public:
    enum class Mishap
    {
        none,
        failure,  // of that step
        kill,     // of the process, before that step
    };

    struct Step
    {
        enum class Kind
        {
            folder,      // made
            file,        // made, empty
            write,       // text, behind what is there
            link,        // made; text: where it leads
            rename,      // text: the new name
            remove,      // of a name
            sync,        // of a file's contents
            syncFolder,  // of the names in it
        };
        Kind kind;
        std::string path;  // from the folder on; empty for itself
        std::string text;
    };

    // nth: which step meets with the mishap, the first being 0.
    explicit DiskSteps(const std::string& folder, Mishap mishap = Mishap::none, std::size_t nth = 0, int error = 0);
    ~DiskSteps();
    DiskSteps(const DiskSteps&) = delete;
    DiskSteps& operator=(const DiskSteps&) = delete;

    std::vector<Step> taken() const;
};

}  // namespace support
