#pragma once

#include <mutex>
#include <shared_mutex>

namespace camera {

// Lets any number of threads pass, or one alone. A thread that waits to be alone holds newcomers back, so it gets its
// turn. On a thread that is inside already, a further Pass does nothing. One object a process.
class Gate
{
public:
    class Pass
    {
    public:
        explicit Pass(Gate& gate) : gate_(gate)
        {
            if (inside_++ == 0)
            {
                const std::lock_guard<std::mutex> queue(gate_.entry_);
                gate_.passing_.lock_shared();
            }
        }
        ~Pass()
        {
            if (--inside_ == 0)
            {
                gate_.passing_.unlock_shared();
            }
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

    private:
        Gate& gate_;
    };

    // Not on a thread that is inside.
    class Alone
    {
    public:
        explicit Alone(Gate& gate) : gate_(gate)
        {
            const std::lock_guard<std::mutex> queue(gate_.entry_);
            gate_.passing_.lock();
            ++inside_;
        }
        ~Alone()
        {
            --inside_;
            gate_.passing_.unlock();
        }
        Alone(const Alone&) = delete;
        Alone& operator=(const Alone&) = delete;

    private:
        Gate& gate_;
    };

private:
    static inline thread_local int inside_ = 0;

    std::mutex entry_;
    std::shared_mutex passing_;
};

}  // namespace camera
