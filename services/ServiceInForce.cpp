#include <atomic>

#include "services/ImageService.h"

namespace services {
namespace {

std::atomic<ImageService*> inForce{nullptr};

}  // namespace

ImageService* setServiceInForce(ImageService* service)
{
    return inForce.exchange(service);
}

}  // namespace services

extern "C" __attribute__((visibility("default"))) int ia_ioctrl(ia_cmd_e cmd, int opt, void* data)
{
    services::ImageService* const service = services::inForce;
    return service == nullptr ? services::kUnknownCommand : service->call(cmd, opt, data);
}
