// The broker sends another method in place of a returned message's content. The run loop throws once and drops the
// channels; the connection stays usable, and the next step handles that method.
#include "Messaging.hpp"
#include "values/RabbitMq.hpp"

namespace
{

auto IsUnexpectedState()
{
    return IsError(Amqp::ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_UNEXPECTED_STATE));
}

// Plays the broker's side: a return without its content, and the method in its place. The broker then accepts another
// channel, and delivers on the first channel, which the error has dropped.
ScriptedBroker::Script WithInPlace(ScriptedBroker::Script inPlace)
{
    return [inPlace = std::move(inPlace)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        AcceptConsumer(peer, 1, /*noAck*/ true);
        peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
        peer.Send(1, BasicReturn{.routingKey = "q"});
        inPlace(peer);
        peer.OpenChannel(2);
        peer.Deliver(1, {.consumerTag = "1/1"}, {}, "later");
        peer.CloseChannel(2);
        peer.CloseConnection();
    };
}

// Publishes, catches the error, runs the step that handles the method, and uses the connection. Returns the bodies of
// the deliveries.
std::vector<std::string> BodiesAround(ScriptedBroker::Script inPlace)
{
    ScriptedBroker broker(WithInPlace(std::move(inPlace)));
    Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    client.channel->Publish("", "q", "body", 0, Unexpected());

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsUnexpectedState());
    EXPECT_EQ(client.connection->Run(), true);
    std::shared_ptr<Amqp::Channel> other;
    EXPECT_NO_THROW(other = client.NewChannel());
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_TRUE(client.noted.errors.empty());
    return inbox.bodies;
}

} // namespace

TEST(InterruptedReturn, IsThrownOnceAndTheDeliveryInPlaceOfItsContentIsHandled)
{
    EXPECT_THAT(BodiesAround([](Dialogue& peer) { peer.Deliver(1, {.consumerTag = "1/1"}, {}, "in place"); }),
                testing::ElementsAre("in place", "later"));
}

TEST(InterruptedReturn, IsThrownOnceAndTheMethodInPlaceOfItsContentIsHandled)
{
    EXPECT_THAT(BodiesAround([](Dialogue& peer) { peer.Send(1, BasicCancel{.consumerTag = "1/1"}); }),
                testing::ElementsAre("later"));
}
