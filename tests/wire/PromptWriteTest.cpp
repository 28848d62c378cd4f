// The peer receives at once what is published: small and large messages, series, and batches when they end.
#include "Prompt.hpp"

namespace
{

constexpr std::size_t smallestFrame = 4096;

void ExpectBody(Dialogue& peer, const std::string& body)
{
    peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), body);
}

void ExpectPromptBody(const std::string& body, std::size_t frameMax = 131072)
{
    ExpectPromptWrites([&](Amqp::Channel& channel) { channel.Publish("", "q", body, 0, {}); },
                       [&](Dialogue& peer) { ExpectBody(peer, body); }, frameMax);
}

} // namespace

TEST(PromptWrite, OfAMessageWithoutABody)
{
    ExpectPromptBody("");
}

TEST(PromptWrite, OfASmallMessage)
{
    ExpectPromptBody("small");
    ExpectPromptBody(std::string(1000, 's'));
}

TEST(PromptWrite, OfAMessageInOneFrame)
{
    ExpectPromptBody(std::string(20'000, 'm'));
}

TEST(PromptWrite, OfAMessageInSeveralFrames)
{
    ExpectPromptBody(std::string(2 * smallestFrame, 'l'), smallestFrame);
    ExpectPromptBody(std::string(5 * smallestFrame, 'l'), smallestFrame);
}

TEST(PromptWrite, OfAMessageThatFillsItsLastFrame)
{
    ExpectPromptBody(std::string(smallestFrame - 8, 'f'), smallestFrame);
    ExpectPromptBody(std::string(2 * (smallestFrame - 8), 'f'), smallestFrame);
}

TEST(PromptWrite, OfABatchThatEnds)
{
    ExpectPromptWrites(
        [](Amqp::Channel& channel)
        {
            const Amqp::Batch batch(channel);
            for (const char* const body : {"one", "two", "three"})
            {
                channel.Publish("", "q", body, 0, {});
            }
        },
        [](Dialogue& peer)
        {
            for (const char* const body : {"one", "two", "three"})
            {
                ExpectBody(peer, body);
            }
        });
}

TEST(PromptWrite, OfABatchThatEndsWithALargeMessage)
{
    const std::string large(3 * smallestFrame, 'l');
    ExpectPromptWrites(
        [&](Amqp::Channel& channel)
        {
            const Amqp::Batch batch(channel);
            channel.Publish("", "q", "small", 0, {});
            channel.Publish("", "q", large, 0, {});
        },
        [&](Dialogue& peer)
        {
            ExpectBody(peer, "small");
            ExpectBody(peer, large);
        },
        smallestFrame);
}

TEST(PromptWrite, OfASeriesOfSmallParts)
{
    ExpectPromptWrites([](Amqp::Channel& channel) { channel.Publish("", "q", "0123456789", 4, {}); },
                       [](Dialogue& peer)
                       {
                           for (int part = 0; part < 3; ++part)
                           {
                               peer.Expect(1, BasicPublish{.routingKey = "q"});
                               peer.ReadFrame(); // the header
                               peer.ReadFrame(); // the body
                           }
                       });
}
