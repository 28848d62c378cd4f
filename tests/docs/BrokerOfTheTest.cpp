// Stands in for connect in the programs of the pages, which are compiled as they are: what they connect to, port 5672
// of 127.0.0.1, is the broker that the environment names.
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

extern "C" int connect(int socket, const sockaddr* address, socklen_t size)
{
    using Connect = int (*)(int, const sockaddr*, socklen_t);
    static const auto original = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    constexpr in_port_t usual = 5672;
    if (address->sa_family != AF_INET || reinterpret_cast<const sockaddr_in*>(address)->sin_port != htons(usual))
    {
        return original(socket, address, size);
    }
    const char* const port = std::getenv("AMQP_PORT");
    if (port == nullptr)
    {
        std::fputs("no broker to run with: run the tests by \"scripts/broker run -- COMMAND\"\n", stderr);
        std::abort();
    }
    sockaddr_in other = *reinterpret_cast<const sockaddr_in*>(address);
    other.sin_port = htons(static_cast<in_port_t>(std::atoi(port)));
    return original(socket, reinterpret_cast<const sockaddr*>(&other), sizeof other);
}
