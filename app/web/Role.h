#pragma once

#include <optional>
#include <string>

namespace web {

// What somebody may do; each may also what those before it may.
enum class Role
{
    none,           // has not said who it is
    viewer,         // reads
    operator_,      // changes values, schemes and lens
    administrator,  // also resets, imports, and changes diagnostics and the world
};

constexpr const char* kRoleNames[] = {"none", "viewer", "operator", "administrator"};

inline const char* roleName(Role role)
{
    return kRoleNames[static_cast<int>(role)];
}

// Of those that a user can have.
inline std::optional<Role> roleNamed(const std::string& name)
{
    for (const Role role : {Role::viewer, Role::operator_, Role::administrator})
    {
        if (name == roleName(role))
        {
            return role;
        }
    }
    return std::nullopt;
}

}  // namespace web
