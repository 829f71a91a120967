#pragma once

#include <optional>
#include <string>

// The folder that holds everything a camera writes. Host thread only.
namespace app {

// Absolute default for a model: ${XDG_STATE_HOME:-$HOME/.local/state}/sensorcam/<model>. Throws Failure when there
// is no home directory.
std::string defaultStateFolder(const std::string& model);

// path made absolute against the working directory. The folder need not exist.
std::string absolutePath(const std::string& path);

// Throws Failure when base/relative, or a folder between the two, is a symbolic link. What is missing is none.
void refuseLinks(const std::string& base, const std::string& relative);

// A state folder, locked for this camera as long as the object lives.
class StateFolder
{
public:
    enum class Kind
    {
        chosen,   // by --state or by default
        ofBoard,  // the only one there can be
    };

    // Makes the folder when it is missing and takes the lock. Throws Failure when another camera has it, when it
    // cannot be written, and when using it could write elsewhere: it belongs to another user (root excepted), is the
    // root of the file tree, or one of the program's own files in it is a symbolic link.
    explicit StateFolder(const std::string& path, Kind kind = Kind::chosen);
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    const std::string& path() const { return path_; }

    // Inherited by the programs that this one starts, so that the lock lives as long as the last of them.
    int lockDescriptor() const { return lock_; }

    // The model whose camera the folder holds; nothing in a new folder.
    std::optional<std::string> model() const;

    // The model to start: the wanted one, or the remembered one, or the first. Throws Failure when the folder
    // holds another model than the wanted one.
    std::string chooseModel(const std::optional<std::string>& wanted) const;

    // On the disk for good, whole or not at all. Throws Failure.
    void rememberModel(const std::string& model);

private:
    void requireSafe() const;
    void takeLock();

    const std::string path_;
    const Kind kind_;
    int lock_ = -1;
};

}  // namespace app
