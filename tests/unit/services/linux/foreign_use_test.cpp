#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

#include "services/linux/LocalDevices.h"
#include "tests/unit/services/linux/MadeTree.h"

namespace {

using devices::LocalDevices;

// Of a camera's node, as the source tells it.
class ForeignUse : public testing::Test
{
protected:
    ForeignUse()
    {
        tree_.plug(0, "1", "4A1B");
        devices_.listenToUse([this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++count_;
            changed_.notify_all();
        });
    }
    ~ForeignUse() override { devices_.listenToUse(nullptr); }

    static devices::Board board()
    {
        devices::Board board;
        board.camera = "4A1B";
        return board;
    }

    static int openNode(const std::string& node) { return open(node.c_str(), O_RDWR | O_CLOEXEC); }

    // The source opens the camera; whoever has asked closes it again.
    void openCamera() { close(devices_.open(devices::Role::camera)); }

    void use() { close(openNode(tree_.roots().dev + "/video0")); }

    // Within a bound that only a fault reaches.
    bool isToldOf(int count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return count_ >= count; });
    }

    support::MadeTree tree_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    LocalDevices devices_{board(), tree_.roots(), tree_.query(), openNode};
};

TEST_F(ForeignUse, IsHeardAfterTheSameNodeWasOpenedAgain)
{
    openCamera();
    ASSERT_TRUE(isToldOf(1));
    openCamera();
    ASSERT_TRUE(isToldOf(2));
    use();
    EXPECT_TRUE(isToldOf(3));
}

TEST_F(ForeignUse, IsHeardOfANodeThatIsBack)
{
    openCamera();
    ASSERT_TRUE(isToldOf(1));
    tree_.pull("1");
    tree_.plug(0, "1", "4A1B");
    openCamera();
    EXPECT_TRUE(isToldOf(2)) << "the test itself has closed the node";
}

}  // namespace
