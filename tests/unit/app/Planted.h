#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/PrivateTree.h"

// What somebody may plant in a state folder to lead a camera out of it or to hold it up, and what must stay untouched.
namespace support {

constexpr uid_t kOrdinaryUser = 65534;

// Who runs the camera: this user, and as root an ordinary one too.
enum class User
{
    itself,
    ordinary,
};

inline std::vector<User> users()
{
    std::ifstream map("/proc/self/uid_map");
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    map >> inside >> outside >> count;
    return geteuid() == 0 && count > kOrdinaryUser ? std::vector<User>{User::itself, User::ordinary}
                                                   : std::vector<User>{User::itself};
}

inline std::string nameOf(User user)
{
    return user == User::ordinary ? "AnOrdinaryUser" : "ThisUser";
}

inline void PrintTo(User user, std::ostream* out)
{
    *out << nameOf(user);
}

// Words to put before a command: it runs as that user and is killed, with status 137, after these seconds.
inline std::vector<std::string> asUser(User user, std::vector<std::string> command, int seconds = 60)
{
    std::vector<std::string> words = {"/usr/bin/timeout", "--signal=KILL", std::to_string(seconds)};
    if (user == User::ordinary)
    {
        const std::string number = std::to_string(kOrdinaryUser);
        words.insert(words.end(), {"setpriv", "--reuid", number, "--regid", number, "--clear-groups"});
    }
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

inline void giveTo(User user, const std::string& path)
{
    if (user == User::ordinary)
    {
        ASSERT_EQ(lchown(path.c_str(), kOrdinaryUser, kOrdinaryUser), 0) << path;
    }
}

inline void giveAllTo(User user, const std::string& folder)
{
    giveTo(user, folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    {
        giveTo(user, entry.path().string());
    }
}

inline void makeSocket(const std::string& path)
{
    // From within its folder: an address has room for a short name only.
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::path(path).parent_path());
    const int handle = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string name = std::filesystem::path(path).filename();
    std::strncpy(address.sun_path, name.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    close(handle);
    std::filesystem::current_path(before);
}

// Files outside of every camera's folder: in the folder that a process of this machine sees as its root, and in the
// memory that all processes share. Everybody could write to them.
class Victims
{
public:
    Victims() : memory_("/dev/shm/sensorcam-victims-" + std::to_string(getpid()))
    {
        for (const std::string& folder : {kDisk, memory_})
        {
            std::filesystem::remove_all(folder);
            std::filesystem::create_directories(folder + "/folder");
            chmod(folder.c_str(), 0777);
            chmod((folder + "/folder").c_str(), 0777);
            for (const char* name : {"/file", "/folder/sensor0.cfg", "/folder/file"})
            {
                std::ofstream(folder + name) << kContent;
                chmod((folder + name).c_str(), 0666);
            }
        }
    }

    ~Victims()
    {
        std::filesystem::remove_all(kDisk);
        std::filesystem::remove_all(memory_);
    }

    Victims(const Victims&) = delete;
    Victims& operator=(const Victims&) = delete;

    // As seen by a camera that shares this machine's /proc or /dev.
    std::string throughProc() const { return "/proc/" + std::to_string(getpid()) + "/root" + kDisk; }
    std::string inMemory() const { return memory_; }
    std::string onDisk() const { return kDisk; }

    // Names and contents.
    std::string state() const
    {
        std::string text;
        for (const std::string& folder : {kDisk, memory_})
        {
            std::vector<std::string> lines;
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            {
                const std::string path = entry.path().string();
                lines.push_back(path.substr(folder.size()) + ": " + (entry.is_directory() ? "" : readFile(path)));
            }
            std::sort(lines.begin(), lines.end());
            for (const std::string& line : lines)
            {
                text += line + "\n";
            }
        }
        return text;
    }

private:
    static constexpr char kContent[] = "6\nsomebody's\n";
    const std::string kDisk = "/tmp/victims";
    const std::string memory_;
};

}  // namespace support
