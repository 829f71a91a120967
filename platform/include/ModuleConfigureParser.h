#pragma once

#include <string>
#include <vector>

#include "sensorplatform_export.h"

class ModuleConfigure;

/// Reader of the module configuration document:
/// @code{.xml}
///   <ModuleConfigs>
///     <ModuleConfig hardwareModel="SC-200" hardwareCode="A1">
///       <ModuleId>1</ModuleId><Detail>(max_scheme=4)</Detail><Parameters></Parameters>
///     </ModuleConfig>
///   </ModuleConfigs>
/// @endcode
class SENSORPLATFORM_API ModuleConfigureParser
{
public:
    /// modules receives the entries whose two attributes equal model and code, in document order; an entry whose
    /// ModuleId is not a decimal int is skipped, a missing Detail or Parameters is empty text.
    /// False, with modules empty, for a file that cannot be read and for a document that is not well-formed UTF-8
    /// XML of at most 4 MiB and 64 levels with the root above. No match is not a failure. Thread-safe.
    static bool parse(const std::string& path, const std::string& model, const std::string& code,
                      std::vector<ModuleConfigure>& modules);
};
