#include "services/checks/Parts.h"
#include "sy_system.h"

namespace portcheck {
namespace {

constexpr int kLimitSeconds = 1;

std::string checkStatus(Watch& watch)
{
    const Step step(watch, "sy_system(\"exit 3\")");
    const int status = sy_system("exit 3", kLimitSeconds);
    return status == 3 ? "" : "\"exit 3\" gave " + std::to_string(status);
}

std::string checkLimit(Watch& watch)
{
    const Step step(watch, "sy_system(\"sleep 600\") with a limit of 1 s");
    const int status = sy_system("sleep 600", kLimitSeconds);
    return status == kSySystemLimit ? "" : "\"sleep 600\" with a limit of 1 s gave " + std::to_string(status);
}

}  // namespace

void checkShell(Report& report)
{
    report.begin("shell");
    report.check("sy_system gives the exit status of a command", checkStatus);
    report.check("sy_system comes back by its limit and says so", checkLimit);
}

}  // namespace portcheck
