#pragma once

#include "services/sim/ParameterTable.h"

#include <map>

namespace sim {

// The stored word of every command. Reentrant; the service guards it.
class Values
{
public:
    int get(u32 cmd) const
    {
        const auto found = words_.find(cmd);
        return found == words_.end() ? 0 : found->second;
    }

    void set(u32 cmd, int value) { words_[cmd] = value; }
    void clear() { words_.clear(); }

private:
    std::map<u32, int> words_;
};

}  // namespace sim
