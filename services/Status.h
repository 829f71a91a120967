#pragma once

namespace services {

// What a service answers. Refusals leave everything, the caller's data included, as it was. A service may answer with
// other numbers too; 0 alone is success.
enum Status : int
{
    kDone = 0,
    kUnknownCommand = -1,
    kNoData = -2,        // null data
    kNotSupported = -3,  // the command has no such option
    kOutOfRange = -4,    // a value that the parameter does not allow now
    kLensBusy = -5,      // the lens is being reset
    kWrongMode = -6,     // a step outside the mode that accepts steps
};

// Answers to IA_CMD_OPT_GET_EXEC_STATUS.
enum ExecStatus : int
{
    kIdle = 0,     // done, or never started
    kRunning = 1,  // what the command set in motion is moving
    kFailed = 2,   // the command ended without its goal: focusing once found no sharp picture
};

}  // namespace services
