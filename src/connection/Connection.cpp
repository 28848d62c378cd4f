// Forwards each operation to ConnectionImpl, which the connection owns. Connection.hpp says which thread may call.
#include <amqp/Connection.hpp>

#include "connection/ConnectionImpl.hpp"

namespace Amqp
{

namespace
{

// Returns the zero-terminated string behind a view, or the empty string for a null view.
const char* Text(std::string_view view)
{
    return view.data() == nullptr ? "" : view.data();
}

} // namespace

Connection::Connection(std::string_view host, unsigned short port, std::string_view user, std::string_view password,
                       std::string_view virtualHost, const Table& properties, std::chrono::microseconds timeout,
                       std::chrono::seconds heartbeat, int frameMax)
    : impl(std::make_unique<ConnectionImpl>(properties, timeout))
{
    impl->OpenTcp(Text(host), port);
    impl->LogIn({Text(virtualHost), heartbeat, frameMax, AMQP_SASL_METHOD_PLAIN, Text(user), Text(password)});
}

Connection::Connection(std::string_view host, unsigned short port, std::string_view identity,
                       std::string_view virtualHost, const Table& properties, std::chrono::microseconds timeout,
                       std::chrono::seconds heartbeat, int frameMax)
    : impl(std::make_unique<ConnectionImpl>(properties, timeout))
{
    impl->OpenTls(Text(host), port);
    impl->LogIn({Text(virtualHost), heartbeat, frameMax, AMQP_SASL_METHOD_EXTERNAL, Text(identity), nullptr});
}

Connection::~Connection() = default;

const Table& Connection::Tags() const
{
    return impl->Tags();
}

std::optional<bool> Connection::Run() const
{
    return impl->Run();
}

std::optional<bool> Connection::Run(std::chrono::microseconds timeout) const
{
    return impl->Run(ToTimeval(timeout));
}

void Connection::Stop() const
{
    impl->Stop();
}

} // namespace Amqp
