// Sends several requests to rpc-server at once and matches the answers, which come in any order, by correlation id.
//
//   rpc-client QUEUE NUMBER...
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>
#include <map>

int main(int argc, char** argv)
try
{
    if (argc < 3)
    {
        throw std::runtime_error("usage: rpc-client QUEUE NUMBER...");
    }
    const auto connection = Connect("rpc-client");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    // The questions that are still open, by correlation id. A Producer has such a table, too (AddRequest), which keeps
    // envelopes by number; a map of one's own keeps whatever one needs when the answer comes.
    std::map<std::string, std::string, std::less<>> open;
    const auto onAnswer = [&](const Amqp::Envelope& answer)
    {
        const auto asked = open.find(answer.CorrelationId());
        if (asked == open.end())
        {
            return Amqp::Ack; // to nothing that was asked, or for the second time
        }
        std::cout << asked->second << " -> " << answer.ViewBody(0, answer.Size()) << std::endl;
        open.erase(asked);
        if (open.empty())
        {
            channel->Unsubscribe("answers");
        }
        return Amqp::Ack;
    };
    // One queue for all answers, to be there before the first question. SubscribeRpc is Subscribe with a consumer tag
    // of one's own choice: the handler can name it. Auto, since answers to a client that has gone are worth nothing.
    const std::string answers = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    channel->SubscribeRpc("answers", answers, onAnswer, Amqp::Auto, /*noLocal*/ false, /*exclusive*/ true);

    // A question that no server's queue takes comes back at once. One that a server takes and never answers is found
    // out by the time limit only.
    const auto onReturn = [](const Amqp::Envelope&, const Amqp::AckStatus&)
    { throw std::runtime_error("there is no server"); };
    for (int i = 2; i < argc; ++i)
    {
        const std::string id = Amqp::Guid::ToString(Amqp::Guid::New());
        Amqp::Envelope question(std::string_view(argv[i]), Amqp::MetaData::NonPersistent);
        question.CorrelationId(id);
        question.ReplyTo(answers);
        question.Expiration("5000"); // milliseconds: no server shall answer what nobody waits for any more
        open[id] = argv[i];
        channel->Publish("", argv[1], question, 0, onReturn);
    }
    RunUntil(
        *connection, [&] { return open.empty(); }, std::chrono::seconds(5));
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "rpc-client: " << error.what() << '\n';
    return 1;
}
