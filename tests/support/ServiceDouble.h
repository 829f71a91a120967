#pragma once

#include "services/ImageService.h"

namespace support {

// A service of a test: calls alone. Nobody asks it what it has, and every sensor module fits.
class ServiceDouble : public services::ImageService
{
public:
    bool setModule(int) override { return true; }
    std::vector<services::ParameterState> parameters() const override { return {}; }
    std::optional<services::ParameterState> parameter(ia_cmd_e) const override { return std::nullopt; }
};

// While it lives, ia_ioctrl goes to this service, afterwards to the one before. The last member of its service, so that
// no call comes before the others are there, or after.
class InForce
{
public:
    explicit InForce(services::ImageService& service) : before_(services::setServiceInForce(&service)) {}
    ~InForce() { services::setServiceInForce(before_); }
    InForce(const InForce&) = delete;
    InForce& operator=(const InForce&) = delete;

private:
    services::ImageService* const before_;
};

}  // namespace support
