#include "keyval/KeyValSearch.h"

namespace {

// A switch searches at least once a value, and the bookkeeping of a plain loop is a part of its cost that can be
// measured.
constexpr u32 kStep = 8;

}  // namespace

int findKey(const KeyVal* records, u32 count, u32 key)
{
    u32 first = 0;
    for (; count - first >= kStep; first += kStep)
    {
        const KeyVal* const step = records + first;
        for (u32 i = 0; i < kStep; ++i)
        {
            if (step[i].key == key)
            {
                return static_cast<int>(first + i);
            }
        }
    }
    for (; first < count; ++first)
    {
        if (records[first].key == key)
        {
            return static_cast<int>(first);
        }
    }
    return -1;
}
