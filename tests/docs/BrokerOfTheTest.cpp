// Stands in for connect in the programs of the pages, which are compiled as they are: what they connect to, port 5672
// of 127.0.0.1, is the broker that the environment names.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "support/BrokerAddress.hpp"

namespace
{

// rabbitmq-c calls connect, so nothing may be thrown through it.
in_port_t PortOfTheBroker()
{
    try
    {
        return BrokerOfTheEnvironment().port;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "no broker to run with: %s\n", error.what());
        std::abort();
    }
}

} // namespace

extern "C" int connect(int socket, const sockaddr* address, socklen_t size)
{
    using Connect = int (*)(int, const sockaddr*, socklen_t);
    static const auto original = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    constexpr in_port_t usual = 5672;
    if (address->sa_family != AF_INET || reinterpret_cast<const sockaddr_in*>(address)->sin_port != htons(usual))
    {
        return original(socket, address, size);
    }
    sockaddr_in other = *reinterpret_cast<const sockaddr_in*>(address);
    other.sin_port = htons(PortOfTheBroker());
    return original(socket, reinterpret_cast<const sockaddr*>(&other), sizeof other);
}
