// Publishing one message: the method's fields, the body in frames, and the numbers of messages with a callback.
#include "Messaging.hpp"

namespace
{

constexpr Amqp::MetaData::DeliveryType persistent = Amqp::MetaData::Persistent;

} // namespace

TEST(Publish, SendsExchangeRoutingKeyAndBodyWithNothingElseSet)
{
    ScriptedBroker broker(
        OnChannel([](Dialogue& peer)
                  { peer.ExpectPublish(1, {.exchange = "x", .routingKey = "a.b"}, PlainProperties(), "body"); }));
    const Client client(broker);

    client.channel->Publish("x", "a.b", "body", 0, {});
}

TEST(Publish, NeedsNoTerminatingZeroInExchangeAndRoutingKey)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer) { peer.ExpectPublish(1, {.exchange = "ex", .routingKey = "k"}, PlainProperties(), "b"); }));
    const Client client(broker);
    const std::string_view text = "exkbz";

    client.channel->Publish(text.substr(0, 2), text.substr(2, 1), text.substr(3, 1), 0, {});
}

TEST(Publish, SendsExchangeAndRoutingKeyOfTheLongestLength)
{
    const std::string longest(255, 'n');
    ScriptedBroker broker(
        OnChannel([=](Dialogue& peer)
                  { peer.ExpectPublish(1, {.exchange = longest, .routingKey = longest}, PlainProperties(), "b"); }));
    const Client client(broker);

    client.channel->Publish(longest, longest, "b", 0, {});
}

TEST(Publish, SetsMandatoryExactlyWhenThereIsACallback)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = false}, PlainProperties(), "without");
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "with");
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = false}, PlainProperties(), "without");
        }));
    const Client client(broker);

    client.channel->Publish("", "q", "without", 0, {});
    client.channel->Publish("", "q", "with", 0, Unexpected());
    client.channel->Publish("", "q", "without", 0, Amqp::PublishCallback());
}

TEST(Publish, NumbersTheMessagesWithACallbackFromOneAcrossAllChannels)
{
    ScriptedBroker broker(OnTwoChannels(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "first");
            peer.ExpectPublish(2, {.routingKey = "q", .mandatory = true}, PlainProperties("2"), "second");
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("3"), "third");
        }));
    Client client(broker);
    const auto other = client.NewChannel();

    client.channel->Publish("", "q", "first", 0, Unexpected());
    other->Publish("", "q", "second", 0, Unexpected());
    client.channel->Publish("", "q", "third", 0, Unexpected());
}

TEST(Publish, DoesNotMoveTheCounterWithAnEmptyCallback)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "counted");
            for (int i = 0; i < 3; ++i)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "not counted");
            }
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("2"), "counted");
        }));
    const Client client(broker);

    client.channel->Publish("", "q", "counted", 0, Unexpected());
    for (int i = 0; i < 3; ++i)
    {
        client.channel->Publish("", "q", "not counted", 0, {});
    }
    client.channel->Publish("", "q", "counted", 0, Unexpected());
}

TEST(Publish, StartsCountingAnewOnEachConnection)
{
    const auto script = OnChannel(
        [](Dialogue& peer)
        { peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "first of its own"); });
    ScriptedBroker broker({script, script});

    for (int i = 0; i < 2; ++i)
    {
        Client(broker).channel->Publish("", "q", "first of its own", 0, Unexpected());
    }
}

TEST(Publish, ReplacesTheMessageIdOnlyWithACallbackAndNeverInTheEnvelope)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties("mine"), "b");
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "b");
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties("mine"), "b");
        }));
    const Client client(broker);
    Amqp::Envelope envelope("b", persistent);
    envelope.MessageId("mine");

    client.channel->Publish("", "q", envelope, 0, {});
    client.channel->Publish("", "q", envelope, 0, Unexpected());
    EXPECT_EQ(envelope.MessageId(), "mine");
    client.channel->Publish("", "q", envelope, 0, {});
}

TEST(Publish, LeavesTheFlagsOfAnEnvelopeWithoutAMessageIdAlone)
{
    ScriptedBroker broker(
        OnChannel([](Dialogue& peer)
                  { peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "b"); }));
    const Client client(broker);
    const Amqp::Envelope envelope("b", persistent);

    client.channel->Publish("", "q", envelope, 0, Unexpected());

    EXPECT_EQ(envelope.Flags(), 0x9000U);
    EXPECT_EQ(envelope.MessageId(), "");
}

TEST(Publish, ReplacesEvenAMessageIdThatIsTooLongToSend)
{
    ScriptedBroker broker(
        OnChannel([](Dialogue& peer)
                  { peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "b"); }));
    const Client client(broker);
    Amqp::Envelope envelope("b", persistent);
    envelope.MessageId(std::string(256, 'm'));

    client.channel->Publish("", "q", envelope, 0, Unexpected());

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Publish, SendsAnEmptyBodyWithoutABodyFrame)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "");
            peer.ExpectPublish(1, {.routingKey = "q"}, {}, "");
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "");
        }));
    const Client client(broker);

    client.channel->Publish("", "q", "", 0, {});
    client.channel->Publish("", "q", Amqp::Envelope(), 0, {});
    client.channel->Publish("", "q", "", 1, {});
}

TEST(Publish, SendsZerosAndEveryOtherOctetInTheBody)
{
    std::string body("\0a\0\0", 4);
    for (int octet = 0; octet < 256; ++octet)
    {
        body += static_cast<char>(octet);
    }
    ScriptedBroker broker(
        OnChannel([=](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), body); }));
    const Client client(broker);

    client.channel->Publish("", "q", body, 0, {});
}

TEST(Publish, SplitsTheBodyIntoFramesOfFrameMaxLessEight)
{
    constexpr std::size_t room = 4096 - 8;
    const std::vector<std::size_t> sizes{room - 1, room, room + 1, 2 * room - 1, 2 * room, 2 * room + 1, 3 * room};
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            ASSERT_EQ(peer.FrameMax(), 4096U);
            for (const std::size_t size : sizes)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), std::string(size, 'b'));
            }
        }));
    const Client client(broker, 4096);

    for (const std::size_t size : sizes)
    {
        client.channel->Publish("", "q", std::string(size, 'b'), 0, {});
    }
}

TEST(Publish, SendsAnEmptyBodyForNothingOfWhateverSize)
{
    ScriptedBroker broker(
        OnChannel([](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), ""); }));
    const Client client(broker);
    Amqp::Envelope envelope("", Amqp::MetaData::Persistent);
    envelope.SetBody(nullptr, 10);

    client.channel->Publish("", "q", envelope, 0, {});
}
