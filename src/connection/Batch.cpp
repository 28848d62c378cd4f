// Begins and ends a batch on the channel's connection. Batch.hpp says who owns what, and which thread may call.
#include <amqp/Batch.hpp>

#include "connection/ConnectionImpl.hpp"

namespace Amqp
{

Batch::Batch(Channel& channel) : connection(channel.Hold()), gathers(connection->BeginBatch()) {}

Batch::~Batch()
{
    connection->EndBatch();
}

bool Batch::Gathers() const
{
    return gathers;
}

bool Connection::BeginBatch() const
{
    return impl->BeginBatch();
}

void Connection::EndBatch() const
{
    impl->EndBatch();
}

} // namespace Amqp
