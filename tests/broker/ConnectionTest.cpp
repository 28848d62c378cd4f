// What the broker knows of a connection, and how it refuses one: at login, or later and as a whole.
#include "Broker.hpp"

using testing::HasSubstr;
using testing::StartsWith;

using BrokerConnection = Broker;

TEST_F(BrokerConnection, HasTheClientPropertiesHeartbeatAndFrameSizeThatItAskedFor)
{
    Login login{.heartbeat = 7s};
    const std::string property = Name("property");
    login.properties.Insert("purpose", property);
    login.properties.Insert("number", 42);
    const auto connection = Connect(login);

    std::string row;
    EXPECT_TRUE(Eventually(
        [&]
        {
            row = Control({"list_connections", "client_properties", "timeout", "frame_max", "channel_max", "user"});
            return row.find(property) != std::string::npos;
        }));

    EXPECT_THAT(row, HasSubstr("\t7\t131072\t2047\t"));
    EXPECT_THAT(row, HasSubstr("{\"number\",42}"));
    EXPECT_EQ(std::get<std::string>(connection->Tags().Entries().at("purpose")), property);
}

TEST_F(BrokerConnection, IsGoneFromTheBrokerOnceDestroyed)
{
    Login login;
    const std::string property = Name("property");
    login.properties.Insert("purpose", property);
    auto connection = Connect(login);
    ASSERT_TRUE(Eventually(
        [&] {
            return Control({"list_connections", "client_properties"}).find(property) != property.npos;
        }));

    connection.reset();

    EXPECT_TRUE(Eventually(
        [&] {
            return Control({"list_connections", "client_properties"}).find(property) == property.npos;
        }));
}

TEST_F(BrokerConnection, ToAnUnknownVirtualHostIsRefusedWith530)
{
    const Amqp::ErrorCode error = ErrorOf([&] { Connect({.virtualHost = "unknown"}); });

    EXPECT_THAT(error, IsError(Amqp::ErrorCode::ConnectionClosed, 530, "NOT_ALLOWED - vhost unknown not found"));
}

TEST_F(BrokerConnection, WithAWrongPasswordIsRefusedWith403)
{
    const Amqp::ErrorCode error = ErrorOf([&] { Connect({.password = "wrong"}); });

    EXPECT_EQ(error.category, Amqp::ErrorCode::ConnectionClosed);
    EXPECT_EQ(error.code, 403);
    EXPECT_THAT(error.what(), StartsWith("ACCESS_REFUSED - Login was refused using authentication mechanism PLAIN."));
}

TEST_F(BrokerConnection, WithClientPropertiesAndAWrongUserIsRefusedWith403)
{
    Login login{.user = "nobody"};
    login.properties.Insert("purpose", "test");

    const Amqp::ErrorCode error = ErrorOf([&] { Connect(login); });

    EXPECT_EQ(error.category, Amqp::ErrorCode::ConnectionClosed);
    EXPECT_EQ(error.code, 403);
}

TEST_F(BrokerConnection, IsClosedWith530WhenItOpensMoreChannelsThanAgreed)
{
    constexpr std::size_t most = 2047;
    const auto connection = Connect();
    std::vector<std::shared_ptr<Amqp::Channel>> channels;

    const Amqp::ErrorCode error = ErrorOf(
        [&]
        {
            while (channels.size() <= most)
            {
                channels.push_back(OpenChannel(connection));
            }
        });

    EXPECT_EQ(channels.size(), most);
    EXPECT_THAT(error, IsError(Amqp::ErrorCode::ConnectionClosed, 530,
                               "NOT_ALLOWED - number of channels opened (2047) has reached the negotiated "
                               "channel_max (2047)"));
}

TEST_F(BrokerConnection, OpensAnyNumberOfChannelsOneAfterTheOther)
{
    const auto connection = Connect();

    for (unsigned short number = 1; number <= 2100; ++number)
    {
        ASSERT_EQ(OpenChannel(connection)->Token(), number);
    }

    EXPECT_THAT(OpenChannel(connection)->DeclareQueue(false, true, true), StartsWith("amq.gen-"));
}

TEST_F(BrokerConnection, EndsTheLoopWhenTheBrokerClosesIt)
{
    Login login;
    const std::string property = Name("property");
    login.properties.Insert("purpose", property);
    const auto connection = Connect(login);
    Noted noted;
    Amqp::Channel channel(connection, noted.Notifier());
    const std::string process = ConnectionProcess(property);

    Control({"close_connection", process, "maintenance"});
    std::optional<bool> result;
    EXPECT_TRUE(Eventually([&] { return (result = connection->Run()).has_value(); }));

    EXPECT_EQ(result, false);
    EXPECT_TRUE(noted.errors.empty());
    EXPECT_NE(ErrorOf([&] { OpenChannel(connection); }).category, Amqp::ErrorCode::Success);
}

TEST_F(BrokerConnection, ThrowsFromACallThatFindsItClosedByTheBroker)
{
    Login login;
    const std::string property = Name("property");
    login.properties.Insert("purpose", property);
    const auto channel = OpenChannel(Connect(login));

    Control({"close_connection", ConnectionProcess(property), "maintenance"});
    const Amqp::ErrorCode error = ErrorOf([&] { channel->DeclareQueue(false, true, true); });

    EXPECT_THAT(error, IsError(Amqp::ErrorCode::ConnectionClosed, 320, "CONNECTION_FORCED - maintenance"));
}

// The broker cancels the consumer then, but says so only to a client that claims to understand it.
TEST_F(BrokerConnection, HearsOfAQueueDestroyedUnderItsConsumerOnlyIfItAskedTo)
{
    Amqp::Table capabilities;
    capabilities.Insert("consumer_cancel_notify", true);
    Login login;
    login.properties.Insert("capabilities", capabilities);
    const auto asking = Connect(login);
    const auto silent = Connect();
    const auto askingChannel = OpenChannel(asking);
    const auto silentChannel = OpenChannel(silent);
    const std::string queue = Name("queue");
    askingChannel->DeclareQueue(queue, false, false, false);
    askingChannel->Subscribe(queue, &Ignore, Amqp::Auto, false, false);
    silentChannel->Subscribe(queue, &Ignore, Amqp::Auto, false, false);

    OpenChannel(Connect())->DestroyQueue(queue, false, false);

    const Amqp::ErrorCode error = ErrorOf([&] { RunUntil(*asking, [] { return false; }); });
    EXPECT_THAT(error, IsError(Amqp::ErrorCode::Server, 2, "Unexpected Amqp method received 3932190"));
    EXPECT_EQ(silent->Run(), std::nullopt);
    EXPECT_THAT(silentChannel->DeclareQueue(false, true, true), StartsWith("amq.gen-"));
}
