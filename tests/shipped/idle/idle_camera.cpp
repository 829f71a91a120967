// A camera that nobody asks anything, on the real clock: comes up in scheduled mode, lets its sensor thread make some
// turns, and goes down. Whoever traces its system calls sees what an idle camera does, from a test for the file
// "/idle", which nobody has, on. Runs in a private file tree.
//   idle_camera <model> <turns>

#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "benchmarks/BenchCamera.h"
#include "benchmarks/ConstantService.h"
#include "tests/support/Sandbox.h"

namespace {

// The real clock, which lets its maker wait until the sensor thread has begun a number of pauses.
class CountingClock : public host::RealClock
{
public:
    explicit CountingClock(int turns) : turns_(turns) {}

    void wait(host::Span span) override
    {
        if (std::this_thread::get_id() != maker_)
        {
            count();
        }
        RealClock::wait(span);
    }

    void waitForTurns()
    {
        std::unique_lock<std::mutex> lock(counting_);
        begun_ = 0;
        enough_.wait(lock, [this] { return begun_ > turns_; });
    }

private:
    void count()
    {
        const std::lock_guard<std::mutex> lock(counting_);
        if (++begun_ > turns_)
        {
            enough_.notify_all();
        }
    }

    const int turns_;
    const std::thread::id maker_ = std::this_thread::get_id();
    std::mutex counting_;
    std::condition_variable enough_;
    int begun_ = 0;  // guarded by counting_
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: %s <model> <turns>\n", argv[0]);
        return EXIT_FAILURE;
    }
    if (!support::insidePrivateTree())
    {
        return support::runInPrivateTree(argv);
    }
    bench::Documents documents = bench::shipped(argv[1]);
    bench::answerAsModule(documents.module.getModuleId());
    const auto clock = std::make_shared<CountingClock>(std::atoi(argv[2]));
    bench::BenchCamera camera(std::move(documents), clock);
    camera.controller().setParamMode(1);
    const bool isThere = access("/idle", F_OK) == 0;
    clock->waitForTurns();
    return isThere ? EXIT_FAILURE : EXIT_SUCCESS;
}
