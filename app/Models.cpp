#include "app/Models.h"

#include <algorithm>

namespace app {

const std::vector<std::string>& modelNames()
{
    static const std::vector<std::string> names = {"fixed", "dome", "lpr", "fisheye"};
    return names;
}

bool isModelName(const std::string& name)
{
    const std::vector<std::string>& names = modelNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string modelList()
{
    std::string list;
    for (const std::string& name : modelNames())
    {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

std::string modelTitle(const std::string& name)
{
    return (name == "lpr" ? "licence-plate" : name) + " camera";
}

}  // namespace app
