#pragma once

#include <memory>
#include <string>

#include <opencv2/core.hpp>

namespace sim::picture {

// JPEG. Reentrant.
class Encoder
{
public:
    // Throws std::runtime_error when the encoder cannot be had.
    Encoder();

    // picture: CV_8UC3, blue, green, red. Throws std::runtime_error.
    std::string encode(const cv::Mat& picture);

private:
    struct Close
    {
        void operator()(void* handle) const;
    };

    std::unique_ptr<void, Close> handle_;
};

}  // namespace sim::picture
