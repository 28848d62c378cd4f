#include "Bare.hpp"

#include "Messages.hpp"

#include <stdexcept>

namespace Bench
{

namespace
{

[[noreturn]] void Fail(const char* what)
{
    throw std::runtime_error(std::string("rabbitmq-c alone: ") + what + " failed");
}

void Check(const amqp_rpc_reply_t& reply, const char* what)
{
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
    {
        Fail(what);
    }
}

} // namespace

Bare::Bare(const Site& site, int frameMax) : state(amqp_new_connection())
{
    amqp_socket_t* const socket = amqp_tcp_socket_new(state);
    if (socket == nullptr || amqp_socket_open(socket, site.address.host.c_str(), site.address.port) != AMQP_STATUS_OK)
    {
        amqp_destroy_connection(state);
        Fail("connecting");
    }
    const amqp_rpc_reply_t reply =
        amqp_login(state, site.address.virtualHost.c_str(), 0, frameMax, 0, AMQP_SASL_METHOD_PLAIN,
                   site.address.user.c_str(), site.address.password.c_str());
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
    {
        amqp_destroy_connection(state);
        Fail("logging in");
    }
    OpenChannel(1);
}

Bare::~Bare()
{
    amqp_connection_close(state, AMQP_REPLY_SUCCESS);
    amqp_destroy_connection(state);
}

void Bare::OpenChannel(std::uint16_t channel)
{
    amqp_channel_open(state, channel);
    Check("opening a channel");
}

void Bare::Publish(std::string_view exchange, std::string_view routingKey, const amqp_basic_properties_t& properties,
                   std::string_view body, bool mandatory, std::uint16_t channel)
{
    if (amqp_basic_publish(state, channel, Bytes(exchange), Bytes(routingKey), mandatory, 0, &properties,
                           Bytes(body)) != AMQP_STATUS_OK)
    {
        Fail("publishing");
    }
}

void Bare::Publish(std::string_view exchange, std::string_view routingKey, const RawMessage& message)
{
    Publish(exchange, routingKey, message.properties, message.body);
}

std::string Bare::DeclareQueue(const amqp_table_t& arguments)
{
    const auto* const declared = amqp_queue_declare(state, 1, amqp_empty_bytes, 0, 0, 1, 1, arguments);
    Check("declaring a queue");
    return {static_cast<const char*>(declared->queue.bytes), declared->queue.len};
}

void Bare::Subscribe(std::string_view queue, bool noAck, std::uint16_t channel)
{
    amqp_basic_consume(state, channel, Bytes(queue), amqp_empty_bytes, 0, noAck, 0, amqp_empty_table);
    Check("subscribing");
}

void Bare::Consume(amqp_envelope_t& delivery)
{
    const timeval wait{longestWait.count(), 0};
    amqp_maybe_release_buffers(state);
    Bench::Check(amqp_consume_message(state, &delivery, &wait, 0), "consuming");
}

void Bare::ConsumeAll(std::size_t count, bool acknowledge)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        amqp_envelope_t delivery{};
        Consume(delivery);
        if (acknowledge)
        {
            amqp_basic_ack(state, delivery.channel, delivery.delivery_tag, 0);
        }
        amqp_destroy_envelope(&delivery);
    }
}

void Bare::Sync()
{
    amqp_exchange_declare(state, 1, Bytes("amq.fanout"), Bytes(""), 1, 0, 0, 0, amqp_empty_table);
    Check("waiting for the other side");
}

void Bare::Check(const char* what)
{
    Bench::Check(amqp_get_rpc_reply(state), what);
}

} // namespace Bench
