// Frames of messages on several channels alternate, as AMQP allows, with calls and their replies in between.
#include <algorithm>
#include <array>

#include "Messaging.hpp"

namespace
{

constexpr std::uint16_t messageChannels = 3;
constexpr std::uint16_t callChannel = 4;
constexpr std::uint32_t littleFrames = 4096;
constexpr auto interleavedDeadline = 3s;

std::string BodyOn(std::uint16_t channel)
{
    std::string body;
    for (char frame = 'a'; frame <= 'c'; ++frame)
    {
        body += std::string(littleFrames - 8, frame);
    }
    return body + std::to_string(channel);
}

// Sends one frame of each channel's message in each round, on the channels in a different order each time.
class FrameByFrame
{
public:
    explicit FrameByFrame(Dialogue& dialogue) : peer(dialogue)
    {
        for (std::uint16_t channel = 1; channel <= messageChannels; ++channel)
        {
            const std::string tag = std::to_string(channel) + "/1";
            std::vector<Frame>& of = frames[channel - 1U];
            of = ContentFrames(channel, PlainProperties(tag), BodyOn(channel), littleFrames);
            of.insert(of.begin(), {.channel = channel, .payload = Encode(BasicDeliver{.consumerTag = tag})});
        }
    }

    void SendRounds(std::size_t rounds)
    {
        for (const std::size_t end = round + rounds; round < end; ++round)
        {
            for (std::size_t i = 0; i < messageChannels; ++i)
            {
                peer.SendBytes(FrameBytes(frames.at((i + round) % messageChannels).at(round)));
            }
        }
    }

    void SendRest() { SendRounds(frames.front().size() - round); }

private:
    Dialogue& peer;
    std::array<std::vector<Frame>, messageChannels> frames;
    std::size_t round = 0;
};

// Opens the channels, plays the middle of the script, and expects the client to close the channels in order.
ScriptedBroker::Script OnFourChannels(std::function<void(Dialogue&, FrameByFrame&)> middle)
{
    return [middle = std::move(middle)](Dialogue& peer)
    {
        peer.Login();
        for (std::uint16_t channel = 1; channel <= callChannel; ++channel)
        {
            peer.OpenChannel(channel);
            if (channel != callChannel)
            {
                AcceptConsumer(peer, channel, /*noAck*/ true);
            }
        }
        FrameByFrame frames(peer);
        middle(peer, frames);
        for (std::uint16_t channel = 1; channel <= callChannel; ++channel)
        {
            peer.CloseChannel(channel);
        }
        peer.CloseConnection();
    };
}

// A client with a consumer on each channel except the last, on which the client makes its calls.
class InterleavedClient
{
public:
    explicit InterleavedClient(const ScriptedBroker& broker) : connection(Connect(broker, {}, 5s, littleFrames))
    {
        for (std::uint16_t channel = 1; channel <= callChannel; ++channel)
        {
            channels.push_back(OpenChannel(connection));
            if (channel != callChannel)
            {
                channels.back()->Subscribe(
                    "q",
                    [this](const Amqp::Envelope& envelope)
                    {
                        inbox.Note(envelope);
                        if (callInHandler)
                        {
                            Call();
                        }
                        return Amqp::Ack;
                    },
                    Amqp::Auto, false, false);
            }
        }
    }
    ~InterleavedClient()
    {
        for (auto& channel : channels)
        {
            channel.reset(); // in the order of their numbers
        }
    }
    InterleavedClient(const InterleavedClient&) = delete;
    InterleavedClient& operator=(const InterleavedClient&) = delete;

    void Call() const { channels.back()->PurgeQueue("q"); }
    void CallInHandlers() { callInHandler = true; }

    // Runs a step for each message, and compares the messages with what was sent.
    void ExpectEachMessageWhole()
    {
        for (int step = 0; step < messageChannels; ++step)
        {
            ASSERT_EQ(connection->Run(), true);
        }
        ASSERT_EQ(inbox.bodies.size(), messageChannels);
        for (std::size_t i = 0; i < messageChannels; ++i)
        {
            const auto channel = static_cast<std::uint16_t>(inbox.bodies[i].back() - '0');
            EXPECT_TRUE(inbox.bodies[i] == BodyOn(channel)) << inbox.bodies[i].size() << " octets";
            EXPECT_EQ(inbox.envelopes[i].MessageId(), std::to_string(channel) + "/1");
        }
        std::sort(inbox.bodies.begin(), inbox.bodies.end());
        EXPECT_EQ(std::unique(inbox.bodies.begin(), inbox.bodies.end()), inbox.bodies.end());
    }

private:
    std::shared_ptr<Amqp::Connection> connection;
    std::vector<std::shared_ptr<Amqp::Channel>> channels;
    Inbox inbox;
    bool callInHandler = false;
};

void ExpectCall(Dialogue& peer)
{
    peer.Expect(callChannel, QueuePurge{.queue = "q"});
}

} // namespace

TEST(InterleavedMessages, AllArriveWhole)
{
    ScriptedBroker broker(OnFourChannels([](Dialogue&, FrameByFrame& frames) { frames.SendRest(); }));
    broker.Deadline(interleavedDeadline);
    InterleavedClient client(broker);

    client.ExpectEachMessageWhole();
}

TEST(InterleavedMessages, AllArriveWholeWithACallInTheMiddleOfThem)
{
    for (const std::size_t before : {1U, 2U, 3U, 4U})
    {
        SCOPED_TRACE(before);
        ScriptedBroker broker(OnFourChannels(
            [=](Dialogue& peer, FrameByFrame& frames)
            {
                ExpectCall(peer);
                frames.SendRounds(before);
                peer.Send(callChannel, QueuePurgeOk{});
                ExpectCall(peer);
                frames.SendRounds(1);
                peer.Send(callChannel, QueuePurgeOk{});
                frames.SendRest();
            }));
        broker.Deadline(interleavedDeadline);
        InterleavedClient client(broker);

        client.Call();
        client.Call();
        client.ExpectEachMessageWhole();
    }
}

TEST(InterleavedMessages, AllArriveWholeWithCallsInTheirHandlers)
{
    ScriptedBroker broker(OnFourChannels(
        [](Dialogue& peer, FrameByFrame& frames)
        {
            ExpectCall(peer);
            frames.SendRounds(2);
            peer.Send(callChannel, QueuePurgeOk{});
            frames.SendRest();
            for (int call = 0; call < messageChannels; ++call)
            {
                ExpectCall(peer);
                peer.Send(callChannel, QueuePurgeOk{});
            }
        }));
    broker.Deadline(interleavedDeadline);
    InterleavedClient client(broker);

    client.Call();
    client.CallInHandlers();
    client.ExpectEachMessageWhole();
}
