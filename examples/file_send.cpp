// Sends a file of any size to file-receive: block by block, each block as a series of messages of at most 1 MiB. At
// most two blocks are on their way, so that neither side needs more memory for a larger file.
//
//   file-send FILE
#include "Connect.hpp"
#include "Digest.hpp"
#include "Progress.hpp"

#include <amqp/Amqp.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

constexpr std::size_t blockSize = std::size_t{8} << 20;
constexpr std::size_t partSize = std::size_t{1} << 20;

int main(int argc, char** argv)
try
{
    std::ifstream file(argc == 2 ? argv[1] : "", std::ios::binary);
    if (!file)
    {
        throw std::runtime_error("usage: file-send FILE, with a file that can be read");
    }
    const std::uint64_t size = std::filesystem::file_size(argv[1]);
    const auto connection = Connect("file-send");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    // The receiver confirms the announcement, then each block that it has written, with the number of bytes.
    Progress progress(size);
    std::uint64_t confirmed = 0;
    bool accepted = false;
    const std::string confirmations = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    const auto onConfirmation = [&](const Amqp::Envelope& reply)
    {
        const std::uint64_t bytes = std::stoull(std::string(reply.ViewBody(0, reply.Size())));
        accepted = true;
        confirmed += bytes;
        progress.Advance(bytes);
        return Amqp::Ack;
    };
    channel->Subscribe(confirmations, onConfirmation, Amqp::Auto, /*noLocal*/ false, /*exclusive*/ true);

    // The announcement comes back when there is no queue for it.
    const auto onReturn = [](const Amqp::Envelope&, const Amqp::AckStatus&)
    { throw std::runtime_error("no receiver is listening"); };
    const std::string announcement = std::to_string(size);
    Amqp::Envelope message(announcement, Amqp::MetaData::NonPersistent);
    message.Type("begin");
    message.CorrelationId(Amqp::Guid::ToString(Amqp::Guid::New()));
    message.ReplyTo(confirmations);
    channel->Publish("", "files", message, 0, onReturn);
    RunUntil(*connection, [&] { return accepted; });
    message.Type("block");
    std::vector<char> buffer(blockSize);
    for (std::uint64_t sent = 0; sent < size;)
    {
        const std::uint64_t bytes = std::min<std::uint64_t>(blockSize, size - sent);
        if (!file.read(buffer.data(), static_cast<std::streamsize>(bytes)))
        {
            throw std::runtime_error("the file cannot be read");
        }
        message.SetBody(buffer.data(), bytes);
        message.MessageId(Digest(message.ViewBody(0, bytes)));
        channel->Publish("", "files", message, partSize, {});
        sent += bytes;
        RunUntil(*connection, [&] { return sent - confirmed <= blockSize; });
    }
    RunUntil(*connection, [&] { return confirmed == size; });
    std::cout << "sent " << size << " bytes\n";
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "file-send: " << error.what() << '\n';
    return 1;
}
