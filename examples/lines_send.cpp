// Sends a file to lines-receive, one message a line, and waits for its reply; then shows what becomes of a message
// that no queue takes.
//
//   lines-send FILE
#include "Connect.hpp"
#include "Progress.hpp"

#include <amqp/Amqp.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>

int main(int argc, char** argv)
try
{
    std::ifstream file(argc == 2 ? argv[1] : "", std::ios::binary);
    if (!file)
    {
        throw std::runtime_error("usage: lines-send FILE, with a file that can be read");
    }
    const std::uint64_t size = std::filesystem::file_size(argv[1]);

    const auto connection = Connect("lines-send");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    // What a producer logs begins with its name; the text of an error does not.
    const auto log = [](std::string_view line)
    {
        if (line.rfind("RabbitMQ Producer: ", 0) != 0)
        {
            throw std::runtime_error(std::string(line));
        }
    };
    Amqp::Producer producer(connection, "demo", log);
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t messages = 0;
    Progress progress(size);
    for (std::string line; std::getline(file, line); ++messages)
    {
        line += file.eof() ? "" : "\n"; // the last line may have none
        producer.Publish(Amqp::Envelope(line, Amqp::MetaData::NonPersistent), "lines");
        progress.Advance(line.size());
    }

    std::string answer;
    const std::string replies = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    const std::string correlation = Amqp::Guid::ToString(Amqp::Guid::New());
    const auto onReply = [&](const Amqp::Envelope& reply)
    {
        answer = reply.CorrelationId() == correlation ? reply.ViewBody(0, reply.Size()) : "not the reply asked for";
        return Amqp::Ack;
    };
    channel->Subscribe(replies, onReply, Amqp::Auto, /*noLocal*/ false, /*exclusive*/ true);

    Amqp::Envelope end;
    end.Type("end");
    end.ReplyTo(replies);
    end.CorrelationId(correlation);
    producer.Publish(end, "lines");
    RunUntil(*connection, [&] { return !answer.empty(); });
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::cout << "sent " << messages << " messages, " << size << " bytes in " << seconds.count() << " s\n"
              << "reply to " << correlation << ": " << answer << '\n';

    bool returned = false;
    const auto onReturn = [&](const Amqp::Envelope& message, const Amqp::AckStatus& status)
    {
        std::cout << "returned: " << message.ViewBody(0, message.Size()) << ", code " << status.replyCode << '\n';
        returned = true;
    };
    channel->Publish("demo", "nobody", "a message for nobody", 0, onReturn);
    RunUntil(*connection, [&] { return returned; });
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "lines-send: " << error.what() << '\n';
    return 1;
}
