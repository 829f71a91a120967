// Calls every operation and its floor once, each between two tests for files that nobody has:
// "/figure/<operation>/<existence tests that its contract demands>" or "/floor/..." before and "/end" after. Whoever
// traces the program's system calls sees between them what each costs. Runs in a private file tree.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "benchmarks/Operations.h"
#include "tests/support/Sandbox.h"

namespace {

void mark(const std::string& path)
{
    if (access(path.c_str(), F_OK) == 0)
    {
        std::fprintf(stderr, "%s exists\n", path.c_str());
        std::exit(EXIT_FAILURE);
    }
}

void callMarked(const std::string& name, const std::function<void()>& work)
{
    mark(name);
    work();
    mark("/end");
}

void callBoth(const bench::Operation& operation)
{
    const bench::Scenario scenario = operation.make();
    bench::requireSameServiceCalls(operation, scenario);  // does what only a first call does, too
    const std::string name = "/" + bench::nameOf(operation) + "/" + std::to_string(scenario.tests);
    if (scenario.before)
    {
        scenario.before();
    }
    callMarked("/figure" + name, scenario.figure);
    if (scenario.after)
    {
        scenario.after();
    }
    callMarked("/floor" + name, scenario.floor);
}

}  // namespace

int main(int, char** argv)
{
    if (!support::insidePrivateTree())
    {
        return support::runInPrivateTree(argv);
    }
    // What the library prints is of no interest here, and may be written at any time.
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
    {
        std::perror("count_calls: standard output");
        return EXIT_FAILURE;
    }
    for (const bench::Operation& operation : bench::operations())
    {
        callBoth(operation);
    }
    return EXIT_SUCCESS;
}
