// The peer receives the run loop's responses before the loop waits for more.
#include "Prompt.hpp"

namespace
{

void DeliverToAnswer(Dialogue& peer, std::uint64_t deliveryTag = 1)
{
    peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = deliveryTag}, {}, "to be answered");
}

} // namespace

TEST(PromptAnswer, OfAnAcknowledgement)
{
    ExpectPromptAnswers([](Dialogue& peer) { DeliverToAnswer(peer); },
                        [](Dialogue& peer) { peer.Expect(1, BasicAck{}); }, /*noAck*/ false,
                        [](Amqp::Channel&) { return Amqp::Ack; });
}

TEST(PromptAnswer, OfTheAcknowledgementsOfDeliveriesThatCameTogether)
{
    ExpectPromptAnswers(
        [](Dialogue& peer)
        {
            std::string together;
            for (std::uint64_t tag = 1; tag <= 3; ++tag)
            {
                together += DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, "to be answered");
            }
            peer.SendBytes(together);
        },
        [](Dialogue& peer)
        {
            for (std::uint64_t tag = 1; tag <= 3; ++tag)
            {
                peer.Expect(1, BasicNack{.deliveryTag = tag, .requeue = true});
            }
        },
        /*noAck*/ false, [](Amqp::Channel&) { return Amqp::Requeue; });
}

TEST(PromptAnswer, OfAMessageThatAHandlerPublishes)
{
    for (const std::size_t size : {10U, 20'000U})
    {
        const std::string reply(size, 'r');
        ExpectPromptAnswers([](Dialogue& peer) { DeliverToAnswer(peer); },
                            [&](Dialogue& peer)
                            { peer.ExpectPublish(1, {.routingKey = "replies"}, PlainProperties(), reply); },
                            /*noAck*/ true,
                            [&](Amqp::Channel& channel)
                            {
                                channel.Publish("", "replies", reply, 0, {});
                                return Amqp::Ack;
                            });
    }
}

TEST(PromptAnswer, OfAMessageThatAHandlerPublishesBeforeItsVerdict)
{
    ExpectPromptAnswers([](Dialogue& peer) { DeliverToAnswer(peer); },
                        [](Dialogue& peer)
                        {
                            peer.ExpectPublish(1, {.routingKey = "replies"}, PlainProperties(), "reply");
                            peer.Expect(1, BasicNack{});
                        },
                        /*noAck*/ false,
                        [](Amqp::Channel& channel)
                        {
                            channel.Publish("", "replies", "reply", 0, {});
                            return Amqp::Nack;
                        });
}

TEST(PromptAnswer, OfAMessageThatAPublishCallbackPublishes)
{
    Arrivals arrivals;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            for (int i = 1; i <= promptTries + 1; ++i)
            {
                peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties(std::to_string(i)), "");
                if (i > 1)
                {
                    arrivals.Arrive();
                }
                arrivals.Begin();
                peer.Return(1, {.routingKey = "q"}, {.messageId = std::to_string(i)}, "");
            }
        }));
    const Client client(broker);
    int left = promptTries;
    Amqp::PublishCallback again;
    again = [&](const Amqp::Envelope&, const Amqp::AckStatus&)
    {
        if (left-- > 0)
        {
            client.channel->Publish("", "q", "", 0, again);
        }
    };

    client.channel->Publish("", "q", "", 0, again);
    while (left >= 0)
    {
        ASSERT_EQ(client.connection->Run(), true);
    }

    EXPECT_LT(arrivals.Best(), prompt);
}

TEST(PromptAnswer, OfACloseOfTheConnection)
{
    Arrivals arrivals;
    const auto script = [&](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        arrivals.Begin();
        peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
        peer.Expect(0, ConnectionCloseOk{});
        arrivals.Arrive();
        peer.Abandon();
    };
    ScriptedBroker broker(std::vector<ScriptedBroker::Script>(promptTries, script));

    for (int i = 1; i <= promptTries; ++i)
    {
        const Client client(broker);
        EXPECT_EQ(client.connection->Run(), false);
        ASSERT_TRUE(arrivals.Await(i)); // the destructor of the connection would push the reply
    }

    EXPECT_LT(arrivals.Best(), prompt);
}

TEST(PromptAnswer, OfACloseOfAChannelDuringACall)
{
    Arrivals arrivals;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            for (std::uint16_t channel = 1; channel <= promptTries; ++channel)
            {
                peer.OpenChannel(channel);
                peer.Expect(channel, QueuePurge{.queue = "q"});
                arrivals.Begin();
                peer.Send(channel, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
                peer.Expect(channel, ChannelCloseOk{});
                arrivals.Arrive();
            }
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);

    for (int i = 1; i <= promptTries; ++i)
    {
        Noted noted;
        Amqp::Channel channel(connection, noted.Notifier());
        channel.PurgeQueue("q");
        EXPECT_EQ(noted.errors.size(), 1U);
        ASSERT_TRUE(arrivals.Await(i)); // the next call would push the reply
    }

    EXPECT_LT(arrivals.Best(), prompt);
}
