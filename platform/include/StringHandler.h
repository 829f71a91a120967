#pragma once

#include <string>
#include <vector>

class StringHandler
{
public:
    /// Replaces items by the pieces of text between the separators, empty ones included, so there is always at
    /// least one. An empty separator is found nowhere. Reentrant.
    static void split(const std::string& text, const std::string& separator, std::vector<std::string>& items);
};
