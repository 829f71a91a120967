#pragma once

#include <string>

namespace support {

// Names the instances of a parameterised test after their parameter's "name".
struct ByName
{
    template <typename Info>
    std::string operator()(const Info& instance) const
    {
        return instance.param.name;
    }
};

}  // namespace support
