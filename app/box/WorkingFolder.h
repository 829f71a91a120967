#pragma once

#include <string>

namespace app {

// Where the names of files lead that somebody types: on the real machine, from the folder in which the program was
// started. Reentrant.
class WorkingFolder
{
public:
    // This process's own.
    WorkingFolder() = default;

    // "DESCRIPTOR:PATH" of another process, which is not in the private tree: the descriptor is that of /. It stays
    // open. Empty: this process's own.
    explicit WorkingFolder(const std::string& handedOver);

    // This process's own, for WorkingFolder of another one; root is a descriptor of /.
    static std::string handOver(int root);

    // Throws Failure, with the reason.
    void write(const std::string& file, const std::string& bytes) const;

private:
    int open(const std::string& file) const;

    int root_ = -1;  // none: of this process
    std::string path_;
};

}  // namespace app
