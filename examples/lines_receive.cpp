// Receives the lines that lines-send sends, writes them to a file, and replies when the last one has come.
//
//   lines-receive OUTPUT READY     creates the file READY once it is listening
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <atomic>
#include <fstream>
#include <future>
#include <iostream>

int main(int argc, char** argv)
try
{
    std::ofstream output(argc == 3 ? argv[1] : "", std::ios::binary);
    if (!output)
    {
        throw std::runtime_error("usage: lines-receive OUTPUT READY, with a file OUTPUT that can be written");
    }
    std::atomic<std::uint64_t> messages = 0;
    std::uint64_t bytes = 0;
    auto first = std::chrono::steady_clock::now();
    std::promise<void> finished;
    bool ended = false; // for the listening thread: the promise can be kept only once
    // Handlers run on the consumer's thread, which drives the connection: they may publish on it, too.
    const auto connection = Connect("lines-receive");
    Amqp::Producer replies(connection, "demo", {});
    const auto handler = [&](const Amqp::Envelope& envelope)
    {
        if (!ended && envelope.Type() == "end")
        {
            const std::string text = std::to_string(messages) + " lines";
            Amqp::Envelope reply(text, Amqp::MetaData::NonPersistent);
            reply.CorrelationId(envelope.CorrelationId());
            replies.Reply(reply, envelope.ReplyTo());
            ended = true;
            finished.set_value();
        }
        else if (!ended)
        {
            first = messages == 0 ? std::chrono::steady_clock::now() : first;
            output << envelope.ViewBody(0, envelope.Size());
            bytes += envelope.Size();
            ++messages;
        }
        return Amqp::Ack;
    };
    const auto onException = [&](const std::exception&)
    {
        if (!ended)
        {
            finished.set_exception(std::current_exception());
        }
    };

    Amqp::Consumer consumer(
        connection, "demo", [](std::string_view line) { std::cerr << line << '\n'; }, "demo.", onException);
    consumer.Bind("lines", handler, /*serverNamed*/ false);
    consumer.MainBindingDone();
    std::ofstream(argv[2]).flush();
    auto done = finished.get_future();
    for (std::uint64_t before = 0; done.wait_for(std::chrono::seconds(20)) == std::future_status::timeout;
         before = messages)
    {
        if (messages == before)
        {
            throw std::runtime_error("nothing arrived for 20 seconds");
        }
    }
    done.get(); // throws what ended the listening thread, if anything did
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - first;
    std::cout << "received " << messages << " messages, " << bytes << " bytes in " << seconds.count() << " s\n";
    return output.flush() ? 0 : 1;
}
catch (const std::exception& error)
{
    std::cerr << "lines-receive: " << error.what() << '\n';
    return 1;
}
