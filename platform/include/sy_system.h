#pragma once

#include "sensorplatform_export.h"

enum
{
    kSySystemNotStarted = -1,
    kSySystemLimit = -2,
};

/// Runs a command with /bin/sh -c in a process group of its own, standard input empty, no descriptor above 2, all
/// signals at their defaults. Its exit status, 0 to 255 (127: not found; 128 + n: ended by signal n);
/// kSySystemNotStarted if it could not be started, or if the process ignores SIGCHLD and the status is gone;
/// kSySystemLimit if it was still running after limitSeconds of real time, not host::clock's: then the whole group
/// is asked to end and, after a short grace, made to. 0 or less: no limit. What a command leaves running in the
/// background when it ends in time goes on. Thread-safe; with a C library that lacks closefrom for posix_spawn a
/// descriptor without FD_CLOEXEC gets through if another thread opens it during the call.
SENSORPLATFORM_API int sy_system(const char* command, int limitSeconds);
