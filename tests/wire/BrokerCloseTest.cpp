// Closes that arrive in the run loop: of a channel, of the connection, of the socket, and notifiers that throw.
#include "Messaging.hpp"

#include <functional>
#include <stdexcept>
#include <system_error>
#include <typeinfo>

#include "values/RabbitMq.hpp"

namespace
{

void SendChannelClose(Dialogue& peer)
{
    peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED", .classId = 60, .methodId = 80});
}

// A connection whose channel 1 has a notifier that throws what it is given, at the moment the broker closes it.
template <typename Exception>
void RunIntoThrowingNotifier(const ScriptedBroker& broker, const Exception& exception)
{
    const auto connection = Connect(broker);
    const Amqp::Channel channel(connection, [&](Amqp::ErrorCode&&) { throw exception; });
    connection->Run();
}

} // namespace

TEST(BrokerChannelClose, CallsTheNotifierOnceAndRemovesTheChannel)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            SendChannelClose(peer);
            SendChannelClose(peer); // for a channel that is not known any more
        }));
    const Client client(broker);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsCloseRequest()));
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.noted.errors.size(), 1U);
}

TEST(BrokerChannelClose, IsNotAnsweredWithCloseOk)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            SendChannelClose(peer);
            peer.ExpectSilence(100ms);
        }));
    const Client client(broker);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(200ms), std::nullopt);
}

// The broker takes nothing on that number any more: a call would wait for an answer that never comes.
TEST(BrokerChannelClose, LeavesAChannelWhoseUseThrowsWithNothingSent)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            SendChannelClose(peer);
        }));
    const Client client(broker);
    const std::string tag = client.channel->Subscribe("q", Ignore, Amqp::Explicit, false, false);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(ErrorOf([&] { client.channel->DeclareQueue("q"); }), IsUseOfAClosedChannel());
    client.channel->Unsubscribe(tag);

    EXPECT_EQ(client.noted.errors.size(), 1U);
}

TEST(BrokerChannelClose, ReachesOnlyTheChannelItNames)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            SendChannelClose(peer);
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    const Client client(broker);
    const auto other = OpenChannel(client.connection);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(client.noted.errors.size(), 1U);
}

TEST(BrokerChannelClose, ThrowsACopyOfTheErrorCodeThatTheNotifierThrows)
{
    ScriptedBroker broker(OnDroppedChannel(&SendChannelClose));

    EXPECT_THAT(ErrorOf([&] { RunIntoThrowingNotifier(broker, Amqp::ErrorCode("own", Amqp::ErrorCode::Ssl, 9)); }),
                IsError(Amqp::ErrorCode::Ssl, 9, "own"));
}

TEST(BrokerChannelClose, ThrowsTheRequestItselfWithOnErrorThrow)
{
    ScriptedBroker broker(OnDroppedChannel(&SendChannelClose));
    const auto connection = Connect(broker);
    const auto channel = OpenChannel(connection);

    EXPECT_THAT(ErrorOf([&] { connection->Run(); }), IsCloseRequest());
}

TEST(BrokerChannelClose, ThrowsAPlainRuntimeErrorForOneDerivedFromIt)
{
    ScriptedBroker broker(OnDroppedChannel(&SendChannelClose));
    const std::system_error thrown(std::make_error_code(std::errc::no_such_device), "own");

    try
    {
        RunIntoThrowingNotifier(broker, thrown);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_EQ(typeid(error), typeid(std::runtime_error));
        EXPECT_STREQ(error.what(), thrown.what());
    }
}

TEST(BrokerChannelClose, LetsOtherExceptionsThroughAndKeepsTheChannel)
{
    const auto script = OnChannel(&SendChannelClose);
    ScriptedBroker broker({script, script, script});

    EXPECT_THROW(RunIntoThrowingNotifier(broker, std::bad_function_call()), std::bad_function_call);
    EXPECT_THROW(RunIntoThrowingNotifier(broker, std::out_of_range("own")), std::out_of_range);
    EXPECT_THROW(RunIntoThrowingNotifier(broker, 7), int);
}

TEST(BrokerChannelClose, RaisesBadFunctionCallWhenTheNotifierHasMovedAway)
{
    ScriptedBroker broker(OnChannel(&SendChannelClose));
    const auto connection = Connect(broker);
    Amqp::Channel source(connection, &Amqp::Channel::OnErrorThrow);
    const Amqp::Channel target(std::move(source));

    EXPECT_THROW(connection->Run(), std::bad_function_call);
}

TEST(BrokerChannelClose, InTheMiddleOfADeliveryMakesRunReturnFalse)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 10, .properties = PlainProperties()}));
            peer.SendFrame(bodyFrame, 1, "half");
            SendChannelClose(peer);
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), false);

    EXPECT_TRUE(inbox.bodies.empty());
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(BrokerConnectionClose, IsAnsweredOnChannelZeroAndMakesRunReturnFalse)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(0, ConnectionCloseOk{});
            peer.Abandon();
        });
    const Client client(broker);

    EXPECT_EQ(client.connection->Run(), false);

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(BrokerConnectionClose, ClearsTheRegistrySoThatNoChannelIsClosedAnyMore)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.OpenChannel(2);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(0, ConnectionCloseOk{});
        }));
    Client client(broker);
    const auto other = client.NewChannel();

    EXPECT_EQ(client.connection->Run(), false);
}

TEST(BrokerConnectionClose, OnAChannelsOwnNumberClearsTheRegistryAndMakesRunReturnFalse)
{
    ScriptedBroker broker(
        OnDroppedChannel([](Dialogue& peer) { peer.Send(1, ConnectionClose{.replyText = "CONNECTION_FORCED"}); }));
    const Client client(broker);

    EXPECT_EQ(client.connection->Run(), false);
}

TEST(SocketClose, IsThrownAndClearsTheRegistry)
{
    for (const bool reset : {false, true})
    {
        ScriptedBroker broker(
            [=](Dialogue& peer)
            {
                peer.Login();
                peer.OpenChannel(1);
                reset ? peer.Reset() : peer.Abandon();
            });
        Client client(broker);

        const Amqp::ErrorCode error = ErrorOf([&] { client.connection->Run(); });

        EXPECT_EQ(error.category, Amqp::ErrorCode::Library);
        EXPECT_STREQ(error.what(),
                     amqp_error_string2(reset ? AMQP_STATUS_SOCKET_ERROR : AMQP_STATUS_CONNECTION_CLOSED));
        EXPECT_TRUE(client.noted.errors.empty());
    }
}
