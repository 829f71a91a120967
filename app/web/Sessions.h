#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/web/Http.h"
#include "app/web/LoginLimits.h"
#include "app/web/Users.h"

namespace web {

// Whoever sends a request.
struct Visitor
{
    std::string name;  // empty without a session
    Role role = Role::none;
    std::string token = {};
    bool byCookie = false;  // which a browser sends by itself
};

// Who has come in with a password, and until when. Thread-safe.
class Sessions
{
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::minutes kIdle{30};  // without a request or an open stream
    static constexpr std::chrono::hours kLongest{12};
    static constexpr std::size_t kMostOfUser = 16;  // one more ends the oldest
    static constexpr int kHashings = 2;             // at once: what logins may take of memory is kHashMemory times this

    struct Login
    {
        enum class Outcome
        {
            done,
            wrong,
            limited,  // too many failures: come again after wait
            busy,     // as many passwords are being hashed as may
        };
        Outcome outcome;
        Visitor visitor = {};  // of a wrong one: with the name, if a user has it
        std::chrono::seconds wait{1};
    };

    // Of passwords against hashes, and of time: a test brings its own.
    struct Means
    {
        std::function<bool(const std::string& hash, const std::string& password)> check;
        std::function<Time()> now;
    };
    explicit Sessions(std::unique_ptr<Users> users);
    Sessions(std::unique_ptr<Users> users, Means means);

    Login login(const std::string& name, const std::string& password, const std::string& address);
    // Without a name when the token opens nothing (any more); otherwise it has been used now.
    Visitor visitor(const std::string& token);
    void close(const std::string& token);

    // The same, but it ends when the session does. The sessions must outlive it.
    std::shared_ptr<Source> whileOpen(std::shared_ptr<Source> source, const std::string& token);

private:
    struct Session
    {
        std::string name;
        std::string hash;  // of the password that opened it: a new one ends it
        Time begun;
        Time used;
    };

    static bool isOver(const Session& session, Time now);
    Visitor open(const User& user, Time now);

    const std::unique_ptr<Users> users_;
    const Means means_;
    const std::string nobodysHash_;  // an unknown name costs what a known one does

    std::mutex mutex_;
    // Guarded by mutex_.
    std::map<std::string, Session> sessions_;  // by digest of the token
    LoginLimits limits_;
    int hashing_ = 0;
};

}  // namespace web
