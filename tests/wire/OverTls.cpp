#include "OverTls.hpp"

#include "values/RabbitMq.hpp"

#include <dlfcn.h>

namespace OverTls
{

bool noSocket = false;

} // namespace OverTls

// Makes the real socket, but turns off the check of the certificate.
amqp_socket_t* AMQP_CALL amqp_ssl_socket_new(amqp_connection_state_t state)
{
    if (OverTls::noSocket)
    {
        return nullptr;
    }
    using Function = decltype(amqp_ssl_socket_new)*;
    amqp_socket_t* const socket = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "amqp_ssl_socket_new"))(state);
    if (socket != nullptr)
    {
        amqp_ssl_socket_set_verify_peer(socket, 0);
        amqp_ssl_socket_set_verify_hostname(socket, 0);
    }
    return socket;
}
