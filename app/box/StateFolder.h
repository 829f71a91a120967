#pragma once

#include <optional>
#include <string>

#include "app/Failure.h"
#include "camera/Descriptor.h"

// The folder that holds everything a camera writes. Host thread only.
namespace app {

// Absolute default for a model: ${XDG_STATE_HOME:-$HOME/.local/state}/sensorcam/<model>. Throws Failure when there
// is no home directory.
std::string defaultStateFolder(const std::string& model);

// path made absolute against the working directory. The folder need not exist.
std::string absolutePath(const std::string& path);

// The model whose camera the folder holds; nothing in a new folder, and without one.
std::optional<std::string> rememberedModel(const std::string& stateFolder);

// A state folder, locked for this camera as long as the object lives.
class StateFolder
{
public:
    enum class Kind
    {
        chosen,   // by --state or by default
        ofBoard,  // the only one there can be
    };

    enum class Lock
    {
        taken,
        ofAnother,  // of the running camera that this process is a client of
    };

    // Another camera has it.
    class InUse : public Failure
    {
    public:
        using Failure::Failure;
    };

    // Makes the folder when it is missing, looks at what it holds, and takes the lock. Throws InUse when another
    // camera has it, and Failure when it cannot be written, and when using it could touch something else: it belongs to another user (root
    // excepted), is the root of the file tree, or holds what requireOwnFiles refuses; on a board only the program's own
    // files count.
    explicit StateFolder(const std::string& path, Kind kind = Kind::chosen, Lock lock = Lock::taken);
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    const std::string& path() const { return path_; }

    // For the copy in the private tree, so that the lock lives as long as the last of both.
    int lockDescriptor() const { return lock_.number(); }

    // The model whose camera the folder holds; nothing in a new folder.
    std::optional<std::string> model() const { return rememberedModel(path_); }

    // The model to start: the wanted one, or the remembered one, or the first. Throws Failure when the folder
    // holds another model than the wanted one.
    std::string chooseModel(const std::optional<std::string>& wanted) const;

    // Whether a file of this path would lie in the folder, at any depth and by whatever links.
    bool wouldHold(const std::string& path) const;

    // On the disk for good, whole or not at all. Throws Failure.
    void rememberModel(const std::string& model);

private:
    void requireSafe() const;
    void takeLock();

    const std::string path_;
    const Kind kind_;
    camera::Descriptor lock_;
};

}  // namespace app
