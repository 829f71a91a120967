#include "keyval/KeyValText.h"

#include <cctype>
#include <climits>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Reads a number as "%d" of scanf does and takes it off the text; false without digits. Clamped to 32 bits.
bool takeNumber(std::string_view& text, int& number)
{
    while (!text.empty() && !isDigit(text.front()) && std::isspace(static_cast<unsigned char>(text.front())) != 0)
    {
        text.remove_prefix(1);
    }
    const bool isNegative = !text.empty() && text.front() == '-';
    if (isNegative || (!text.empty() && text.front() == '+'))
    {
        text.remove_prefix(1);
    }
    if (text.empty() || !isDigit(text.front()))
    {
        return false;
    }
    const long long limit = isNegative ? -static_cast<long long>(INT_MIN) : INT_MAX;
    long long amount = 0;
    for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1))
    {
        amount = amount > limit ? amount : amount * 10 + (text.front() - '0');
    }
    amount = amount > limit ? limit : amount;
    number = static_cast<int>(isNegative ? -amount : amount);
    return true;
}

bool takeCharacter(std::string_view& text, char expected)
{
    if (text.empty() || text.front() != expected)
    {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// contract: what cannot be read keeps its value.
void readItem(std::string_view item, int& key, int& value)
{
    if (takeCharacter(item, '(') && takeNumber(item, key) && takeCharacter(item, ','))
    {
        takeNumber(item, value);
    }
}

// The text of an item. contract: the length is computed in unsigned arithmetic, so a ")" directly before the "(" gives
// an empty item, and one further before it the whole rest of the text.
std::string_view itemText(std::string_view text, std::size_t open, std::size_t close)
{
    return text.substr(open, static_cast<u32>(close - open + 1));
}

}  // namespace

void keyvalFromText(const std::string& p_strText, KeyVal* p_pKeyval, u32 p_nCapacity, u32& p_nKeyvalNum)
{
    const std::string_view text = p_strText;
    int key = 0;
    int value = 0;
    std::size_t open = 0;
    std::size_t readToEndFrom = kNone;  // reading the same rest again would give the same numbers
    p_nKeyvalNum = 0;
    for (std::size_t from = 0; from < text.size() && p_nKeyvalNum < p_nCapacity;)
    {
        open = open < from || text[open] != '(' ? text.find('(', from) : open;
        if (open == kNone || open + 1 == text.size())
        {
            return;
        }
        const std::size_t close = text.find(')', from);  // contract: from here, not from the "("
        if (close == kNone)
        {
            return;
        }
        const bool isRest = close + 1 < open;
        if (!isRest || readToEndFrom != open)
        {
            readItem(itemText(text, open, close), key, value);
        }
        readToEndFrom = isRest ? open : kNone;
        p_pKeyval[p_nKeyvalNum].key = static_cast<u32>(key);
        p_pKeyval[p_nKeyvalNum].value = static_cast<u32>(value);
        ++p_nKeyvalNum;
        from = close + 1;
    }
}
