#include <fcntl.h>
#include <unistd.h>

#include <exception>

#include "app/Failure.h"
#include "app/Options.h"
#include "app/Passwd.h"
#include "app/Program.h"

namespace {

// A missing one would be given to the first file that is opened, and answers would go there. Writing to standard output
// fails as if it were still missing.
void fillStandardDescriptors()
{
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (fcntl(descriptor, F_GETFD) < 0)
        {
            [[maybe_unused]] const int lowest = open("/dev/null", descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    fillStandardDescriptors();
    bool json = false;
    try
    {
        int status = app::kExitOk;
        const std::optional<app::Options> options = app::readOptions(argc, argv, status);
        if (!options)
        {
            return status;
        }
        json = options->json;
        if (options->password)
        {
            app::changePassword(*options->password);
            return app::kExitOk;
        }
        return app::runProgram(*options);
    }
    catch (const camera::Failure& failure)
    {
        app::reportFailure(app::failureText(failure), json);
        return app::kExitNoCamera;
    }
    catch (const std::exception& error)
    {
        app::reportFailure(error.what(), json);
        return app::kExitNoCamera;
    }
}
