#include "app/web/LoginLimits.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace web {

LoginLimits::Duration LoginLimits::take(const std::string& address, const std::string& name, Time now)
{
    const std::string group = addressGroup(address);
    const Duration needed = std::max(wait(addresses_, group, kPerAddress, now), wait(names_, name, kPerName, now));
    if (needed == Duration::zero())
    {
        add(addresses_, group, now);
        add(names_, name, now);
    }
    return needed;
}

void LoginLimits::giveBack(const std::string& address, const std::string& name)
{
    subtract(addresses_, addressGroup(address));
    subtract(names_, name);
}

LoginLimits::Duration LoginLimits::wait(const Table& table, const std::string& key, int atOnce, Time now)
{
    const auto found = table.find(key);
    const Duration left = found == table.end() ? Duration::zero() : found->second - now;
    return std::max(Duration::zero(), left - (atOnce - 1) * Duration(kEach));
}

void LoginLimits::add(Table& table, const std::string& key, Time now)
{
    if (table.size() >= kMost && table.count(key) == 0)
    {
        const auto sooner = [](const auto& left, const auto& right) { return left.second < right.second; };
        table.erase(std::min_element(table.begin(), table.end(), sooner));
    }
    Time& forgotten = table[key];
    forgotten = std::max(forgotten, now) + kEach;
}

void LoginLimits::subtract(Table& table, const std::string& key)
{
    const auto found = table.find(key);
    if (found != table.end())
    {
        found->second -= kEach;
    }
}

std::string addressGroup(const std::string& address)
{
    constexpr std::size_t kNetworkBytes = 8;
    in6_addr six = {};
    if (inet_pton(AF_INET6, address.c_str(), &six) != 1 || IN6_IS_ADDR_V4MAPPED(&six))
    {
        const std::size_t colon = address.rfind(':');  // "::ffff:192.0.2.1" is 192.0.2.1
        return colon == std::string::npos ? address : address.substr(colon + 1);
    }
    std::memset(six.s6_addr + kNetworkBytes, 0, sizeof six.s6_addr - kNetworkBytes);
    char text[INET6_ADDRSTRLEN];
    return std::string(inet_ntop(AF_INET6, &six, text, sizeof text)) + "/64";
}

}  // namespace web
