// Handlers that run the loop themselves, which they must not: a delivery inside a delivery still takes nothing away
// from the one around it.
#include "Messaging.hpp"

#include <functional>
#include <stdexcept>

namespace
{

void DeliverNumbered(Dialogue& peer, std::uint64_t number, const std::string& tag = "1/1")
{
    peer.Deliver(1, {.consumerTag = tag, .deliveryTag = number},
                 {.headers = Fields{{"number", Binary(std::to_string(number))}}}, std::to_string(number));
}

std::string BodyOf(const Amqp::Envelope& envelope)
{
    return std::string(envelope.ViewBody(0, envelope.Size()));
}

std::string HeaderOf(const Amqp::Envelope& envelope)
{
    return std::get<std::string>(envelope.Headers().Entries().at("number"));
}

void AcceptSecondConsumer(Dialogue& peer)
{
    peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/2"});
    peer.Send(1, BasicConsumeOk{.consumerTag = "1/2"});
}

} // namespace

TEST(NestedRun, TwoDeepLeavesEachDeliveryWhole)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            for (std::uint64_t number = 1; number <= 5; ++number)
            {
                DeliverNumbered(peer, number);
            }
            for (const std::uint64_t number : {1U, 4U, 3U, 2U, 5U})
            {
                peer.Expect(1, BasicAck{.deliveryTag = number});
            }
        }));
    const Client client(broker);
    std::vector<std::string> seen;
    client.channel->Subscribe(
        "q",
        [&, deliveries = 0](const Amqp::Envelope& envelope) mutable
        {
            ++deliveries;
            if (deliveries == 2 || deliveries == 3)
            {
                EXPECT_EQ(client.connection->Run(), true);
            }
            seen.push_back(BodyOf(envelope) + HeaderOf(envelope));
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
    }

    EXPECT_THAT(seen, testing::ElementsAre("11", "44", "33", "22", "55"));
}

TEST(NestedRun, MayUnsubscribeTheHandlerThatRunsInBoth)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverNumbered(peer, 1);
            DeliverNumbered(peer, 2);
            AcceptCancel(peer);
            peer.Expect(1, BasicAck{.deliveryTag = 2});
            peer.Expect(1, BasicAck{.deliveryTag = 1});
        }));
    const Client client(broker);
    std::vector<std::string> seen;
    client.channel->Subscribe(
        "q",
        [&client, &seen, large = std::string(1000, 'c')](const Amqp::Envelope& envelope)
        {
            if (BodyOf(envelope) == "1")
            {
                EXPECT_EQ(client.connection->Run(), true);
            }
            else
            {
                client.channel->Unsubscribe("1/1");
            }
            seen.push_back(HeaderOf(envelope) + large);
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(seen, testing::ElementsAre("2" + std::string(1000, 'c'), "1" + std::string(1000, 'c')));
}

TEST(NestedRun, MayUnsubscribeAHandlerFurtherOutWhichIsDestroyedAfterwards)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            AcceptSecondConsumer(peer);
            DeliverNumbered(peer, 1, "1/1");
            DeliverNumbered(peer, 2, "1/2");
            AcceptCancel(peer);
            peer.Expect(1, BasicAck{.deliveryTag = 2});
            peer.Expect(1, BasicAck{.deliveryTag = 1});
        }));
    const Client client(broker);
    const auto kept = std::make_shared<int>(0);
    const auto outer = [&client, kept](const Amqp::Envelope&)
    {
        EXPECT_EQ(client.connection->Run(), true);
        EXPECT_GT(kept.use_count(), 1);
        return Amqp::Ack;
    };
    client.channel->Subscribe("q", std::function(outer), Amqp::Explicit, false, false);
    const auto holders = kept.use_count();
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            client.channel->Unsubscribe("1/1");
            EXPECT_EQ(kept.use_count(), holders);
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(kept.use_count(), holders - 1);
}

TEST(NestedRun, MayLeaveByAnExceptionThroughBoth)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            for (std::uint64_t number = 1; number <= 4; ++number)
            {
                DeliverNumbered(peer, number);
            }
            peer.Expect(1, BasicAck{.deliveryTag = 4});
            peer.Expect(1, BasicAck{.deliveryTag = 3});
        }));
    const Client client(broker);
    std::vector<std::string> seen;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            const std::string body = BodyOf(envelope);
            if (body == "2")
            {
                throw std::logic_error(body);
            }
            if (body != "4")
            {
                client.connection->Run();
            }
            seen.push_back(HeaderOf(envelope));
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_THROW(client.connection->Run(), std::logic_error);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(seen, testing::ElementsAre("4", "3"));
}
