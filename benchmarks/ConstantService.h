#pragma once

#include <vector>

#include "ia_ioctrl.h"

namespace bench {

// One call of ia_ioctrl as it arrived.
struct ServiceCall
{
    u32 cmd;
    int opt;
    std::vector<u32> words;  // of the data before the call: a record's, or the one word; none for what is only filled
};

bool operator==(const ServiceCall& left, const ServiceCall& right);

// The image-adjust service that costs next to nothing, so that a ratio shows the library and not the service: it
// accepts every value, corrects none, keeps none, and answers from tables that were filled before the measurement.

// The dynamic commands and their allowed values are from now on those of this sensor module, as the camera's own service
// has them. Not while a camera runs.
void answerAsModule(int moduleId);

// From now on there are no dynamic commands. Not while a camera runs.
void answerWithoutDynamicCommands();

const ia_dynamic_params_cmds_st& dynamicCommands();

// The answer to IA_CMD_OPT_GET_PARAM_RNAGE; zeros for a command that is not dynamic.
ia_dynamic_params_attr_st allowedValues(u32 cmd);

// Notes the calls of this thread while it lives. One at a time.
class RecordedCalls
{
public:
    RecordedCalls();
    ~RecordedCalls();
    RecordedCalls(const RecordedCalls&) = delete;
    RecordedCalls& operator=(const RecordedCalls&) = delete;

    const std::vector<ServiceCall>& calls() const { return calls_; }

private:
    std::vector<ServiceCall> calls_;
};

}  // namespace bench
