#include "app/web/Sessions.h"

#include <algorithm>

#include "app/web/Passwords.h"

namespace web {
namespace {

// A place among those who hash passwords, given back in any case.
class Hashing
{
public:
    Hashing(std::mutex& mutex, int& count) : mutex_(mutex), count_(count) {}
    ~Hashing()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        --count_;
    }
    Hashing(const Hashing&) = delete;
    Hashing& operator=(const Hashing&) = delete;

private:
    std::mutex& mutex_;
    int& count_;
};

// A stream that somebody may only read as long as the session lasts.
class SessionSource : public Source
{
public:
    SessionSource(Sessions& sessions, std::shared_ptr<Source> source, std::string token)
        : sessions_(sessions),
          source_(std::move(source)),
          token_(std::move(token))
    {
        source_->onWake([this] { wake(); });
    }
    ~SessionSource() override { source_->onWake(nullptr); }

    std::optional<std::string> next() override
    {
        return sessions_.visitor(token_).role == Role::none ? std::nullopt : source_->next();
    }
    std::string heartbeat() const override { return source_->heartbeat(); }

private:
    Sessions& sessions_;
    const std::shared_ptr<Source> source_;
    const std::string token_;
};

}  // namespace

Sessions::Sessions(std::unique_ptr<Users> users)
    : Sessions(std::move(users), {isPasswordOf, [] { return std::chrono::steady_clock::now(); }})
{
}

Sessions::Sessions(std::unique_ptr<Users> users, Means means)
    : users_(std::move(users)),
      means_(std::move(means)),
      nobodysHash_(hashPassword(newToken()))
{
}

Sessions::Login Sessions::login(const std::string& name, const std::string& password, const std::string& address)
{
    using Outcome = Login::Outcome;
    const std::string counted = isUserName(name) ? name : "";  // what no user can be called is not remembered
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (hashing_ >= kHashings)
        {
            return {Outcome::busy};
        }
        const LoginLimits::Duration wait = limits_.take(address, counted, means_.now());
        if (wait > LoginLimits::Duration::zero())
        {
            return {Outcome::limited, {}, std::chrono::ceil<std::chrono::seconds>(wait)};
        }
        ++hashing_;
    }
    const Hashing place(mutex_, hashing_);
    const std::optional<User> user = users_->find(name, means_.now());
    const bool right = means_.check(user ? user->hash : nobodysHash_, password) && user;

    const std::lock_guard<std::mutex> lock(mutex_);
    if (!right)
    {
        return {Outcome::wrong, {user ? user->name : "", Role::none}};
    }
    limits_.giveBack(address, counted);
    return {Outcome::done, open(*user, means_.now())};
}

bool Sessions::isOver(const Session& session, Time now)
{
    return now - session.used >= kIdle || now - session.begun >= kLongest;
}

Visitor Sessions::open(const User& user, Time now)
{
    std::size_t count = 0;
    auto oldest = sessions_.end();
    for (auto session = sessions_.begin(); session != sessions_.end();)
    {
        if (isOver(session->second, now))
        {
            session = sessions_.erase(session);
            continue;
        }
        if (session->second.name == user.name)
        {
            ++count;
            oldest = oldest == sessions_.end() || session->second.begun < oldest->second.begun ? session : oldest;
        }
        ++session;
    }
    if (count >= kMostOfUser)
    {
        sessions_.erase(oldest);
    }
    const std::string token = newToken();
    sessions_[tokenDigest(token)] = {user.name, user.hash, now, now};
    return {user.name, user.role, token};
}

Visitor Sessions::visitor(const std::string& token)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = sessions_.find(tokenDigest(token));
    if (found == sessions_.end())
    {
        return {};
    }
    Session& session = found->second;
    const Time now = means_.now();
    const std::optional<User> user = users_->find(session.name, now);
    if (isOver(session, now) || !user || user->hash != session.hash)
    {
        sessions_.erase(found);
        return {};
    }
    session.used = now;
    return {user->name, user->role, token};
}

void Sessions::close(const std::string& token)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    sessions_.erase(tokenDigest(token));
}

std::shared_ptr<Source> Sessions::whileOpen(std::shared_ptr<Source> source, const std::string& token)
{
    return std::make_shared<SessionSource>(*this, std::move(source), token);
}

}  // namespace web
