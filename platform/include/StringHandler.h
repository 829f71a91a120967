#pragma once

#include <string>
#include <vector>

#include "sensorplatform_export.h"

/// Reentrant.
class SENSORPLATFORM_API StringHandler
{
public:
    /// Replaces items by the pieces of text between the separators, empty ones included, so there is always at
    /// least one. An empty separator is found nowhere.
    static void split(const std::string& text, const std::string& separator, std::vector<std::string>& items);
};
