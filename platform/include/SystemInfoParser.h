#pragma once

#include <string>

#include "sensorplatform_export.h"

class MachineInfo;

/// Reader of the machine information file, lines of text:
/// @code
///   # comment
///   DeviceType=1
///   HardwareModel=SC-200
///   HardwareCode=A1
/// @endcode
/// Blanks around names and values, "\r\n", unknown names and lines without "=" do no harm. A name that comes again
/// replaces the value, a DeviceType that is not a decimal int does not.
class SENSORPLATFORM_API SystemInfoParser
{
public:
    /// False if the file cannot be opened or holds no valid DeviceType; what else was found is set even then, and
    /// what was not found keeps its value. Of a file of 64 KiB and more the whole lines in its first 64 KiB count.
    /// Thread-safe.
    static bool parseMachineInfo(const std::string& path, MachineInfo& machineInfo);
};
