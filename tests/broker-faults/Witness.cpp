#include "Faults.hpp"

#include <stdexcept>

#include "support/BrokerAddress.hpp"
#include "values/Bytes.hpp"
#include "values/RabbitMq.hpp"

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

void RequireReply(const amqp_rpc_reply_t& reply, const char* what)
{
    Require(reply.reply_type == AMQP_RESPONSE_NORMAL, what);
}

} // namespace

struct Witness::State
{
    State() : connection(amqp_new_connection()) {}
    ~State() { amqp_destroy_connection(connection); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    amqp_connection_state_t connection;
};

Witness::Witness() : state(std::make_unique<State>())
{
    amqp_socket_t* const socket = amqp_tcp_socket_new(state->connection);
    const BrokerAddress broker = BrokerOfTheEnvironment();
    Require(amqp_socket_open(socket, broker.host.c_str(), broker.port) == AMQP_STATUS_OK, "connect");
    RequireReply(amqp_login(state->connection, broker.virtualHost.c_str(), 0, Broker::frameMax, 0,
                            AMQP_SASL_METHOD_PLAIN, broker.user.c_str(), broker.password.c_str()),
                 "log in");
    Require(amqp_channel_open(state->connection, channel) != nullptr, "open a channel");
    Require(amqp_confirm_select(state->connection, channel) != nullptr, "ask for confirmations");
}

Witness::~Witness()
{
    amqp_connection_close(state->connection, AMQP_REPLY_SUCCESS);
}

void Witness::Declare(const std::string& queue)
{
    Require(amqp_queue_declare(state->connection, channel, Amqp::ToBytes(queue), /*passive*/ 0, /*durable*/ 1,
                               /*exclusive*/ 0, /*autoDelete*/ 0, amqp_empty_table) != nullptr,
            "declare a queue");
}

void Witness::Delete(const std::string& queue)
{
    Require(amqp_queue_delete(state->connection, channel, Amqp::ToBytes(queue), 0, 0) != nullptr, "delete a queue");
}

void Witness::Fill(const std::string& queue, int first, int last)
{
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.delivery_mode = AMQP_DELIVERY_PERSISTENT;
    for (const std::string& number : Numbers(first, last))
    {
        Require(amqp_basic_publish(state->connection, channel, amqp_empty_bytes, Amqp::ToBytes(queue), 0, 0,
                                   &properties, Amqp::ToBytes(number)) == AMQP_STATUS_OK,
                "publish");
        // One confirmation for one message, since no other awaits any.
        amqp_frame_t frame{};
        const timeval limit{longestWait.count(), 0};
        Require(amqp_simple_wait_frame_noblock(state->connection, &frame, &limit) == AMQP_STATUS_OK &&
                    frame.frame_type == AMQP_FRAME_METHOD && frame.payload.method.id == AMQP_BASIC_ACK_METHOD,
                "get a confirmation");
        amqp_maybe_release_buffers(state->connection);
    }
}

int Witness::Ready(const std::string& queue)
{
    const auto* const declared =
        amqp_queue_declare(state->connection, channel, Amqp::ToBytes(queue), /*passive*/ 1, 0, 0, 0, amqp_empty_table);
    Require(declared != nullptr, "find the queue");
    return static_cast<int>(declared->message_count);
}

std::vector<Taken> Witness::Take(const std::string& queue, int count)
{
    Eventually([&] { return Ready(queue) >= count; });
    std::vector<Taken> taken;
    while (true)
    {
        const amqp_rpc_reply_t reply = amqp_basic_get(state->connection, channel, Amqp::ToBytes(queue), /*noAck*/ 1);
        RequireReply(reply, "get a message");
        if (reply.reply.id == AMQP_BASIC_GET_EMPTY_METHOD)
        {
            return taken;
        }
        const bool redelivered = static_cast<const amqp_basic_get_ok_t*>(reply.reply.decoded)->redelivered != 0;
        amqp_message_t message{};
        RequireReply(amqp_read_message(state->connection, channel, &message, 0), "read a message");
        taken.push_back({std::stoi(std::string(Amqp::ToView(message.body))), redelivered});
        amqp_destroy_message(&message);
        amqp_maybe_release_buffers_on_channel(state->connection, channel);
    }
}
