#include <exception>

#include "Failure.h"
#include "Options.h"
#include "Program.h"

int main(int argc, char** argv)
{
    int status = app::kExitOk;
    const std::optional<app::Options> options = app::readOptions(argc, argv, status);
    if (!options)
    {
        return status;
    }
    try
    {
        return app::runProgram(*options);
    }
    catch (const std::exception& error)
    {
        app::reportFailure(error.what(), options->json);
        return app::kExitNoCamera;
    }
}
