#include <gtest/gtest.h>

#include <opencv2/core.hpp>

namespace {

// Tests run beside each other as it is, and ThreadSanitizer does not know OpenCV's threads.
class OneThread : public testing::Environment
{
    void SetUp() override { cv::setNumThreads(1); }
};

const testing::Environment* const oneThread = testing::AddGlobalTestEnvironment(new OneThread);

}  // namespace
