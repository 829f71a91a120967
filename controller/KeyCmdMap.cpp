#include "controller/KeyCmdMap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "ISensorController.h"
#include "base/SharedWord.h"
#include "controller/ControllerUnit.h"
#include "ia_ioctrl.h"

keycmd* g_pKeyCmdMap = nullptr;
u32 g_nKeyCmdNum = 100;

namespace {

// All handlers. HandlerIndex and kHandlers add an entry for keys without one.
#define SNS_HANDLERS(HANDLER) \
    HANDLER(doIaCmd)          \
    HANDLER(doIaCmd_User)     \
    HANDLER(doImageAdjust)    \
    HANDLER(doHwdr)           \
    HANDLER(doDIS)            \
    HANDLER(doMirror)         \
    HANDLER(doBeaway)         \
    HANDLER(doDNThr)          \
    HANDLER(doDNTime)

enum class HandlerIndex : std::uint8_t
{
#define HANDLER(handler) handler,
    SNS_HANDLERS(HANDLER) none,
#undef HANDLER
};

struct HandlerRow
{
    keycmd_handler function;
    const char* name;
};

constexpr HandlerRow kHandlers[] = {
#define HANDLER(handler) {&ISensorController::handler, "&ISensorController::" #handler},
    SNS_HANDLERS(HANDLER){nullptr, "NULL"},
#undef HANDLER
};
#undef SNS_HANDLERS

// Numbers only: addresses would have to be relocated at every start, three per row.
struct TableRow
{
    std::uint16_t key;
    std::uint16_t cmd;
    HandlerIndex handler;
};

constexpr TableRow kTable[] = {
#define SNS_KEY(name, key, ia, cmd, handler) {name, ia, HandlerIndex::handler},
#define SNS_STORED_KEY(name, key) {name, 0, HandlerIndex::none},
#include "SensorKeys.def"
};

// The key names of the rows, one after the other, each with its terminator.
constexpr char kKeyNames[] =
#define SNS_KEY(name, key, ia, cmd, handler) #name "\0"
#define SNS_STORED_KEY(name, key) #name "\0"
#include "SensorKeys.def"
    ;

constexpr u32 storedOnly()
{
    u32 count = 0;
    for (const TableRow& row : kTable)
    {
        count += row.handler == HandlerIndex::none ? 1 : 0;
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

constexpr u32 lengthOf(const char* text)
{
    u32 length = 0;
    while (text[length] != '\0')
    {
        ++length;
    }
    return length;
}

constexpr bool namesFit()
{
    const char* name = kKeyNames;
    for (u32 i = 0; i < std::size(kTable); ++i)
    {
        const HandlerRow& handler = kHandlers[static_cast<u32>(kTable[i].handler)];
        if (lengthOf(name) >= sizeof(keycmd::szKeyName) || lengthOf(handler.name) >= sizeof(keycmd::szHandlerName))
        {
            return false;
        }
        name += lengthOf(name) + 1;
    }
    return *name == '\0';
}

static_assert(keysAreUnique(), "a key stands in the map once");
static_assert(storedOnly() == kScheduleRecords, "only the schedule keys have no handler");
static_assert(namesFit(), "names fit their fields, terminator included");

}  // namespace

keycmd* newKeyCmdMap(u32 capacity)
{
    keycmd* const map = new keycmd[std::max(capacity, kKeyCmdRows)]();
    const char* keyName = kKeyNames;
    for (u32 i = 0; i < kKeyCmdRows; ++i)
    {
        const HandlerRow& handler = kHandlers[static_cast<u32>(kTable[i].handler)];
        map[i].key = kTable[i].key;
        map[i].cmd = kTable[i].cmd;
        map[i].handler = handler.function;
        std::strcpy(map[i].szKeyName, keyName);
        std::strcpy(map[i].szHandlerName, handler.name);
        keyName += lengthOf(keyName) + 1;
    }
    return map;
}

int ISensorController::findFromKeyCmdMap(const keycmd* p_pKeyCmdMap, unsigned int p_nKey, keycmd& p_stKeyCmd)
{
    // The bound is the global count, so the zeroed spare rows are never reached.
    const u32 rows = p_pKeyCmdMap == nullptr ? 0 : base::sharedLoad(g_nKeyCmdNum);
    const keycmd* const end = p_pKeyCmdMap + rows;
    const keycmd* const found =
        std::find_if(p_pKeyCmdMap, end, [p_nKey](const keycmd& row) { return row.key == p_nKey; });
    if (found != end)
    {
        p_stKeyCmd = *found;
        return static_cast<int>(found - p_pKeyCmdMap);
    }
    // contract: misspelling kept
    diag::tracePlain(diag::Kind::debug, "cand not find key-cmd while key=%d\n", static_cast<int>(p_nKey));
    return -1;
}
