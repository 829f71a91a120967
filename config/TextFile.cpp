#include "config/TextFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "SensorFile.h"
#include "config/XmlCheck.h"

namespace config {
namespace {

constexpr INT64 kRoomMax = PTRDIFF_MAX - 1;  // with a terminator the largest object; on 32 bits INT64 goes beyond

}  // namespace

INT64 textLength(INT64 fileLength)
{
    const bool isPossible = fileLength >= 0 && fileLength <= static_cast<INT64>(kXmlBytesMax);
    return isPossible ? fileLength : -1;
}

bool makeRoom(char*& text, INT64 length)
{
    const std::size_t size = static_cast<std::size_t>(std::max<INT64>(length, 0)) + 1;
    void* room = length <= kRoomMax ? std::realloc(text, size) : nullptr;
    if (room == nullptr)
    {
        if (text != nullptr)
        {
            *text = '\0';
        }
        return false;
    }
    text = static_cast<char*>(room);
    std::memset(text, 0, size);
    return true;
}

int readText(const char* fileName, char* text, INT64 length)
{
    const int nSize = loadFromFile(fileName, text, length);
    if (nSize < 0 && length > 0)
    {
        std::memset(text, 0, static_cast<std::size_t>(length));
    }
    return nSize;
}

}  // namespace config
