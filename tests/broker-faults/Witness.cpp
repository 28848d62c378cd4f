#include "Faults.hpp"

#include <stdexcept>

#include "support/BareClient.hpp"
#include "values/Bytes.hpp"

namespace
{

constexpr amqp_channel_t channel = 1;

void Require(bool fine, const char* what)
{
    if (!fine)
    {
        throw std::runtime_error(std::string("the witness could not ") + what);
    }
}

} // namespace

Witness::Witness() : client(std::make_unique<BareClient>(BrokerOfTheEnvironment()))
{
    Require(amqp_confirm_select(client->State(), channel) != nullptr, "ask for confirmations");
}

Witness::~Witness() = default;

void Witness::Declare(const std::string& queue)
{
    Require(amqp_queue_declare(client->State(), channel, Amqp::ToBytes(queue), /*passive*/ 0, /*durable*/ 1,
                               /*exclusive*/ 0, /*autoDelete*/ 0, amqp_empty_table) != nullptr,
            "declare a queue");
}

void Witness::Delete(const std::string& queue)
{
    Require(amqp_queue_delete(client->State(), channel, Amqp::ToBytes(queue), 0, 0) != nullptr, "delete a queue");
}

void Witness::Fill(const std::string& queue, int first, int last)
{
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.delivery_mode = AMQP_DELIVERY_PERSISTENT;
    for (const std::string& number : Numbers(first, last))
    {
        client->Publish("", queue, properties, number);
        // One confirmation for one message, since no other awaits any.
        amqp_frame_t frame{};
        const timeval limit{longestWait.count(), 0};
        Require(amqp_simple_wait_frame_noblock(client->State(), &frame, &limit) == AMQP_STATUS_OK &&
                    frame.frame_type == AMQP_FRAME_METHOD && frame.payload.method.id == AMQP_BASIC_ACK_METHOD,
                "get a confirmation");
        amqp_maybe_release_buffers(client->State());
    }
}

int Witness::Ready(const std::string& queue)
{
    const auto* const declared =
        amqp_queue_declare(client->State(), channel, Amqp::ToBytes(queue), /*passive*/ 1, 0, 0, 0, amqp_empty_table);
    Require(declared != nullptr, "find the queue");
    return static_cast<int>(declared->message_count);
}

std::vector<Taken> Witness::Take(const std::string& queue, int count)
{
    Eventually([&] { return Ready(queue) >= count; });
    std::vector<Taken> taken;
    while (true)
    {
        const amqp_rpc_reply_t reply = amqp_basic_get(client->State(), channel, Amqp::ToBytes(queue), /*noAck*/ 1);
        Require(reply.reply_type == AMQP_RESPONSE_NORMAL, "get a message");
        if (reply.reply.id == AMQP_BASIC_GET_EMPTY_METHOD)
        {
            return taken;
        }
        const bool redelivered = static_cast<const amqp_basic_get_ok_t*>(reply.reply.decoded)->redelivered != 0;
        amqp_message_t message{};
        const amqp_rpc_reply_t read = amqp_read_message(client->State(), channel, &message, 0);
        Require(read.reply_type == AMQP_RESPONSE_NORMAL, "read a message");
        taken.push_back({std::stoi(std::string(Amqp::ToView(message.body))), redelivered});
        amqp_destroy_message(&message);
        amqp_maybe_release_buffers_on_channel(client->State(), channel);
    }
}
