#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace app {

using Json = nlohmann::ordered_json;

// Null for nothing.
template <typename Value>
Json jsonOf(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

// What one command answers, for people and for programs.
struct Answer
{
    std::string text;            // lines with their ends; printed on failure too
    Json data = Json::object();  // members of the JSON document beside "command", "ok" and "error"
    std::string error;           // empty: success. A sentence, or several lines

    bool ok() const { return error.empty(); }

    static Answer failure(const std::string& error)
    {
        Answer answer;
        answer.error = error;
        return answer;
    }
};

// One line, with its end. Bytes that are no UTF-8 are replaced.
std::string jsonDocument(const std::string& command, const Answer& answer);

// A table: columns as wide as their widest cell, two blanks apart, no blanks at line ends.
class TextTable
{
public:
    void addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace app
