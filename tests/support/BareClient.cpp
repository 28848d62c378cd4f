// The benchmarks time these calls, so nothing is done here that such a client needs not do.
#include "BareClient.hpp"

#include "values/Bytes.hpp"

#include <stdexcept>

using Amqp::ToBytes;

namespace
{

[[noreturn]] void Fail(const char* what)
{
    throw std::runtime_error(std::string("rabbitmq-c alone: ") + what + " failed");
}

void CheckReply(const amqp_rpc_reply_t& reply, const char* what)
{
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
    {
        Fail(what);
    }
}

} // namespace

BareClient::BareClient(const BrokerAddress& broker, int frameMax) : state(amqp_new_connection())
{
    amqp_socket_t* const socket = amqp_tcp_socket_new(State());
    if (socket == nullptr || amqp_socket_open(socket, broker.host.c_str(), broker.port) != AMQP_STATUS_OK)
    {
        Fail("connecting");
    }
    CheckReply(amqp_login(State(), broker.virtualHost.c_str(), 0, frameMax, 0, AMQP_SASL_METHOD_PLAIN,
                          broker.user.c_str(), broker.password.c_str()),
               "logging in");
    OpenChannel(1);
}

BareClient::~BareClient()
{
    amqp_connection_close(State(), AMQP_REPLY_SUCCESS);
}

void BareClient::OpenChannel(std::uint16_t channel)
{
    amqp_channel_open(State(), channel);
    Check("opening a channel");
}

void BareClient::CloseChannel(std::uint16_t channel)
{
    CheckReply(amqp_channel_close(State(), channel, AMQP_REPLY_SUCCESS), "closing a channel");
}

void BareClient::Publish(std::string_view exchange, std::string_view routingKey,
                         const amqp_basic_properties_t& properties, std::string_view body, bool mandatory,
                         std::uint16_t channel)
{
    if (amqp_basic_publish(State(), channel, ToBytes(exchange), ToBytes(routingKey), mandatory, 0, &properties,
                           ToBytes(body)) != AMQP_STATUS_OK)
    {
        Fail("publishing");
    }
}

std::string BareClient::DeclareQueue(const amqp_table_t& arguments)
{
    const auto* const declared =
        amqp_queue_declare(State(), 1, amqp_empty_bytes, /*passive*/ 0, /*durable*/ 0, /*exclusive*/ 1,
                           /*autoDelete*/ 1, arguments);
    Check("declaring a queue");
    return std::string(Amqp::ToView(declared->queue));
}

void BareClient::Subscribe(std::string_view queue, bool noAck, std::uint16_t channel, std::string_view consumerTag)
{
    amqp_basic_consume(State(), channel, ToBytes(queue), ToBytes(consumerTag), /*noLocal*/ 0, noAck, /*exclusive*/ 0,
                       amqp_empty_table);
    Check("subscribing");
}

void BareClient::Consume(amqp_envelope_t& delivery)
{
    const timeval wait{longestWait.count(), 0};
    amqp_maybe_release_buffers(State());
    CheckReply(amqp_consume_message(State(), &delivery, &wait, 0), "consuming");
}

void BareClient::ConsumeAll(std::size_t count, bool acknowledge)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        amqp_envelope_t delivery{};
        Consume(delivery);
        if (acknowledge)
        {
            amqp_basic_ack(State(), delivery.channel, delivery.delivery_tag, 0);
        }
        amqp_destroy_envelope(&delivery);
    }
}

void BareClient::Sync()
{
    amqp_exchange_declare(State(), 1, ToBytes("amq.fanout"), ToBytes(""), /*passive*/ 1, 0, 0, 0, amqp_empty_table);
    Check("waiting for the other side");
}

void BareClient::Check(const char* what)
{
    CheckReply(amqp_get_rpc_reply(State()), what);
}
