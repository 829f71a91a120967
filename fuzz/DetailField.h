#pragma once

#include <string>

namespace fuzz {

// The value of a field of a module detail text by its definition, taken at its word: from the first place where the
// name stands, the first "=", and from there the first ")". False when there is no such field.
inline bool fieldByDefinition(const std::string& detail, const std::string& name, std::string& value)
{
    const std::size_t field = detail.find(name);
    const std::size_t equals = field == std::string::npos ? field : detail.find('=', field);
    const std::size_t end = equals == std::string::npos ? equals : detail.find(')', equals);
    if (end == std::string::npos)
    {
        return false;
    }
    value = detail.substr(equals + 1, end - equals - 1);
    return true;
}

}  // namespace fuzz
