// Receives what file-send sends: each block arrives whole, whatever number of messages it travelled as. Checks each
// block's digest before it writes and confirms it.
//
//   file-receive OUTPUT READY     creates the file READY once it is listening
#include "Connect.hpp"
#include "Digest.hpp"

#include <amqp/Amqp.hpp>

#include <fstream>
#include <iostream>

int main(int argc, char** argv)
try
{
    if (argc != 3)
    {
        std::cerr << "usage: file-receive OUTPUT READY\n";
        return 2;
    }
    std::ofstream output(argv[1], std::ios::binary);
    std::chrono::steady_clock::time_point start;
    std::chrono::steady_clock::time_point end;
    std::uint64_t received = 0;
    bool ended = false;

    const auto connection = Connect("file-receive");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    const auto onBlock = [&](const Amqp::Envelope& block)
    {
        if (!block.Type().empty())
        {
            (block.Type() == "begin" ? start : end) = std::chrono::steady_clock::now();
            ended = block.Type() == "end";
            return Amqp::Ack;
        }
        const std::string_view bytes = block.ViewBody(0, block.Size());
        if (Digest(bytes) != block.MessageId())
        {
            throw std::runtime_error("a block arrived damaged");
        }
        if (!output.write(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        {
            throw std::runtime_error("the file cannot be written");
        }
        received += bytes.size();
        channel->Publish("", block.ReplyTo(), std::to_string(bytes.size()), 0, {});
        return Amqp::Ack;
    };
    channel->DeclareQueue("demo.files", /*durable*/ false, /*exclusive*/ false, /*autoDelete*/ true);
    channel->Subscribe("demo.files", onBlock, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ true);
    std::ofstream(argv[2]).flush();

    while (!ended)
    {
        const std::uint64_t before = received;
        RunUntil(*connection, [&] { return received > before || ended; });
    }
    const std::chrono::duration<double> seconds = end - start;
    std::cout << "received " << received << " bytes in " << seconds.count() << " s, "
              << static_cast<double>(received) / 1e6 / seconds.count() << " MB/s, every digest right\n";
    return output.flush() ? 0 : 1;
}
catch (const std::exception& error)
{
    std::cerr << "file-receive: " << error.what() << '\n';
    return 1;
}
