#include "app/cli/Answer.h"

#include <algorithm>

namespace app {

std::string jsonDocument(const std::string& command, const Answer& answer)
{
    Json document = Json::object();
    if (!command.empty())
    {
        document["command"] = command;
    }
    document["ok"] = answer.ok();
    document.update(answer.data);
    if (!answer.ok())
    {
        document["error"] = toJson(*answer.error);
    }
    return jsonLine(document);
}

std::string TextTable::text() const
{
    std::vector<std::size_t> widths;
    for (const std::vector<std::string>& row : rows_)
    {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const std::vector<std::string>& row : rows_)
    {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            line += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

}  // namespace app
