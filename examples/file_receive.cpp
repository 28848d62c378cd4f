// Receives a file from file-send: each block arrives whole, whatever number of messages it travelled as. Checks each
// block's digest before it writes and confirms it.
//
//   file-receive OUTPUT [READY]     creates the file READY once it is listening
#include "Connect.hpp"
#include "Digest.hpp"

#include <amqp/Amqp.hpp>

#include <fstream>
#include <iostream>

int main(int argc, char** argv)
try
{
    if (argc < 2)
    {
        throw std::runtime_error("usage: file-receive OUTPUT [READY]");
    }
    const auto connection = Connect("file-receive");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    std::ofstream output;
    std::string transfer; // what the sender calls it
    std::uint64_t size = 0;
    std::uint64_t received = 0;
    std::chrono::steady_clock::time_point start;
    const auto onMessage = [&](const Amqp::Envelope& message)
    {
        const std::string_view bytes = message.ViewBody(0, message.Size());
        if (transfer.empty() && message.Type() == "begin")
        {
            transfer = message.CorrelationId();
            size = std::stoull(std::string(bytes));
            start = std::chrono::steady_clock::now();
            channel->Publish("", message.ReplyTo(), "0", 0, {});
            return Amqp::Ack;
        }
        if (message.CorrelationId() != transfer)
        {
            return Amqp::Nack; // another sender, which will not hear from here
        }
        if (Digest(bytes) != message.MessageId())
        {
            throw std::runtime_error("a block arrived damaged");
        }
        if (!output.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush())
        {
            throw std::runtime_error("the file cannot be written");
        }
        received += bytes.size();
        channel->Publish("", message.ReplyTo(), std::to_string(bytes.size()), 0, {});
        return Amqp::Ack;
    };
    // The queue is this receiver's alone, and goes with it: a second receiver is refused.
    channel->DeclareQueue("files", /*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    channel->Subscribe("files", onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ true);
    output.open(argv[1], std::ios::binary);
    if (!output || !std::ofstream(argc > 2 ? argv[2] : "/dev/null"))
    {
        throw std::runtime_error("the file cannot be written");
    }

    RunUntil(
        *connection, [&] { return !transfer.empty(); }, std::chrono::hours(24));
    while (received < size)
    {
        RunUntil(*connection, [&, before = received] { return received > before; });
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::cout << "received " << received << " bytes in " << seconds.count() << " s, "
              << static_cast<double>(received) / 1e6 / seconds.count() << " MB/s, every digest right\n";
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "file-receive: " << error.what() << '\n';
    return 1;
}
