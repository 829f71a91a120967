#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/json/Error.h"

namespace app {

// What one command answers, for people and for programs.
struct Answer
{
    std::string text;            // lines with their ends; printed on failure too
    Json data = Json::object();  // members of the JSON document beside "command", "ok" and "error"
    std::optional<Error> error;  // nothing: success

    bool ok() const { return !error; }

    static Answer failure(Error error)
    {
        Answer answer;
        answer.error = std::move(error);
        return answer;
    }
};

// One line, with its end. Without a command where none could be read.
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
