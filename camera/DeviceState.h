#pragma once

#include <map>
#include <string>

#include "services/ImageService.h"

// How a camera with a real device behind it stands. Plain data; reentrant.
namespace camera {

struct DeviceState
{
    std::string name;
    bool isThere = true;
    bool hasOtherControls = false;                               // the camera's documents are those of others
    std::map<int, services::Standing> standings = {};            // of the keys that are not applied
    std::map<std::string, services::Standing> controlStandings;  // of the named controls that are not
};

// Those that differ between the two, as they are now: what is applied again too.
template <typename Name>
std::map<Name, services::Standing> changedStandings(const std::map<Name, services::Standing>& before,
                                                    const std::map<Name, services::Standing>& now)
{
    std::map<Name, services::Standing> changed;
    for (const auto& [name, standing] : now)
    {
        const auto found = before.find(name);
        if (found == before.end() || found->second != standing)
        {
            changed[name] = standing;
        }
    }
    for (const auto& [name, standing] : before)
    {
        if (now.count(name) == 0)
        {
            changed[name] = services::Standing::applied;
        }
    }
    return changed;
}

}  // namespace camera
