#include "services/linux/VideoNode.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace devices {
namespace {

class OpenNode : public VideoNode
{
public:
    explicit OpenNode(int descriptor) : descriptor_(descriptor) {}
    ~OpenNode() override { close(descriptor_); }
    OpenNode(const OpenNode&) = delete;
    OpenNode& operator=(const OpenNode&) = delete;

    int ioctl(unsigned long request, void* argument) override
    {
        int result;
        do
        {
            result = ::ioctl(descriptor_, request, argument);
        }
        while (result < 0 && errno == EINTR);
        return result < 0 ? errno : 0;
    }

    void* map(std::size_t length, u32 offset) override
    {
        void* const buffer = mmap(nullptr, length, PROT_READ, MAP_SHARED, descriptor_, offset);
        return buffer == MAP_FAILED ? nullptr : buffer;
    }

    void unmap(void* buffer, std::size_t length) override { munmap(buffer, length); }

    int descriptor() const override { return descriptor_; }

private:
    const int descriptor_;
};

}  // namespace

std::unique_ptr<VideoNode> openVideoNode(DeviceSource& source, int& error)
{
    const int descriptor = source.open(Role::camera);
    error = descriptor < 0 ? -descriptor : 0;
    if (descriptor < 0)
    {
        return nullptr;
    }
    auto node = std::make_unique<OpenNode>(descriptor);
    // Whoever opened it may have meant to wait.
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) != 0)
    {
        error = errno;
        return nullptr;
    }
    return node;
}

}  // namespace devices
