// vm-notify PATH: makes a socket there, of the kind to which a service says that it is ready, and prints every line that
// arrives.

#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (argc != 2 || std::strlen(argv[1]) >= sizeof address.sun_path)
    {
        std::fprintf(stderr, "vm-notify needs the path of a socket\n");
        return 2;
    }
    std::strcpy(address.sun_path, argv[1]);
    const int listener = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        std::perror(argv[1]);
        return 1;
    }
    char text[4096];
    while (true)
    {
        const ssize_t size = recv(listener, text, sizeof text, 0);
        if (size < 0)
        {
            return 1;
        }
        std::printf("%.*s\n", static_cast<int>(size), text);
        std::fflush(stdout);
    }
}
