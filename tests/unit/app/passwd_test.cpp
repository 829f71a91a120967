#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "app/web/Passwords.h"
#include "app/web/Tls.h"
#include "app/web/Users.h"
#include "tests/unit/app/SensorcamRun.h"
#include "tests/unit/app/web/UsersOnDisk.h"

namespace {

namespace fs = std::filesystem;
using support::SensorcamRun;
using web_tests::kUsersPath;

constexpr char kOwnCertificate[] = "/mnt/mtd/sensorcam/tls.pem";

std::string contentOf(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class PasswdTest : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::remove_all(kUsersPath);
        fs::remove_all(kOwnCertificate);
    }

    static support::Ended passwd(std::vector<std::string> arguments, const std::string& input)
    {
        arguments.insert(arguments.begin(), "passwd");
        return support::runToEnd(arguments, input);
    }
    static std::vector<web::User> users() { return web::UsersFile::at(kUsersPath).read(); }
};

TEST_F(PasswdTest, MakesAFileThatOnlyItsOwnerReads)
{
    const support::Ended ended = passwd({kUsersPath, "anna"}, "password of anna\n");
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out + ended.err, "");
    struct stat facts = {};
    ASSERT_EQ(stat(kUsersPath, &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777u, 0600u);
    ASSERT_EQ(users().size(), 1u);
    EXPECT_EQ(users()[0].role, web::Role::viewer);
    EXPECT_TRUE(web::isPasswordOf(users()[0].hash, "password of anna"));
    EXPECT_EQ(contentOf(kUsersPath).find("password"), std::string::npos);
}

TEST_F(PasswdTest, AChangedPasswordKeepsTheRoleUnlessAnotherIsGiven)
{
    ASSERT_EQ(passwd({"--role", "operator", kUsersPath, "otto"}, "password1\n").status, 0);
    ASSERT_EQ(passwd({kUsersPath, "anna"}, "password2\n").status, 0);
    ASSERT_EQ(passwd({kUsersPath, "otto"}, "password3").status, 0);
    ASSERT_EQ(users().size(), 2u);
    EXPECT_EQ(users()[0].role, web::Role::operator_);
    EXPECT_TRUE(web::isPasswordOf(users()[0].hash, "password3"));
    ASSERT_EQ(passwd({"--role", "administrator", kUsersPath, "otto"}, "password3\n").status, 0);
    EXPECT_EQ(users()[0].role, web::Role::administrator);
}

TEST_F(PasswdTest, DeleteTakesAUserOut)
{
    ASSERT_EQ(passwd({kUsersPath, "anna"}, "password1\n").status, 0);
    const support::Ended missing = passwd({"--delete", kUsersPath, "otto"}, "");
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.err, "sensorcam: /tmp/users has no user otto\n");
    EXPECT_EQ(passwd({"--delete", kUsersPath, "anna"}, "").status, 0);
    EXPECT_EQ(contentOf(kUsersPath), "sensorcam users 1\n");
}

TEST_F(PasswdTest, APasswordThatIsNoneLeavesTheFileAsItWas)
{
    for (const std::string input : {"", "\n", "short\n", "password\x01\n"})
    {
        const support::Ended ended = passwd({kUsersPath, "anna"}, input);
        EXPECT_EQ(ended.status, 3) << input;
        EXPECT_EQ(ended.err.rfind("sensorcam: a password has ", 0), 0u) << ended.err;
        EXPECT_FALSE(fs::exists(kUsersPath));
    }
}

TEST_F(PasswdTest, AFileThatServeWouldRefuseIsNotChanged)
{
    std::ofstream(kUsersPath) << "something else\n";
    ASSERT_EQ(chmod(kUsersPath, 0600), 0);
    EXPECT_EQ(passwd({kUsersPath, "anna"}, "password1\n").status, 3);
    EXPECT_EQ(contentOf(kUsersPath), "something else\n");
    fs::remove(kUsersPath);
    fs::create_symlink("/tmp/elsewhere", kUsersPath);
    EXPECT_EQ(passwd({kUsersPath, "anna"}, "password1\n").status, 3);
    EXPECT_TRUE(fs::is_symlink(kUsersPath));
    EXPECT_FALSE(fs::exists("/tmp/elsewhere"));
}

TEST_F(PasswdTest, AFolderThatSomebodyHoldsLockedIsNotWaitedForForEver)
{
    const int folder = open(fs::path(kUsersPath).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(folder, LOCK_EX), 0);
    const support::Ended ended = passwd({kUsersPath, "anna"}, "password\n");
    close(folder);
    EXPECT_EQ(ended.err, "sensorcam: another program holds the folder of /tmp/users locked; try again\n");
    EXPECT_NE(ended.status, 0);
    EXPECT_FALSE(fs::exists(kUsersPath));
}

TEST_F(PasswdTest, ATerminalAsksTwiceAndShowsNothing)
{
    for (const std::string second : {"secret of otto", "secret of anna"})
    {
        SensorcamRun run({"passwd", kUsersPath, "anna"}, SensorcamRun::Terminal::pseudo);
        run.waitFor("Password of anna: ");
        run.type("secret of anna\n");
        run.waitFor("Once more: ");
        run.type(second + "\n");
        const bool isSame = second == "secret of anna";
        EXPECT_EQ(run.waitForEnd(), isSame ? 0 : 3);
        EXPECT_EQ(run.out.find("secret"), std::string::npos) << run.out;
        EXPECT_EQ(run.out.find("the two passwords differ") == std::string::npos, isSame) << run.out;
        EXPECT_EQ(fs::exists(kUsersPath), isSame);
    }
    EXPECT_TRUE(web::isPasswordOf(users().at(0).hash, "secret of anna"));
}

// ---- what serve makes of it ---------------------------------------------------------------------------------------

// Its last line: before it a first start says that it is one.
std::string refusalOf(std::vector<std::string> options)
{
    options.insert(options.begin(), "serve");
    options.insert(options.end(), {"--port", "0"});
    const support::Ended ended = support::runToEnd(options);
    EXPECT_EQ(ended.status, 3) << ended.out;
    EXPECT_EQ(ended.out, "");
    const std::size_t line = ended.err.rfind('\n', ended.err.size() - 2);
    return line == std::string::npos ? ended.err : ended.err.substr(line + 1);
}

TEST_F(PasswdTest, ServeDoesNotStartWithUsersThatItCannotTrust)
{
    EXPECT_EQ(refusalOf({"--users", kUsersPath}), "sensorcam: the users' file users: No such file or directory\n");
    web_tests::writeUsers("sensorcam users 1\n");
    EXPECT_EQ(refusalOf({"--users", kUsersPath}), "sensorcam: /tmp/users has no users; sensorcam passwd makes one\n");
    web_tests::writeUsers(web_tests::threeUsers(web_tests::someHash()));
    ASSERT_EQ(chmod(kUsersPath, 0640), 0);
    EXPECT_EQ(refusalOf({"--users", kUsersPath}),
              "sensorcam: the users' file users may be read or written by others; take that right away (chmod 600)\n");
}

TEST_F(PasswdTest, ServeDoesNotStartWithACertificateThatItCannotUse)
{
    EXPECT_EQ(refusalOf({"--cert", "/tmp/none.pem", "--key", "/tmp/none.pem"}),
              "sensorcam: /tmp/none.pem: No such file or directory\n");
    fs::create_directories(fs::path(kOwnCertificate).parent_path());
    std::ofstream(kOwnCertificate) << "no certificate";
    ASSERT_EQ(chmod(kOwnCertificate, 0600), 0);
    EXPECT_EQ(
        refusalOf({"--self-signed"}),
        "sensorcam: /mnt/mtd/sensorcam/tls.pem holds no certificate: Base64 unexpected header error.; without the "
        "file a new one is made\n");
}

TEST_F(PasswdTest, ServeDoesNotStartForAGroupThatThereIsNot)
{
    EXPECT_EQ(refusalOf({"--socket", "/tmp/c.sock", "--socket-group", "nobodys-group"}),
              "sensorcam: there is no group nobodys-group\n");
    EXPECT_FALSE(fs::exists("/tmp/c.sock"));
}

// Its certificate, whose fingerprint it prints.
std::string certificateAt(const std::string& address)
{
    SensorcamRun run({"serve", "--port", "0", "--self-signed", "--bind", address});
    run.waitFor("certificate's SHA-256 ");
    run.waitFor("\n");
    run.sendSignal(SIGTERM);
    EXPECT_EQ(run.waitForEnd(), 128 + SIGTERM);
    EXPECT_EQ(run.out.rfind("serving on https://" + address + ":", 0), 0u) << run.out;
    const std::string identity = contentOf(kOwnCertificate);
    EXPECT_EQ(run.out.substr(run.out.find("SHA-256 ") + std::strlen("SHA-256 ")), web::fingerprintOf(identity) + "\n");
    return identity;
}

TEST_F(PasswdTest, TheCamerasOwnCertificateIsMadeAgainOnlyForAnAddressThatItDoesNotName)
{
    const std::string first = certificateAt("127.0.0.1");
    struct stat facts = {};
    ASSERT_EQ(stat(kOwnCertificate, &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777u, 0600u);
    EXPECT_EQ(certificateAt("127.0.0.1"), first);
    const std::string second = certificateAt("127.0.0.2");
    EXPECT_FALSE(web::isFor(first, "127.0.0.2"));
    EXPECT_TRUE(web::isFor(second, "127.0.0.2"));
    EXPECT_EQ(certificateAt("127.0.0.1"), second);
}

TEST_F(PasswdTest, TheSocketIsForItsGroupWhereThatIsWanted)
{
    SensorcamRun run(
        {"serve", "--socket", "/tmp/c.sock", "--socket-mode", "0660", "--socket-group", std::to_string(getegid())});
    run.waitFor("serving on the socket\n");
    struct stat facts = {};
    ASSERT_EQ(stat("/tmp/c.sock", &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777u, 0660u);
    EXPECT_EQ(facts.st_gid, getegid());
    run.sendSignal(SIGTERM);
    EXPECT_EQ(run.waitForEnd(), 128 + SIGTERM);
}

}  // namespace
