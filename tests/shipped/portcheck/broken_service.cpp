// Ports whose service breaks one promise each; the environment says which: BROKEN_SERVICE=never-answers.

#include <cstdlib>
#include <map>
#include <string>

#include "KestraTime.h"
#include "tests/support/Simulator.h"

namespace {

using Answer = int (*)(services::ImageService& good, ia_cmd_e cmd, int opt, void* data);

// Fills a record of a later version, which is a word longer.
int recordOverruns(services::ImageService& good, ia_cmd_e cmd, int opt, void* data)
{
    const int status = good.call(cmd, opt, data);
    if (status == 0 && opt == IA_CMD_OPT_GET_PARAM_RNAGE && cmd == IA_CMD_GAMMA)
    {
        static_cast<int*>(data)[sizeof(ia_dynamic_params_attr_st) / sizeof(int)] = 0;
    }
    return status;
}

// Locks and forgets to unlock, as it were.
int neverAnswers(services::ImageService& good, ia_cmd_e cmd, int opt, void* data)
{
    while (opt == IA_CMD_OPT_GET && cmd == IA_CMD_SHARPNESS)
    {
        KestraTime::wait(KestraTime(1, 0));
    }
    return good.call(cmd, opt, data);
}

int crashesWithoutData(services::ImageService& good, ia_cmd_e cmd, int opt, void* data)
{
    if (data == nullptr)
    {
        std::abort();
    }
    return good.call(cmd, opt, data);
}

const std::map<std::string, Answer> kAnswers = {
    {"record-overruns", recordOverruns},
    {"never-answers", neverAnswers},
    {"crashes-without-data", crashesWithoutData},
};

class Broken : public services::Wrapper
{
public:
    Broken(services::ImageService& good, Answer answer) : Wrapper(good), answer_(answer) {}

    int call(ia_cmd_e cmd, int opt, void* data) override { return answer_(inner(), cmd, opt, data); }

private:
    const Answer answer_;
};

// Never destroyed: a call that hangs is still in it at the end.
[[maybe_unused]] const bool isInForce = [] {
    auto* const broken = new Broken(support::simulator(), kAnswers.at(std::getenv("BROKEN_SERVICE")));
    services::setServiceInForce(broken);
    return true;
}();

}  // namespace
