#include "KeyCmdMap.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "ControllerUnit.h"
#include "ISensorController.h"
#include "SharedWord.h"
#include "ia_ioctrl.h"

keycmd* g_pKeyCmdMap = nullptr;
u32 g_nKeyCmdNum = 100;

namespace {

constexpr char kNoHandler[] = "NULL";

struct TableRow
{
    u32 key;
    u32 cmd;
    keycmd_handler handler;
    const char* keyName;
    const char* handlerName;
};

constexpr TableRow kTable[] = {
#define SNS_KEY(name, key, ia, cmd, handler) \
    {name, ia, &ISensorController::handler, #name, "&ISensorController::" #handler},
#define SNS_STORED_KEY(name, key) {name, 0, nullptr, #name, kNoHandler},
#include "SensorKeys.def"
};

// Rows without a handler, told by their command: under UBSan g++ 12 does not take the comparison of a member
// pointer for a constant.
constexpr u32 storedOnly()
{
    u32 count = 0;
    for (const TableRow& row : kTable)
    {
        count += row.cmd == 0 ? 1 : 0;
    }
    return count;
}

constexpr bool keysAreUnique()
{
    for (u32 i = 0; i < std::size(kTable); ++i)
    {
        for (u32 j = i + 1; j < std::size(kTable); ++j)
        {
            if (kTable[i].key == kTable[j].key)
            {
                return false;
            }
        }
    }
    return true;
}

constexpr bool fits(const char* text, u32 size)
{
    u32 length = 0;
    while (text[length] != '\0')
    {
        ++length;
    }
    return length < size;
}

constexpr bool namesFit()
{
    for (const TableRow& row : kTable)
    {
        if (!fits(row.keyName, sizeof(keycmd::szKeyName)) || !fits(row.handlerName, sizeof(keycmd::szHandlerName)))
        {
            return false;
        }
    }
    return true;
}

static_assert(std::size(kTable) == kKeyCmdRows, "the map has 87 rows");
static_assert(keysAreUnique(), "a key stands in the map once");
static_assert(storedOnly() == kScheduleRecords, "only the schedule keys have no handler");
static_assert(namesFit(), "names fit their fields, terminator included");

}  // namespace

keycmd* newKeyCmdMap(u32 capacity)
{
    keycmd* const map = new keycmd[std::max(capacity, kKeyCmdRows)]();
    for (u32 i = 0; i < kKeyCmdRows; ++i)
    {
        map[i].key = kTable[i].key;
        map[i].cmd = kTable[i].cmd;
        map[i].handler = kTable[i].handler;
        std::strcpy(map[i].szKeyName, kTable[i].keyName);
        std::strcpy(map[i].szHandlerName, kTable[i].handlerName);
    }
    return map;
}

int ISensorController::findFromKeyCmdMap(const keycmd* p_pKeyCmdMap, unsigned int p_nKey, keycmd& p_stKeyCmd)
{
    // The bound is the global count, so the zeroed spare rows are never reached.
    const u32 rows = p_pKeyCmdMap == nullptr ? 0 : diag::sharedLoad(g_nKeyCmdNum);
    for (u32 i = 0; i < rows; ++i)
    {
        if (p_pKeyCmdMap[i].key == p_nKey)
        {
            p_stKeyCmd = p_pKeyCmdMap[i];
            return static_cast<int>(i);
        }
    }
    // contract: misspelling kept
    diag::tracePlain(diag::Kind::debug, "cand not find key-cmd while key=%d\n", static_cast<int>(p_nKey));
    return -1;
}
