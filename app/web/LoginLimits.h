#pragma once

#include <chrono>
#include <string>
#include <unordered_map>

namespace web {

// How often somebody may guess a password: some times at once, then once in a while. Counted by address, so that one
// machine cannot try many names, and by name, so that many machines cannot try one. Guarded by its owner's mutex.
class LoginLimits
{
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    static constexpr int kPerAddress = 5;  // failures at once
    static constexpr int kPerName = 10;
    static constexpr std::chrono::seconds kEach{30};  // after which one more is allowed
    static constexpr std::size_t kMost = 4096;        // addresses, and names, remembered

    // How long to wait; zero: the attempt may be made, and counts as failed until it is given back.
    Duration take(const std::string& address, const std::string& name, Time now);
    void giveBack(const std::string& address, const std::string& name);

private:
    using Table = std::unordered_map<std::string, Time>;  // when all of its failures are forgotten

    static Duration wait(const Table& table, const std::string& key, int atOnce, Time now);
    static void add(Table& table, const std::string& key, Time now);
    static void subtract(Table& table, const std::string& key);

    Table addresses_;
    Table names_;
};

// What counts as one address: of IPv6 the network, for a machine has all of its addresses.
std::string addressGroup(const std::string& address);

}  // namespace web
