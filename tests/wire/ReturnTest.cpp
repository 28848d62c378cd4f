// Messages that come back as unroutable: which callback is called, with what, and how often.
#include "Messaging.hpp"

#include <stdexcept>
#include <system_error>
#include <typeinfo>

#include "values/RabbitMq.hpp"

namespace
{

using Returned = Outbox::Returned;

void ExpectNumbered(Dialogue& peer, std::uint16_t channel, const std::string& number, const std::string& body)
{
    peer.ExpectPublish(channel, {.exchange = "x", .routingKey = "k", .mandatory = true}, PlainProperties(number), body);
}

// Publishes "body" with a callback, gets it back, and runs one step, which the goodbye follows.
struct OneReturn
{
    explicit OneReturn(ScriptedBroker::Script comesBack)
        : broker(OnChannel(
              [comesBack = std::move(comesBack)](Dialogue& peer)
              {
                  ExpectNumbered(peer, 1, "1", "body");
                  comesBack(peer);
              })),
          client(broker)
    {
    }

    void Publish(Amqp::PublishCallback callback) const
    {
        client.channel->Publish("x", "k", "body", 0, std::move(callback));
    }

    ScriptedBroker broker;
    Client client;
};

} // namespace

TEST(Return, CallsTheCallbackOnceWithBodyExchangeRoutingKeyAndCodeOfTheBroker)
{
    const OneReturn session(
        [](Dialogue& peer)
        {
            peer.Return(1, {.replyCode = 313, .replyText = "NO_CONSUMERS", .exchange = "bx", .routingKey = "bk"},
                        PlainProperties("1"), std::string("returned\0body", 13));
        });
    Outbox outbox;

    session.Publish(outbox.Callback());
    EXPECT_EQ(session.client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Returned{std::string("returned\0body", 13), "bx", "bk", 313}));
}

TEST(Return, GivesTheCallbackThePropertiesOfTheReturnedMessage)
{
    const OneReturn session(
        [](Dialogue& peer)
        {
            peer.Return(1, {},
                        {.contentType = "t/s",
                         .headers = Fields{{"key", Int32(7)}},
                         .deliveryMode = std::uint8_t{1},
                         .messageId = "1"},
                        "");
        });
    Inbox inbox;

    session.Publish([&](const Amqp::Envelope& envelope, const Amqp::AckStatus&) { inbox.Note(envelope); });
    EXPECT_EQ(session.client.connection->Run(), true);

    ASSERT_EQ(inbox.envelopes.size(), 1U);
    const Amqp::Envelope& envelope = inbox.envelopes.front();
    EXPECT_EQ(envelope.Flags(), 0xB080U);
    EXPECT_EQ(envelope.ContentType(), "t/s");
    EXPECT_EQ(envelope.MessageId(), "1");
    EXPECT_EQ(envelope.DeliveryMode(), Amqp::MetaData::NonPersistent);
    EXPECT_EQ(std::get<std::int32_t>(envelope.Headers().Entries().at("key")), 7);
}

TEST(Return, IsPersistentWhenTheReturnedMessageDoesNotSayOtherwise)
{
    const OneReturn session([](Dialogue& peer) { peer.Return(1, {}, {.messageId = "1"}, "body"); });
    Inbox inbox;

    session.Publish([&](const Amqp::Envelope& envelope, const Amqp::AckStatus&) { inbox.Note(envelope); });
    EXPECT_EQ(session.client.connection->Run(), true);

    ASSERT_EQ(inbox.envelopes.size(), 1U);
    EXPECT_EQ(inbox.envelopes.front().Flags(), 0x1080U);
    EXPECT_EQ(inbox.envelopes.front().DeliveryMode(), Amqp::MetaData::Persistent);
}

TEST(Return, WithANumberThatCameBackBeforeIsDropped)
{
    const OneReturn session(
        [](Dialogue& peer)
        {
            peer.Return(1, {}, {.messageId = "1"}, "first");
            peer.Return(1, {}, {.messageId = "1"}, "second");
        });
    Outbox outbox;

    session.Publish(outbox.Callback());
    EXPECT_EQ(session.client.connection->Run(), true);
    EXPECT_EQ(session.client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Returned{"first", "", "", 312}));
}

TEST(Return, WithAnUnknownNumberIsDropped)
{
    const OneReturn session(
        [](Dialogue& peer)
        {
            peer.Return(1, {}, {.messageId = "2"}, std::string(300'000, 'u'));
            peer.Return(1, {}, {.messageId = "0"}, "");
            peer.Return(1, {}, {.messageId = "18446744073709551615"}, "highest");
        });

    session.Publish(Unexpected());
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(session.client.connection->Run(), true);
    }
}

TEST(Return, NeverComesForARoutedMessageWhoseEntryStays)
{
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> seen = held;
    {
        const OneReturn session([](Dialogue&) {});
        session.Publish([held = std::move(held)](const Amqp::Envelope&, const Amqp::AckStatus&) { ADD_FAILURE(); });

        EXPECT_EQ(session.client.connection->Run(10ms), std::nullopt);
        EXPECT_FALSE(seen.expired());
    }
    EXPECT_TRUE(seen.expired());
}

TEST(Return, ReleasesTheCallbackOnceItHasBeenCalled)
{
    const OneReturn session([](Dialogue& peer) { peer.Return(1, {}, {.messageId = "1"}, "body"); });
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> seen = held;

    session.Publish([held = std::move(held)](const Amqp::Envelope&, const Amqp::AckStatus&) {});
    EXPECT_FALSE(seen.expired());
    EXPECT_EQ(session.client.connection->Run(), true);

    EXPECT_TRUE(seen.expired());
}

TEST(Return, LeavesTheEntryWhenTheCallbackThrows)
{
    const OneReturn session(
        [](Dialogue& peer)
        {
            peer.Return(1, {}, {.messageId = "1"}, "throw");
            peer.Return(1, {}, {.messageId = "1"}, "again");
        });
    Outbox outbox;

    session.Publish(
        [&, note = outbox.Callback()](const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
        {
            note(envelope, status);
            if (outbox.returned.size() == 1)
            {
                throw std::domain_error("own");
            }
        });
    EXPECT_THROW(session.client.connection->Run(), std::domain_error);
    EXPECT_EQ(session.client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Returned{"throw", "", "", 312}, Returned{"again", "", "", 312}));
}

// As it is with every runtime error of a frame that belongs to a channel.
TEST(Return, WhoseCallbackThrowsARuntimeErrorOfAnyKindRaisesAPlainOneAndDropsTheChannel)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            ExpectNumbered(peer, 1, "1", "body");
            peer.Return(1, {}, {.messageId = "1"}, "body");
        }));
    const Client client(broker);
    const std::system_error thrown(std::make_error_code(std::errc::io_error), "of the callback");
    client.channel->Publish("x", "k", "body", 0,
                            [&](const Amqp::Envelope&, const Amqp::AckStatus&) { throw std::system_error(thrown); });

    try
    {
        client.connection->Run();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const std::exception& error)
    {
        EXPECT_EQ(typeid(error), typeid(std::runtime_error));
        EXPECT_STREQ(error.what(), thrown.what());
    }

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Return, OnAnotherChannelOfTheConnectionMatchesToo)
{
    ScriptedBroker broker(OnTwoChannels(
        [](Dialogue& peer)
        {
            ExpectNumbered(peer, 1, "1", "body");
            peer.Return(2, {}, {.messageId = "1"}, "body");
        }));
    Client client(broker);
    const auto other = client.NewChannel();
    Outbox outbox;

    client.channel->Publish("x", "k", "body", 0, outbox.Callback());
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Returned{"body", "", "", 312}));
}

TEST(Return, OfABodyInSeveralFramesReachesTheCallbackWhole)
{
    const std::string body(300'000, 'l');
    const OneReturn session([=](Dialogue& peer) { peer.Return(1, {}, {.messageId = "1"}, body); });
    Outbox outbox;

    session.Publish(outbox.Callback());
    EXPECT_EQ(session.client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Returned{body, "", "", 312}));
}

TEST(Return, InterruptedByChannelCloseTellsTheNotifierAndAnswersCloseOk)
{
    for (const bool afterHeader : {false, true})
    {
        ScriptedBroker broker(OnDroppedChannel(
            [=](Dialogue& peer)
            {
                ExpectNumbered(peer, 1, "1", "body");
                peer.Send(1, BasicReturn{});
                if (afterHeader)
                {
                    peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 4, .properties = PlainProperties("1")}));
                    peer.SendFrame(bodyFrame, 1, "bo");
                }
                peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
                peer.Expect(1, ChannelCloseOk{});
            }));
        const Client client(broker);
        client.channel->Publish("x", "k", "body", 0, Unexpected());

        EXPECT_EQ(client.connection->Run(), true);

        EXPECT_THAT(client.noted.errors,
                    testing::ElementsAre(IsError(Amqp::ErrorCode::ChannelClosed, 404, "NOT_FOUND")));
    }
}

TEST(Return, InterruptedByTheLossOfTheConnectionIsThrownAtEveryOffset)
{
    const std::string bytes =
        FrameBytes(Frame{.type = methodFrame, .channel = 1, .payload = Encode(BasicReturn{.routingKey = "k"})}) +
        FrameBytes(ContentFrames(1, PlainProperties("1"), "body of two frames", 18));
    for (std::size_t offset = 0; offset < bytes.size(); ++offset)
    {
        ScriptedBroker broker(
            [&](Dialogue& peer)
            {
                peer.Login();
                peer.OpenChannel(1);
                ExpectNumbered(peer, 1, "1", "body");
                peer.SendBytes(bytes.substr(0, offset));
                peer.Abandon();
            });
        const Client client(broker);
        client.channel->Publish("x", "k", "body", 0, Unexpected());

        const Amqp::ErrorCode error = ErrorOf([&] { client.connection->Run(); });

        EXPECT_EQ(error.category, Amqp::ErrorCode::Library);
        EXPECT_STREQ(error.what(), amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED));
        EXPECT_TRUE(client.noted.errors.empty());
    }
}
