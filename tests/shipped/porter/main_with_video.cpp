// A porter who has a video module to show brings a main() of their own.

#include <PortCheck.h>
#include <VideoStreamModule.h>

namespace {

class TwoStreams : public VideoStreamModule
{
public:
    int notifyParam(int, int) override { return 0; }
    std::vector<AVStreamParam> getStreamParams() const override { return std::vector<AVStreamParam>(2); }
};

}  // namespace

int main(int argc, char** argv)
{
    TwoStreams video;
    return portcheck::run(argc, argv, &video);
}
