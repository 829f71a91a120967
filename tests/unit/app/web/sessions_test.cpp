#include "app/web/Sessions.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <thread>

#include "app/web/Guard.h"
#include "tests/unit/app/web/UsersOnDisk.h"

namespace web {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using web_tests::someHash;
using web_tests::threeUsers;
using web_tests::writeUsers;
using Outcome = Sessions::Login::Outcome;

class SessionsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        writeUsers(threeUsers(someHash()));
        sessions_.emplace(std::make_unique<Users>(UsersFile::at(web_tests::kUsersPath), [](const std::string&) {}),
                          Sessions::Means{[this](const std::string& hash, const std::string& password) {
                                              ++checks_;
                                              hold();
                                              return hash == someHash() && password == "password";
                                          },
                                          [this] { return now_; }});
    }
    void TearDown() override { letGo(); }

    std::string logIn(const std::string& name = "anna")
    {
        const Sessions::Login login = sessions_->login(name, "password", "192.0.2.1");
        EXPECT_EQ(login.outcome, Outcome::done);
        return login.visitor.token;
    }
    Role roleOf(const std::string& token) { return sessions_->visitor(token).role; }

    void hold()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++inside_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !holding_; });
        --inside_;
    }
    void waitUntilInside(int count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return inside_ == count; });
    }
    void letGo()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        holding_ = false;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    int inside_ = 0;
    bool holding_ = false;

    Sessions::Time now_{hours(1000)};
    std::atomic<int> checks_{0};
    std::optional<Sessions> sessions_;
};

TEST_F(SessionsTest, ALoginOpensASessionWithTheUsersRole)
{
    const Sessions::Login login = sessions_->login("otto", "password", "192.0.2.1");
    ASSERT_EQ(login.outcome, Outcome::done);
    EXPECT_EQ(login.visitor.name, "otto");
    const Visitor visitor = sessions_->visitor(login.visitor.token);
    EXPECT_EQ(visitor.name, "otto");
    EXPECT_EQ(visitor.role, Role::operator_);
    EXPECT_EQ(roleOf(login.visitor.token + "A"), Role::none);
    EXPECT_EQ(roleOf(""), Role::none);
}

TEST_F(SessionsTest, AnUnknownNameIsHashedLikeAKnownOneAndAnsweredTheSame)
{
    const Sessions::Login unknown = sessions_->login("nobody", "password", "192.0.2.1");
    const Sessions::Login wrong = sessions_->login("anna", "Password", "192.0.2.1");
    EXPECT_EQ(unknown.outcome, Outcome::wrong);
    EXPECT_EQ(wrong.outcome, Outcome::wrong);
    EXPECT_EQ(checks_, 2);
}

TEST_F(SessionsTest, TooManyFailuresAreNotHashedAnyMore)
{
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(sessions_->login("anna", "wrong", "192.0.2.1").outcome, Outcome::wrong);
    }
    const Sessions::Login right = sessions_->login("anna", "password", "192.0.2.1");
    EXPECT_EQ(right.outcome, Outcome::limited);
    EXPECT_EQ(right.wait, seconds(30));
    EXPECT_EQ(checks_, 5);
    EXPECT_EQ(sessions_->login("anna", "password", "192.0.2.2").outcome, Outcome::done);
    now_ += seconds(30);
    EXPECT_EQ(sessions_->login("anna", "password", "192.0.2.1").outcome, Outcome::done);
}

TEST_F(SessionsTest, ManyAddressesTogetherHaveTenAttemptsAtAName)
{
    for (int i = 0; i < 10; ++i)
    {
        EXPECT_EQ(sessions_->login("anna", "wrong", "192.0.2." + std::to_string(i)).outcome, Outcome::wrong);
    }
    EXPECT_EQ(sessions_->login("anna", "password", "198.51.100.1").outcome, Outcome::limited);
    EXPECT_EQ(sessions_->login("otto", "password", "198.51.100.1").outcome, Outcome::done);
}

TEST_F(SessionsTest, SuccessesAreNotLimited)
{
    for (int i = 0; i < 50; ++i)
    {
        logIn();
    }
}

TEST_F(SessionsTest, NoMoreThanTwoPasswordsAreHashedAtOnce)
{
    holding_ = true;
    std::thread first([this] { EXPECT_EQ(sessions_->login("anna", "password", "192.0.2.1").outcome, Outcome::done); });
    std::thread second([this] { EXPECT_EQ(sessions_->login("otto", "password", "192.0.2.2").outcome, Outcome::done); });
    waitUntilInside(2);
    EXPECT_EQ(sessions_->login("vera", "password", "192.0.2.3").outcome, Outcome::busy);
    EXPECT_EQ(checks_, 2);
    letGo();
    first.join();
    second.join();
    EXPECT_EQ(sessions_->login("vera", "password", "192.0.2.3").outcome, Outcome::done);
}

TEST_F(SessionsTest, ALoginThatFailsToHashGivesItsPlaceBack)
{
    Sessions failing(std::make_unique<Users>(UsersFile::at(web_tests::kUsersPath), [](const std::string&) {}),
                     {[](const std::string&, const std::string&) -> bool { throw std::runtime_error("no memory"); },
                      [this] { return now_; }});
    for (int i = 0; i < Sessions::kHashings + 1; ++i)
    {
        EXPECT_THROW(failing.login("anna", "password", "192.0.2.1"), std::runtime_error) << i;
    }
}

TEST_F(SessionsTest, ASessionThatIsNotUsedEnds)
{
    const std::string token = logIn();
    now_ += minutes(29);
    EXPECT_EQ(roleOf(token), Role::administrator);
    now_ += minutes(29);
    EXPECT_EQ(roleOf(token), Role::administrator);
    now_ += minutes(30);
    EXPECT_EQ(roleOf(token), Role::none);
    now_ -= minutes(30);
    EXPECT_EQ(roleOf(token), Role::none);
}

TEST_F(SessionsTest, ASessionEndsAfterTwelveHoursHoweverMuchItIsUsed)
{
    const std::string token = logIn();
    for (int i = 1; i < 12 * 3; ++i)
    {
        now_ += minutes(20);
        ASSERT_EQ(roleOf(token), Role::administrator) << i;
    }
    now_ += minutes(20);
    EXPECT_EQ(roleOf(token), Role::none);
}

TEST_F(SessionsTest, LoggingOutEndsOneSession)
{
    const std::string first = logIn();
    const std::string second = logIn();
    sessions_->close(first);
    EXPECT_EQ(roleOf(first), Role::none);
    EXPECT_EQ(roleOf(second), Role::administrator);
}

TEST_F(SessionsTest, OneSessionTooManyEndsTheUsersOldest)
{
    const std::string other = logIn("otto");
    std::vector<std::string> tokens;
    for (std::size_t i = 0; i <= Sessions::kMostOfUser; ++i)
    {
        now_ += seconds(1);
        tokens.push_back(logIn());
    }
    EXPECT_EQ(roleOf(tokens[0]), Role::none);
    EXPECT_EQ(roleOf(tokens[1]), Role::administrator);
    EXPECT_EQ(roleOf(tokens.back()), Role::administrator);
    EXPECT_EQ(roleOf(other), Role::operator_);
}

TEST_F(SessionsTest, SessionsThatAreOverCountNoMoreAndHideNone)
{
    for (const char* name : {"otto", "vera", "anna"})
    {
        for (std::size_t i = 0; i < Sessions::kMostOfUser; ++i)
        {
            logIn(name);
        }
    }
    now_ += Sessions::kIdle;
    const std::string first = logIn();
    now_ += seconds(1);
    for (std::size_t i = 1; i < Sessions::kMostOfUser; ++i)
    {
        logIn();
    }
    EXPECT_EQ(roleOf(first), Role::administrator);
    logIn();
    EXPECT_EQ(roleOf(first), Role::none);
}

TEST_F(SessionsTest, ANewPasswordARemovalAndABrokenFileEndSessions)
{
    const std::string anna = logIn();
    const std::string otto = logIn("otto");
    const std::string vera = logIn("vera");
    writeUsers(
        usersText({{"anna", Role::administrator, hashPassword("another1")}, {"vera", Role::viewer, someHash()}}));
    now_ += Users::kLook;
    EXPECT_EQ(roleOf(anna), Role::none);
    EXPECT_EQ(roleOf(otto), Role::none);
    EXPECT_EQ(roleOf(vera), Role::viewer);
    writeUsers("broken");
    now_ += Users::kLook;
    EXPECT_EQ(roleOf(vera), Role::none);
}

TEST_F(SessionsTest, ANewRoleHoldsFromTheNextLookOn)
{
    const std::string anna = logIn();
    writeUsers(usersText({{"anna", Role::viewer, someHash()}}));
    now_ += Users::kLook;
    EXPECT_EQ(roleOf(anna), Role::viewer);
}

class NumberSource : public Source
{
public:
    std::optional<std::string> next() override { return "1"; }
    std::string heartbeat() const override { return "beat"; }
    void push() { wake(); }
};

TEST_F(SessionsTest, AStreamEndsWithItsSessionAndKeepsItInUseUntilThen)
{
    const std::string token = logIn();
    const auto inner = std::make_shared<NumberSource>();
    const std::shared_ptr<Source> stream = sessions_->whileOpen(inner, token);
    int woken = 0;
    stream->onWake([&woken] { ++woken; });
    inner->push();
    EXPECT_EQ(woken, 1);
    EXPECT_EQ(stream->heartbeat(), "beat");
    now_ += minutes(20);
    EXPECT_EQ(stream->next(), "1");
    now_ += minutes(20);
    EXPECT_EQ(stream->next(), "1");
    sessions_->close(token);
    EXPECT_EQ(stream->next(), std::nullopt);
}

TEST_F(SessionsTest, AVisitorIsKnownByTheHeaderOrByTheCookieOfThePort)
{
    const std::string token = logIn();
    Request request;
    request.port = 8080;
    const auto role = [&](const std::string& header, const std::string& value) {
        request.headers = {{header, value}};
        return visitorOf(request, &*sessions_).role;
    };
    EXPECT_EQ(role("authorization", "Bearer " + token), Role::administrator);
    EXPECT_EQ(role("authorization", "bearer " + token), Role::administrator);
    EXPECT_EQ(role("authorization", "Basic " + token), Role::none);
    EXPECT_EQ(role("authorization", token), Role::none);
    EXPECT_EQ(role("cookie", "__Host-sensorcam-8080=" + token), Role::administrator);
    EXPECT_EQ(role("cookie", "a=b; __Host-sensorcam-8080=" + token + "; c=d"), Role::administrator);
    EXPECT_EQ(role("cookie", "__Host-sensorcam-8081=" + token), Role::none);
    EXPECT_EQ(role("cookie", "sensorcam-8080=" + token), Role::none);
    EXPECT_EQ(role("cookie", "x__Host-sensorcam-8080=" + token), Role::none);
    EXPECT_EQ(role("x", "y"), Role::none);
    request.headers = {{"cookie", "__Host-sensorcam-8080=" + token}};
    EXPECT_TRUE(visitorOf(request, &*sessions_).byCookie);
    request.headers = {{"authorization", "Bearer " + token}};
    EXPECT_FALSE(visitorOf(request, &*sessions_).byCookie);
    request.peer.local = true;
    EXPECT_EQ(role("x", "y"), Role::administrator);
}

}  // namespace
}  // namespace web
