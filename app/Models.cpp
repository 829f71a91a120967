#include "app/Models.h"

#include <algorithm>
#include <iterator>

namespace app {

bool isModelName(const std::string& name)
{
    return std::find(std::begin(kModelNames), std::end(kModelNames), name) != std::end(kModelNames);
}

std::string modelList()
{
    std::string list;
    for (const std::string name : kModelNames)
    {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

std::string modelTitle(const std::string& name)
{
    return (name == "lpr" ? "licence-plate" : name == kDeviceModel ? "device's" : name) + " camera";
}

}  // namespace app
