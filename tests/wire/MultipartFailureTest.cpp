// A series whose parts cannot be sent or come back: who is told, and what becomes of the parts that follow.
#include "Series.hpp"

namespace
{

// Ten bytes that cannot be sent: the content type is longer than the wire allows.
Amqp::Envelope Unsendable()
{
    Amqp::Envelope envelope("0123456789", Amqp::MetaData::Persistent);
    envelope.ContentType(std::string(256, 't'));
    return envelope;
}

const auto cannotBeEncoded = IsError(Amqp::ErrorCode::Library, 2, "invalid AMQP data");

} // namespace

TEST(MultipartFailure, IsToldToTheNotifierForEachPartAndNothingIsWritten)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    const Client client(broker);

    client.channel->Publish("x", "k", Unsendable(), 4, Unexpected());

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(cannotBeEncoded, cannotBeEncoded, cannotBeEncoded));
}

TEST(MultipartFailure, DoesNotStopThePartsThatFollow)
{
    // The notifier is the only place where something can change between two parts: the second channel's parts go out
    // in between, so the order on the wire shows that each part was tried in its turn.
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            for (const char* const turn : {"after part 1", "after part 2", "after part 3"})
            {
                peer.ExpectPublish(1, {.routingKey = "k"}, PlainProperties(), turn);
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);
    const auto reporter = OpenChannel(connection);
    int told = 0;
    const auto failing = std::make_shared<Amqp::Channel>(
        connection, [&](Amqp::ErrorCode&&)
        { reporter->Publish("", "k", "after part " + std::to_string(++told), 0, Amqp::PublishCallback()); });

    failing->Publish("x", "k", Unsendable(), 4, {});

    EXPECT_EQ(told, 3);
}

TEST(MultipartFailure, EndsTheSeriesWhenTheNotifierThrows)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    const auto connection = Connect(broker);
    int told = 0;
    const auto channel = std::make_shared<Amqp::Channel>(connection,
                                                         [&](Amqp::ErrorCode&& error)
                                                         {
                                                             ++told;
                                                             Amqp::Channel::OnErrorThrow(std::move(error));
                                                         });

    EXPECT_THAT(ErrorOf([&] { channel->Publish("x", "k", Unsendable(), 4, {}); }), cannotBeEncoded);
    EXPECT_EQ(told, 1);
}

TEST(MultipartFailure, IsSafeWhenTheNotifierDropsTheLastReferenceToTheChannelInTheMiddle)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    int told = 0;
    std::shared_ptr<Amqp::Channel> channel;
    channel = std::make_shared<Amqp::Channel>(Connect(broker),
                                              [&](Amqp::ErrorCode&&)
                                              {
                                                  ++told;
                                                  channel.reset();
                                              });
    const std::weak_ptr<Amqp::Channel> watched = channel;

    channel->Publish("x", "k", Unsendable(), 4, {});

    EXPECT_EQ(told, 3);
    EXPECT_TRUE(watched.expired());
}

TEST(MultipartFailure, LeavesTheOtherChannelsAlone)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            for (std::size_t index = 0; index < 3; ++index)
            {
                Properties properties = PlainProperties();
                properties.headers = PartHeaders(index, 3);
                peer.ExpectPublish(2, {.routingKey = "k"}, properties,
                                   std::string_view("0123456789").substr(index * 4, 4));
            }
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto other = client.NewChannel();

    client.channel->Publish("x", "k", Unsendable(), 4, {});
    other->Publish("", "k", "0123456789", 4, {});

    EXPECT_EQ(client.noted.errors.size(), 3U);
}

TEST(MultipartFailure, CallsTheCallbackOnceForEachPartThatComesBack)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            std::vector<Properties> sent;
            for (std::size_t index = 0; index < 3; ++index)
            {
                Properties properties = PlainProperties(std::to_string(index + 1));
                properties.headers = PartHeaders(index, 3);
                peer.ExpectPublish(1, {.routingKey = "k", .mandatory = true}, properties,
                                   std::string_view("0123456789").substr(index * 4, 4));
                sent.push_back(properties);
            }
            peer.Return(1, {.routingKey = "k"}, sent[2], "89");
            peer.Return(1, {.routingKey = "k"}, sent[0], "0123");
        }));
    const Client client(broker);
    Outbox outbox;

    client.channel->Publish("", "k", "0123456789", 4, outbox.Callback());
    EXPECT_EQ(client.connection->Run(), std::optional(true));
    EXPECT_EQ(client.connection->Run(), std::optional(true));

    EXPECT_THAT(outbox.returned,
                testing::ElementsAre(Outbox::Returned{"89", "", "k", 312}, Outbox::Returned{"0123", "", "k", 312}));
}

TEST(MultipartFailure, EndsTheSeriesWhenTheNotifierDestroysAChannelThatIsNotShared)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    int told = 0;
    std::unique_ptr<Amqp::Channel> channel;
    channel = std::make_unique<Amqp::Channel>(Connect(broker),
                                              [&](Amqp::ErrorCode&&)
                                              {
                                                  channel.reset();
                                                  ++told;
                                              });

    channel->Publish("x", "k", Unsendable(), 4, {});

    EXPECT_EQ(told, 1);
    EXPECT_EQ(channel, nullptr);
}
