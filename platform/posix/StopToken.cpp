#include "platform/posix/StopToken.h"

#include "HostClock.h"

namespace host {
namespace {

thread_local StopToken* currentToken = nullptr;

}  // namespace

StopToken::StopToken(const void* owner) : owner_(owner) {}

void StopToken::request()
{
    std::lock_guard<std::mutex> lock(mutex_);
    requested_ = true;
    if (waitingOn_ != nullptr)
    {
        waitingOn_->wake();
    }
}

StopToken* StopToken::current()
{
    return currentToken;
}

void StopToken::setCurrent(StopToken* token)
{
    currentToken = token;
}

WaitScope::WaitScope(Clock& clock)
{
    setWaitingOn(&clock);
}

WaitScope::~WaitScope()
{
    setWaitingOn(nullptr);
}

void WaitScope::setWaitingOn(Clock* clock)
{
    StopToken* token = StopToken::current();
    if (token != nullptr)
    {
        std::lock_guard<std::mutex> lock(token->mutex_);
        token->waitingOn_ = clock;
    }
}

bool stopRequested()
{
    const StopToken* token = StopToken::current();
    return token != nullptr && token->requested();
}

}  // namespace host
