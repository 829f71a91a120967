#include "camera/KeyNames.h"

#include <algorithm>
#include <string_view>

namespace camera {
namespace {

constexpr bool isNeverInBulk(std::string_view handler)
{
    return handler == "doIaCmd_User";
}

constexpr bool isPassedOver(std::string_view handler)
{
    return handler == "doHwdr" || handler == "doImageAdjust";
}

}  // namespace

const std::vector<KeyName>& keyNames()
{
    static const std::vector<KeyName> names = {
#define SNS_KEY(name, key, ia, cmd, handler) {key, cmd, #name, false, isNeverInBulk(#handler), isPassedOver(#handler)},
#define SNS_STORED_KEY(name, key) {key, 0, #name, true, false, false},
#include "SensorKeys.def"
    };
    return names;
}

const KeyName* findKey(int key)
{
    const std::vector<KeyName>& names = keyNames();
    const auto found = std::find_if(names.begin(), names.end(), [key](const KeyName& row) { return row.key == key; });
    return found == names.end() ? nullptr : &*found;
}

}  // namespace camera
