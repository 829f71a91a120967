#pragma once

namespace sim {

// What the service answers. Refusals leave everything, the caller's data included, as it was.
enum Status : int
{
    kDone = 0,
    kUnknownCommand = -1,
    kNoData = -2,        // null data
    kNotSupported = -3,  // the command has no such option
    kOutOfRange = -4,    // a value that the parameter does not allow now
    kLensBusy = -5,      // the lens is being reset
    kWrongMode = -6,     // a focus step outside manual focus, an iris step outside manual exposure and iris priority
};

// Answers to IA_CMD_OPT_GET_EXEC_STATUS.
enum ExecStatus : int
{
    kIdle = 0,     // done, or never started
    kRunning = 1,  // the drives that the command moves are moving
    kFailed = 2,   // the command ended without its goal: focusing once found no sharp picture
};

}  // namespace sim
