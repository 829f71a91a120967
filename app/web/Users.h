#pragma once

#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/web/Role.h"
#include "camera/Descriptor.h"

// Who may come in with a password. The file is text: the line "sensorcam users 1", then "NAME ROLE HASH" for each user.
namespace web {

struct User
{
    std::string name;
    Role role = Role::viewer;
    std::string hash;
};

// 1 to 32 letters, digits, '.', '_' and '-', of which the first is no sign; not "socket", and not
// digits and dots alone, which events say of whoever has no name.
bool isUserName(const std::string& name);

// Throws std::runtime_error that names the line.
std::vector<User> parseUsers(const std::string& text);
std::string usersText(const std::vector<User>& users);

// A file of users, by its folder and name: the one that has the name now, in the folder that was meant. Reentrant.
class UsersFile
{
public:
    // Throws std::runtime_error when there is no such folder.
    static UsersFile at(const std::string& path);

    // Throws std::runtime_error that says why, when it is missing, is not a plain file of this user's own with one name,
    // may be read or written by others, or does not hold users.
    std::vector<User> read() const;
    // What tells one state of the file from another. Nothing when it is missing.
    std::optional<struct stat> facts() const;

    int folder() const { return folder_.number(); }

private:
    UsersFile(camera::Descriptor folder, std::string name) : folder_(std::move(folder)), name_(std::move(name)) {}

    camera::Descriptor folder_;
    std::string name_;
};

// The users as the file has them, looked at once a second at most. One that becomes unusable lets nobody in.
// Thread-safe.
class Users
{
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::seconds kLook{1};

    // Throws as UsersFile::read. report: told, once, why the file cannot be used any more.
    Users(UsersFile file, std::function<void(const std::string&)> report);

    std::optional<User> find(const std::string& name, Time now = std::chrono::steady_clock::now());

private:
    void refresh();

    const UsersFile file_;
    const std::function<void(const std::string&)> report_;

    std::mutex mutex_;
    // Guarded by mutex_.
    std::optional<struct stat> seen_;
    std::vector<User> users_;
    bool isUnread_ = false;  // it was not well when it was read last
    std::optional<Time> looked_;
    std::string told_;  // why, while it is so
};

}  // namespace web
