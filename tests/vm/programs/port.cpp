// vm-port BOARD [OPTION...]: judges the service on the devices of that board file as portcheck judges a port; the options
// are portcheck's.

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include "services/ImageService.h"
#include "services/checks/PortCheck.h"
#include "services/linux/DeviceList.h"
#include "services/linux/LocalDevices.h"
#include "services/linux/Service.h"

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "vm-port needs a board file\n");
        return 2;
    }
    try
    {
        std::ifstream file(argv[1]);
        const devices::Board board =
            devices::parseBoard(std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
        devices::LocalDevices source(board);
        const devices::Description description = devices::describe(source, board);
        devices::Service service(description, board, source);
        services::setServiceInForce(&service);
        const int status = portcheck::run(argc - 1, argv + 1);
        services::setServiceInForce(nullptr);
        return status;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "vm-port: %s\n", error.what());
        return 2;
    }
}
