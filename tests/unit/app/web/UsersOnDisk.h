#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "app/web/Passwords.h"
#include "app/web/Users.h"

// A file of users, and what it reports.
namespace web_tests {

constexpr char kUsersPath[] = "/tmp/users";

// Of "password": one is enough for a program's tests.
inline const std::string& someHash()
{
    static const std::string hash = web::hashPassword("password");
    return hash;
}

// In the place of the one before, as passwd does it: what was read is not what is read next.
inline void writeUsers(const std::string& text, const std::string& path = kUsersPath)
{
    const std::string staged = path + ".new";
    std::ofstream(staged) << text;
    chmod(staged.c_str(), 0600);
    std::filesystem::rename(staged, path);
}

// A viewer vera, an operator otto and an administrator anna.
inline std::string threeUsers(const std::string& hash)
{
    return web::usersText({{"vera", web::Role::viewer, hash},
                           {"otto", web::Role::operator_, hash},
                           {"anna", web::Role::administrator, hash}});
}

}  // namespace web_tests
