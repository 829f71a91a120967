#include "services/checks/PortCheck.h"

int main(int argc, char** argv)
{
    return portcheck::run(argc, argv);
}
