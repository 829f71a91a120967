#include "app/web/ListenSocket.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/unit/app/web/Connection.h"

namespace web {
namespace {

constexpr char kPath[] = "/tmp/camera.sock";

std::string failureAt(const std::string& path)
{
    try
    {
        ListenSocket::atPath(path, 0600);
        return "";
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
}

// A socket file that nobody listens on any more, as a killed camera leaves it.
void leaveSocket()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string(kPath).copy(address.sun_path, sizeof address.sun_path);
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(left);
}

class ListenSocketTest : public testing::Test
{
protected:
    void SetUp() override { std::filesystem::remove_all(kPath); }
};

TEST_F(ListenSocketTest, TheFileHasTheWantedModeAndGoesWithTheSocket)
{
    {
        const ListenSocket socket = ListenSocket::atPath(kPath, 0600, getegid());
        struct stat file = {};
        ASSERT_EQ(lstat(kPath, &file), 0);
        EXPECT_TRUE(S_ISSOCK(file.st_mode));
        EXPECT_EQ(file.st_mode & 07777u, 0600u);
        EXPECT_EQ(file.st_uid, geteuid());
        EXPECT_EQ(file.st_gid, getegid());
        EXPECT_TRUE(socket.isLocal());
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(kPath)));
}

TEST_F(ListenSocketTest, WhatAKilledCameraLeftIsReplaced)
{
    leaveSocket();
    const ListenSocket socket = ListenSocket::atPath(kPath, 0660);
    struct stat file = {};
    ASSERT_EQ(lstat(kPath, &file), 0);
    EXPECT_EQ(file.st_mode & 07777u, 0660u);
    web_tests::Connection::toPath(kPath);
}

TEST_F(ListenSocketTest, ASocketInUseIsRefusedAndStays)
{
    const ListenSocket first = ListenSocket::atPath(kPath, 0600);
    EXPECT_EQ(failureAt(kPath), std::string(kPath) + ": Address already in use");
    web_tests::Connection::toPath(kPath);
}

TEST_F(ListenSocketTest, AnotherFileInItsPlaceIsRefusedAndStays)
{
    std::ofstream(kPath) << "mine";
    EXPECT_EQ(failureAt(kPath), std::string(kPath) + ": File exists");
    EXPECT_EQ(std::filesystem::file_size(kPath), 4u);
}

TEST_F(ListenSocketTest, ASocketThatCannotBeAskedIsRefusedAndStays)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string(kPath).copy(address.sun_path, sizeof address.sun_path);
    const int other = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(bind(other, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(failureAt(kPath), std::string(kPath) + ": Protocol wrong type for socket");
    EXPECT_TRUE(std::filesystem::exists(kPath));
    close(other);
}

TEST_F(ListenSocketTest, WhatTookItsPlaceStaysAtTheEnd)
{
    {
        const ListenSocket socket = ListenSocket::atPath(kPath, 0600);
        const ListenSocket other = ListenSocket::atPath("/tmp/other.sock", 0600);
        std::filesystem::rename("/tmp/other.sock", kPath);
    }
    EXPECT_TRUE(std::filesystem::exists(kPath));
}

TEST_F(ListenSocketTest, ALinkInItsPlaceIsNotFollowed)
{
    std::filesystem::create_symlink("/tmp/elsewhere.sock", kPath);
    EXPECT_EQ(failureAt(kPath), std::string(kPath) + ": File exists");
    EXPECT_FALSE(std::filesystem::exists("/tmp/elsewhere.sock"));
}

TEST_F(ListenSocketTest, APathMayBeLongerThanAnAddress)
{
    const std::string folder = "/tmp/" + std::string(200, 'x');
    const std::string path = folder + "/camera.sock";
    std::filesystem::create_directory(folder);
    {
        const ListenSocket socket = ListenSocket::atPath(path, 0600);
        EXPECT_GE(web::connectTo(path).number(), 0);
        EXPECT_EQ(failureAt(path), path + ": Address already in use");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_LT(web::connectTo(path).number(), 0);
    EXPECT_EQ(failureAt(folder + "/missing/camera.sock"), folder + "/missing/camera.sock: No such file or directory");
    std::filesystem::remove_all(folder);
}

TEST_F(ListenSocketTest, ANameThatIsLongerThanAnAddressIsRefused)
{
    const std::string path = "/tmp/" + std::string(103, 'x');
    EXPECT_EQ(failureAt(path), path + ": File name too long");
}

TEST_F(ListenSocketTest, AFreePortIsFoundAndTold)
{
    const ListenSocket socket = ListenSocket::onPort("127.0.0.1", 0);
    EXPECT_GT(socket.port(), 0);
    EXPECT_FALSE(socket.isLocal());
    web_tests::Connection::toPort(socket.port());
}

TEST_F(ListenSocketTest, APortInUseIsRefusedByName)
{
    const ListenSocket first = ListenSocket::onPort("127.0.0.1", 0);
    try
    {
        ListenSocket::onPort("127.0.0.1", first.port());
        FAIL();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_EQ(error.what(), "127.0.0.1 port " + std::to_string(first.port()) + ": Address already in use");
    }
}

TEST_F(ListenSocketTest, AnAddressMayBeAnIpv6One)
{
    try
    {
        EXPECT_GT(ListenSocket::onPort("::1", 0).port(), 0);
    }
    catch (const std::runtime_error& error)  // on a machine without
    {
        EXPECT_TRUE(error.what() == std::string("::1 port 0: Cannot assign requested address") ||
                    error.what() == std::string("::1 port 0: Address family not supported by protocol"))
            << error.what();
    }
}

TEST_F(ListenSocketTest, AnAddressIsNumeric)
{
    EXPECT_THROW(ListenSocket::onPort("localhost", 0), std::runtime_error);
    EXPECT_THROW(ListenSocket::onPort("", 0), std::runtime_error);
}

}  // namespace
}  // namespace web
