#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace support {

// Every caller makes its rounds on a thread of its own. A fixed amount of work: nothing here looks at speed.
inline void runCallers(int callers, int rounds, const std::function<void(int caller, int round)>& call)
{
    std::vector<std::thread> threads;
    for (int caller = 0; caller < callers; ++caller)
    {
        threads.emplace_back([&call, caller, rounds] {
            for (int round = 0; round < rounds; ++round)
            {
                call(caller, round);
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

// Does the same again and again, on a thread of its own, as long as it lives.
class Repeated
{
public:
    explicit Repeated(std::function<void()> action)
        : thread_([this, action = std::move(action)] {
              while (!isOver_)
              {
                  action();
                  std::this_thread::yield();
              }
          })
    {
    }

    ~Repeated()
    {
        isOver_ = true;
        thread_.join();
    }

    Repeated(const Repeated&) = delete;
    Repeated& operator=(const Repeated&) = delete;

private:
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

}  // namespace support
