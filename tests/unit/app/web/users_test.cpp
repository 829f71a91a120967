#include "app/web/Users.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/unit/app/web/UsersOnDisk.h"

namespace web {
namespace {

namespace fs = std::filesystem;
using web_tests::kUsersPath;
using web_tests::someHash;
using web_tests::writeUsers;

std::string whyNot(const std::string& path = kUsersPath)
{
    try
    {
        UsersFile::at(path).read();
        return "";
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
}

std::string whyNotText(const std::string& text)
{
    writeUsers(text);
    const std::string why = whyNot();
    const std::string subject = "the users' file users: ";
    return why.rfind(subject, 0) == 0 ? why.substr(subject.size()) : "?" + why;
}

class UsersTest : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::remove_all(kUsersPath);
        fs::remove_all("/tmp/other");
    }
};

TEST_F(UsersTest, TheFileIsTextThatReadsAsItWasWritten)
{
    const std::string text = web_tests::threeUsers(someHash());
    EXPECT_EQ(text, "sensorcam users 1\nvera viewer " + someHash() + "\notto operator " + someHash() +
                        "\nanna administrator " + someHash() + "\n");
    EXPECT_EQ(usersText(parseUsers(text)), text);
    EXPECT_EQ(parseUsers("sensorcam users 1\n").size(), 0u);
}

TEST_F(UsersTest, AFileThatHoldsSomethingElseIsRefused)
{
    const std::string begin = "sensorcam users 1\n";
    EXPECT_EQ(whyNotText(""), "ends in the middle of a line");
    EXPECT_EQ(whyNotText(begin + "anna viewer " + someHash()), "ends in the middle of a line");
    EXPECT_EQ(whyNotText("sensorcam users 2\n"), "does not begin with the line \"sensorcam users 1\"");
    EXPECT_EQ(whyNotText(begin + "\n"), "line 2 is not NAME ROLE HASH");
    EXPECT_EQ(whyNotText(begin + "anna viewer\n"), "line 2 is not NAME ROLE HASH");
    EXPECT_EQ(whyNotText(begin + "anna none " + someHash() + "\n"),
              "line 2 names no role; there are viewer, operator, administrator");
    EXPECT_EQ(whyNotText(begin + "-anna viewer " + someHash() + "\n"), "line 2 has no name that a user can have");
    EXPECT_EQ(whyNotText(begin + "anna viewer " + someHash() + " \n"),
              "line 2 has a hash that sensorcam passwd does not make");
    EXPECT_EQ(whyNotText(begin + "anna viewer x\n"), "line 2 has a hash that sensorcam passwd does not make");
    EXPECT_EQ(whyNotText(begin + "anna viewer " + someHash() + "\nanna viewer " + someHash() + "\n"),
              "line 3 names anna again");
    EXPECT_EQ(whyNotText(begin + std::string("anna\0 viewer ", 13) + someHash() + "\n"),
              "line 2 has no name that a user can have");
}

TEST_F(UsersTest, NoMoreUsersThanCanBeServedAreRead)
{
    std::string text = "sensorcam users 1\n";
    for (int i = 0; i < 256; ++i)
    {
        text += "u" + std::to_string(i) + " viewer " + someHash() + "\n";
    }
    EXPECT_EQ(parseUsers(text).size(), 256u);
    EXPECT_EQ(whyNotText(text + "u256 viewer " + someHash() + "\n"), "has more than 256 users");
    writeUsers(std::string((64 << 10) + 1, '\n'));
    EXPECT_EQ(whyNot(), "the users' file users is longer than 65536 bytes");
}

TEST_F(UsersTest, AFileThatOthersCanReachIsRefused)
{
    writeUsers(web_tests::threeUsers(someHash()));
    EXPECT_EQ(whyNot(), "");
    for (const mode_t mode : {0640, 0604, 0620, 0602, 0610})
    {
        ASSERT_EQ(chmod(kUsersPath, mode), 0);
        EXPECT_EQ(whyNot(), "the users' file users may be read or written by others; take that right away (chmod 600)")
            << std::oct << mode;
    }
    ASSERT_EQ(chmod(kUsersPath, 0600), 0);
    fs::create_hard_link(kUsersPath, "/tmp/other");
    EXPECT_EQ(whyNot(), "the users' file users has a second name somewhere, under which others might change it");
}

TEST_F(UsersTest, WhatIsNoPlainFileIsRefusedAndNotWaitedFor)
{
    EXPECT_EQ(whyNot(), "the users' file users: No such file or directory");
    EXPECT_EQ(whyNot("/tmp/nowhere/users"), "/tmp/nowhere/: No such file or directory");
    fs::create_directory(kUsersPath);
    EXPECT_EQ(whyNot(), "the users' file users is not a plain file");
    fs::remove(kUsersPath);
    ASSERT_EQ(mkfifo(kUsersPath, 0600), 0);
    EXPECT_EQ(whyNot(), "the users' file users is not a plain file");
    fs::remove(kUsersPath);
    writeUsers(web_tests::threeUsers(someHash()), "/tmp/other");
    fs::create_symlink("/tmp/other", kUsersPath);
    EXPECT_EQ(whyNot(), "the users' file users: is a symbolic link");
}

TEST_F(UsersTest, AFileOfAnotherUserIsRefused)
{
    EXPECT_EQ(whyNot("/etc/ld.so.cache").rfind("the users' file ld.so.cache ", 0), 0u);
    struct stat facts = {};
    ASSERT_EQ(stat("/etc/ld.so.cache", &facts), 0);
    if (facts.st_uid != geteuid())
    {
        EXPECT_EQ(whyNot("/etc/ld.so.cache"),
                  "the users' file ld.so.cache belongs to another user (" + std::to_string(facts.st_uid) + ")");
    }
    writeUsers(web_tests::threeUsers(someHash()));
    if (chown(kUsersPath, 1, static_cast<gid_t>(-1)) == 0)  // as root, where there are other users
    {
        EXPECT_EQ(whyNot(), "the users' file users belongs to another user (1)");
    }
}

TEST_F(UsersTest, AChangeOfTheFileCountsFromTheNextLookOn)
{
    writeUsers(web_tests::threeUsers(someHash()));
    Users users(UsersFile::at(kUsersPath), [](const std::string& text) { ADD_FAILURE() << text; });
    const Users::Time first{std::chrono::hours(1)};
    const Users::Time next = first + Users::kLook;
    EXPECT_EQ(users.find("anna", first)->role, Role::administrator);
    EXPECT_FALSE(users.find("nobody", first));
    writeUsers(usersText({{"anna", Role::viewer, someHash()}}));
    EXPECT_EQ(users.find("anna", next - std::chrono::milliseconds(1))->role, Role::administrator);
    EXPECT_EQ(users.find("anna", next)->role, Role::viewer);
    EXPECT_FALSE(users.find("vera", next));
}

TEST_F(UsersTest, AFileThatBecomesUnusableLetsNobodyInAndIsToldOnce)
{
    writeUsers(web_tests::threeUsers(someHash()));
    std::vector<std::string> told;
    Users users(UsersFile::at(kUsersPath), [&told](const std::string& text) { told.push_back(text); });
    Users::Time now{std::chrono::hours(1)};
    const auto find = [&users, &now](const std::string& name) { return users.find(name, now += Users::kLook); };
    fs::remove(kUsersPath);
    EXPECT_FALSE(find("anna"));
    EXPECT_FALSE(find("anna"));
    EXPECT_EQ(told, std::vector<std::string>{"the users' file users: No such file or directory; nobody is let in until "
                                             "it is well again"});
    writeUsers(web_tests::threeUsers(someHash()));
    EXPECT_TRUE(find("anna"));
    ASSERT_EQ(chmod(kUsersPath, 0644), 0);
    EXPECT_FALSE(find("anna"));
    EXPECT_EQ(told.size(), 2u);
}

TEST_F(UsersTest, AFileThatCouldNotBeReadForAMomentCountsAgainWithoutAChange)
{
    writeUsers(web_tests::threeUsers(someHash()));
    std::vector<std::string> told;
    Users users(UsersFile::at(kUsersPath), [&told](const std::string& text) { told.push_back(text); });
    Users::Time now{std::chrono::hours(1)};
    const auto find = [&users, &now](const std::string& name) { return users.find(name, now += Users::kLook); };
    writeUsers(web_tests::threeUsers(someHash()));
    try
    {
        throw std::runtime_error("");
    }
    catch (const std::runtime_error& known)
    {
        EXPECT_STREQ(known.what(), "");  // a sanitizer needs descriptors for the first of a type, and keeps what it saw
    }
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_FALSE(find("anna"));
    EXPECT_FALSE(find("anna"));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(find("anna"));
    EXPECT_EQ(told, std::vector<std::string>{"the users' file users: Too many open files; nobody is let in until it is "
                                             "well again"});
}

TEST_F(UsersTest, WhatEventsSayOfWhoeverHasNoNameIsNoName)
{
    for (const char* name : {"socket", "192.0.2.1", "10.0.0.1", "1.2.3", "4"})
    {
        EXPECT_FALSE(isUserName(name)) << name;
    }
    for (const char* name : {"sockets", "4th", "192.0.2.x"})
    {
        EXPECT_TRUE(isUserName(name)) << name;
    }
}

}  // namespace
}  // namespace web
