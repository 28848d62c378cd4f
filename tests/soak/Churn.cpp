#include "Churn.hpp"

#include <string>

namespace
{

using namespace std::chrono_literals;

// RabbitMQ allows 2047 channel numbers on a connection, and the library uses each number only once.
constexpr unsigned mostChannels = 2000;
constexpr auto roundPause = 20ms;
constexpr std::uint16_t notFound = 404;

} // namespace

Churn::Churn(Ledger& book, const Names& queues) : ledger(book), names(queues) {}

void Churn::Run(Gate& gate)
{
    while (!gate.Stopping())
    {
        if (gate.RestWanted())
        {
            // rabbitmq-c keeps a block as large as a frame for each channel number, until the connection is destroyed.
            connection.reset();
            gate.Rest();
            continue;
        }
        if (!connection)
        {
            // Use small frames: with large ones the blocks of two thousand channel numbers would take 250 MiB.
            connection = Connect("churn", 100ms, smallestFrame);
            ledger.Count(&Counts::churnedConnections);
        }
        BeRefused();
        OpenAndClose();
        gate.Pause(roundPause);
    }
    connection.reset();
}

std::shared_ptr<Amqp::Channel> Churn::Open(std::function<void(Amqp::ErrorCode&&)> notifier)
{
    auto channel = std::make_shared<Amqp::Channel>(connection, std::move(notifier));
    ledger.Count(&Counts::channels);
    if (channel->Token() >= mostChannels)
    {
        connection.reset(); // the channel still keeps the connection until the channel is destroyed
    }
    return channel;
}

void Churn::BeRefused()
{
    unsigned notes = 0;
    const auto channel = Open(
        [&](Amqp::ErrorCode&& error)
        {
            ++notes;
            if (error.category != Amqp::ErrorCode::ChannelClosed || error.code != notFound)
            {
                ledger.Wrong("a refusal was noted as " + std::to_string(error.code) + " " + error.message);
            }
        });
    channel->DeclareQueue(names.nowhere);
    ledger.Count(&Counts::refusals);
    if (notes != 1)
    {
        ledger.Wrong("a refusal was noted " + std::to_string(notes) + " times");
    }
}

void Churn::OpenAndClose()
{
    if (!connection)
    {
        return;
    }
    const auto channel = Open(Amqp::Channel::OnErrorThrow);
    const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    channel->DestroyQueue(queue, /*ifEmpty*/ true, /*ifUnused*/ true);
}
