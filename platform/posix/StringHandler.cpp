#include "StringHandler.h"

#include <utility>

void StringHandler::split(const std::string& text, const std::string& separator, std::vector<std::string>& items)
{
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    if (!separator.empty())
    {
        for (std::size_t end = text.find(separator); end != std::string::npos; end = text.find(separator, begin))
        {
            pieces.emplace_back(text, begin, end - begin);
            begin = end + separator.size();
        }
    }
    pieces.emplace_back(text, begin);
    items = std::move(pieces);
}
