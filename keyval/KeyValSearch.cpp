#include "keyval/KeyValSearch.h"

int findKey(const KeyVal* records, u32 count, u32 key)
{
    for (u32 i = 0; i < count; ++i)
    {
        if (records[i].key == key)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}
