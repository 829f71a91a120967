#include "GThread.h"

#include <pthread.h>

#include <new>
#include <system_error>
#include <utility>

#include "platform/posix/StopToken.h"

namespace {

constexpr std::size_t kThreadNameMax = 15;  // the kernel's limit, without the terminator

std::string cutName(const char* name)
{
    return name != nullptr ? std::string(name).substr(0, kThreadNameMax) : std::string();
}

}  // namespace

// The thread keeps this, so that it outlives a GThread that is destroyed on its own thread.
struct GThread::Work
{
    std::function<int()> body;
    std::string name;
    std::function<int()> atStart;
    std::function<int()> atEnd;

    void run(host::StopToken& token) const
    {
        pthread_setname_np(pthread_self(), name.c_str());
        host::StopToken::setCurrent(&token);
        atStart();
        while (!token.requested())
        {
            body();
        }
        atEnd();
        host::StopToken::setCurrent(nullptr);
    }
};

GThread::GThread(std::function<int()> body, const char* name, std::function<int()> atStart, std::function<int()> atEnd)
    : work_(std::make_shared<const Work>(Work{std::move(body), cutName(name), std::move(atStart), std::move(atEnd)}))
{
}

GThread::~GThread()
{
    if (!stop())
    {
        thread_.detach();
    }
}

bool GThread::start()
{
    if (isCurrent())
    {
        return !host::StopToken::current()->requested();
    }
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable())
    {
        if (!token_->requested())
        {
            return true;
        }
        thread_.join();  // it was stopped on itself
    }
    try
    {
        token_ = std::make_shared<host::StopToken>(work_.get());
        thread_ = std::thread([work = work_, token = token_] { work->run(*token); });
    }
    catch (const std::system_error&)
    {
        return false;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    return true;
}

bool GThread::stop()
{
    if (isCurrent())
    {
        host::StopToken::current()->request();
        return false;
    }
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable())
    {
        token_->request();
        thread_.join();
    }
    return true;
}

int GThread::emptyFun()
{
    return 0;
}

bool GThread::isCurrent() const
{
    const host::StopToken* token = host::StopToken::current();
    return token != nullptr && token->owner() == work_.get();
}
