// Publishing, and what comes back of it.
#include "Operation.hpp"

#include <utility>

namespace Faults
{

using namespace Wire;

namespace
{

std::vector<Piece> Return()
{
    const BasicReturn returned{.exchange = "e", .routingKey = "key"};
    const Properties properties{.contentType = "text/plain", .deliveryMode = std::uint8_t{2}, .messageId = "1"};
    std::vector<Piece> pieces =
        MessagePieces(Encode(returned), properties, "body", 131072, Awaiting::ReturnedContent, Awaiting::ReturnedBody);
    pieces.back().seen = "takes back body 312; run true";
    return pieces;
}

struct ToldWhen
{
    std::size_t closed;
    std::size_t reset;
};

// The broker reads what is published, and the message comes back to the consumer.
Operation Publishing(const std::string& name, std::vector<std::string> bodies, std::size_t partSize,
                     const ToldWhen& told)
{
    Operation step = Consuming(name, Amqp::Auto, Amqp::Ack, PlainDelivery(""));
    std::string whole;
    for (const std::string& body : bodies)
    {
        whole += body;
    }
    step.request = [bodies = std::move(bodies)](Dialogue& peer)
    {
        for (const std::string& body : bodies)
        {
            peer.Expect(1, BasicPublish{.exchange = "e", .routingKey = "key"});
            peer.ReadFrame(); // the header
            for (std::size_t got = 0; got < body.size();)
            {
                got += peer.ReadFrame().payload.size();
            }
        }
    };
    step.publish = [whole, partSize](Client& client) { client.First().Publish("e", "key", whole, partSize, {}); };
    step.act = [publish = step.publish](Client& client)
    {
        client.Call([&] { publish(client); });
        client.RunUntil(1);
    };
    step.begun = "returns";
    step.toldWhenClosed = told.closed;
    step.toldWhenReset = told.reset;
    return step;
}

} // namespace

void AddPublishes(std::vector<Operation>& all)
{
    // The system takes a small message before it knows that nobody will read it, and refuses what comes after.
    all.push_back(Publishing("Publish", {"body"}, 0, {.closed = 0, .reset = 1}));
    all.push_back(Publishing("PublishBig", {std::string(1000000, 'x')}, 0, {.closed = 1, .reset = 1}));
    all.push_back(Publishing("PublishSeries", {"0123", "4567", "89"}, 4, {.closed = 2, .reset = 3}));

    all.back().publish = {}; // the parts after the one that fails are told of, too, however many they are

    Operation callback = Publishing("PublishWithCallback", {}, 0, {.closed = 0, .reset = 1});
    callback.request = [](Dialogue& peer)
    {
        const Properties properties{.contentType = "text/plain", .deliveryMode = std::uint8_t{2}, .messageId = "1"};
        peer.ExpectPublish(1, {.exchange = "e", .routingKey = "key", .mandatory = true}, properties, "body");
    };
    callback.publish = [](Client& client) { client.First().Publish("e", "key", "body", 0, client.Callback()); };
    callback.act = [publish = callback.publish](Client& client)
    {
        client.Call([&] { publish(client); });
        client.RunUntil(1);
    };
    callback.answer = Return();
    all.push_back(callback);
}

} // namespace Faults
