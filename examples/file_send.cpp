// Sends a file of any size to file-receive: block by block, each block as a series of messages of at most 1 MiB. At
// most two blocks are on their way, so that neither side needs more memory for a larger file.
//
//   file-send FILE
#include "Connect.hpp"
#include "Digest.hpp"
#include "Progress.hpp"

#include <amqp/Amqp.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

constexpr std::size_t blockSize = std::size_t{32} << 20;
constexpr std::size_t partSize = std::size_t{1} << 20;

int main(int argc, char** argv)
try
{
    if (argc != 2)
    {
        std::cerr << "usage: file-send FILE\n";
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::uint64_t size = std::filesystem::file_size(argv[1]);

    const auto connection = Connect("file-send");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    channel->DeclareQueue("demo.files", /*durable*/ false, /*exclusive*/ false, /*autoDelete*/ true);

    // The receiver confirms each block that it has written with its size.
    Progress progress(size);
    std::uint64_t confirmed = 0;
    const std::string confirmations = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    const auto onConfirmation = [&](const Amqp::Envelope& message)
    {
        const std::uint64_t bytes = std::stoull(std::string(message.ViewBody(0, message.Size())));
        confirmed += bytes;
        progress.Advance(bytes);
        return Amqp::Ack;
    };
    channel->Subscribe(confirmations, onConfirmation, Amqp::Auto, /*noLocal*/ false, /*exclusive*/ true);

    Amqp::Envelope mark;
    mark.Type("begin");
    channel->Publish("", "demo.files", mark, partSize, {});
    std::uint64_t sent = 0;
    std::vector<char> buffer(blockSize);
    while (file.read(buffer.data(), blockSize) || file.gcount() > 0)
    {
        const auto bytes = static_cast<std::uint64_t>(file.gcount());
        Amqp::Envelope block(bytes, buffer.data(), Amqp::MetaData::NonPersistent);
        block.MessageId(Digest(block.ViewBody(0, bytes)));
        block.ReplyTo(confirmations);
        channel->Publish("", "demo.files", block, partSize, {});
        sent += bytes;
        RunUntil(*connection, [&] { return sent - confirmed <= blockSize; });
    }

    mark.Type("end");
    channel->Publish("", "demo.files", mark, partSize, {});
    RunUntil(*connection, [&] { return confirmed == sent; });
    std::cout << "sent " << sent << " bytes\n";
    return sent == size ? 0 : 1;
}
catch (const std::exception& error)
{
    std::cerr << "file-send: " << error.what() << '\n';
    return 1;
}
