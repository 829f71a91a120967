#include "app/web/AuditLog.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>
#include <vector>

namespace web {
namespace {

namespace fs = std::filesystem;

constexpr char kPath[] = "/tmp/audit.log";
constexpr char kBefore[] = "/tmp/audit.log.1";

std::string contentOf(const char* path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class AuditLogTest : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::remove_all(kPath);
        fs::remove_all(kBefore);
    }

    AuditLog log(std::size_t most = AuditLog::kMostBytes)
    {
        return AuditLog(
            kPath, [this](const std::string& text) { told_.push_back(text); }, most);
    }

    std::vector<std::string> told_;
};

TEST_F(AuditLogTest, AnEntryIsALineOfJson)
{
    AuditLog audit = log();
    audit.add({"anna", "192.0.2.1", "PATCH /api/parameters?keep=false", "{\"brightness\":60}", 200});
    audit.add({"", "socket", "POST /api/save", "", 409});
    const std::string text = contentOf(kPath);
    const std::size_t end = text.find('\n');
    const std::string time = text.substr(0, sizeof R"({"time":"2026-11-22T10:58:59Z")" - 1);
    EXPECT_EQ(text.substr(time.size(), end - time.size()),
              R"(,"who":"anna","from":"192.0.2.1","what":"PATCH /api/parameters?keep=false",)"
              R"("body":"{\"brightness\":60}","status":200})");
    const auto second = nlohmann::json::parse(text.substr(end + 1));
    EXPECT_EQ(second["who"], "");
    EXPECT_FALSE(second.contains("body"));
    EXPECT_EQ(second["status"], 409);
    struct stat facts = {};
    ASSERT_EQ(stat(kPath, &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777u, 0600u);
}

TEST_F(AuditLogTest, NothingInItCanSteerATerminalOrMakeALineOfItsOwn)
{
    log().add({"a\x1b[2J\nb\x7f\xff", "192.0.2.1", "PUT /\r\n", "\xc2\x9b", 200});
    const std::string text = contentOf(kPath);
    EXPECT_NE(text.find(R"("who":"a\u001b[2J\nb\u007f\ufffd")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("body":"\u009b")"), std::string::npos) << text;
    for (const char letter : text.substr(0, text.size() - 1))
    {
        EXPECT_TRUE(letter >= 0x20 && letter < 0x7f) << static_cast<int>(letter);
    }
}

TEST_F(AuditLogTest, WhatIsLongIsCut)
{
    log().add({"anna", "192.0.2.1", "PUT /x", std::string(100'000, 'x'), 200});
    EXPECT_EQ(nlohmann::json::parse(contentOf(kPath))["body"], std::string(AuditLog::kMostOfText, 'x') + "...");
}

TEST_F(AuditLogTest, WhatIsEscapedIsCutByWhatIsWritten)
{
    for (const char* letter : {"\x01", "\xff", "\"", "\xf0\x9f\x93\xb7"})
    {
        std::string body;
        while (body.size() < 2000)
        {
            body += letter;
        }
        log().add({"anna", "192.0.2.1", "PUT /x", body, 200});
    }
    std::istringstream lines(contentOf(kPath));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
    {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
        EXPECT_LT(line.size(), AuditLog::kMostOfText + 150) << line;
        EXPECT_GT(line.size(), AuditLog::kMostOfText) << line;
    }
    EXPECT_EQ(count, 4);
}

TEST_F(AuditLogTest, WhatIsRefusedHasALineAMinuteThatCountsTheOthers)
{
    AuditLog audit = log();
    const AuditLog::Time begin{std::chrono::hours(1)};
    for (int i = 0; i < 900; ++i)
    {
        audit.addRefused({"vera", "192.0.2.1", "PUT /x", "", 403}, begin + std::chrono::milliseconds(i));
    }
    audit.addRefused({"vera", "192.0.2.1", "PUT /y", "", 403}, begin + std::chrono::minutes(1));
    std::istringstream lines(contentOf(kPath));
    std::vector<nlohmann::json> found;
    for (std::string line; std::getline(lines, line);)
    {
        found.push_back(nlohmann::json::parse(line));
    }
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0]["refused"], 0);
    EXPECT_EQ(found[1]["refused"], 899);
    EXPECT_EQ(found[1]["what"], "PUT /y");
}

TEST_F(AuditLogTest, AFullFileBecomesTheOneBeforeAndBothAreBounded)
{
    constexpr std::size_t kMost = 1000;
    AuditLog audit = log(kMost);
    for (int i = 0; i < 100; ++i)
    {
        audit.add({"anna", "192.0.2.1", "PUT /" + std::to_string(i), "", 200});
    }
    EXPECT_LE(fs::file_size(kPath), kMost);
    EXPECT_LE(fs::file_size(kBefore), kMost);
    EXPECT_NE(contentOf(kPath).find("PUT /99\""), std::string::npos);
    EXPECT_EQ(contentOf(kBefore).find("PUT /0\""), std::string::npos);
    EXPECT_TRUE(told_.empty());
}

TEST_F(AuditLogTest, AFileMayBeExactlyFull)
{
    const AuditLog::Entry entry = {"anna", "192.0.2.1", "PUT /x", "", 200};
    log().add(entry);
    const std::size_t line = fs::file_size(kPath);
    AuditLog audit = log(2 * line);
    audit.add(entry);
    EXPECT_EQ(fs::file_size(kPath), 2 * line);
    audit.add(entry);
    EXPECT_EQ(fs::file_size(kPath), line);
    EXPECT_EQ(fs::file_size(kBefore), 2 * line);
    for (const char* path : {kPath, kBefore})
    {
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write) << path;
    }
}

TEST_F(AuditLogTest, SeveralThreadsMayNoteAtOnce)
{
    AuditLog audit = log();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([&audit] {
            for (int count = 0; count < 25; ++count)
            {
                audit.add({"anna", "192.0.2.1", "PUT /x", "", 200});
                audit.addRefused({"vera", "192.0.2.1", "PUT /x", "", 403}, AuditLog::Time(std::chrono::hours(1)));
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    audit.addRefused({"vera", "192.0.2.1", "PUT /y", "", 403}, AuditLog::Time(std::chrono::hours(2)));
    const std::string text = contentOf(kPath);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 100 + 2);
    EXPECT_NE(text.find("\"refused\":99"), std::string::npos) << text;
}

TEST_F(AuditLogTest, HalfALineIsTakenAwayAgain)
{
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const bool isFull : {false, true})  // the file; the half line is then in a new one
    {
        SetUp();
        AuditLog audit = log(isFull ? 1 : AuditLog::kMostBytes);
        audit.add({"anna", "", "PUT /1", "", 200});
        const std::string first = contentOf(kPath);
        const rlimit room = {(isFull ? 0 : first.size()) + 10, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &room), 0);
        audit.add({"anna", "", "PUT /2", "", 200});
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_EQ(contentOf(kPath), isFull ? "" : first);
    }
    EXPECT_EQ(told_.size(), 2u);
    std::signal(SIGXFSZ, handler);
}

TEST_F(AuditLogTest, WhatCannotBeWrittenIsToldOnceUntilItCan)
{
    AuditLog audit = log();
    fs::create_directory(kPath);
    audit.add({"anna", "", "PUT /1", "", 200});
    audit.add({"anna", "", "PUT /2", "", 200});
    EXPECT_EQ(told_,
              std::vector<std::string>{"changes cannot be noted in audit.log in the state folder: Is a directory"});
    fs::remove(kPath);
    audit.add({"anna", "", "PUT /3", "", 200});
    EXPECT_NE(contentOf(kPath).find("PUT /3"), std::string::npos);
    EXPECT_EQ(told_.size(), 1u);
}

TEST_F(AuditLogTest, ALinkInItsPlaceIsNotFollowed)
{
    fs::create_symlink("/tmp/elsewhere", kPath);
    log().add({"anna", "", "PUT /1", "", 200});
    EXPECT_FALSE(fs::exists("/tmp/elsewhere"));
    EXPECT_EQ(told_.size(), 1u);
}

TEST_F(AuditLogTest, AFullDiskIsTold)
{
    AuditLog audit("/dev/full", [this](const std::string& text) { told_.push_back(text); });
    audit.add({"anna", "", "PUT /1", "", 200});
    EXPECT_EQ(told_,
              std::vector<std::string>{"changes cannot be noted in full in the state folder: No space left on device"});
}

}  // namespace
}  // namespace web
