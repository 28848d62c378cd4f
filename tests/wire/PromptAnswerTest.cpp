// The peer receives the run loop's responses before the loop waits for more.
#include <semaphore>

#include "Prompt.hpp"

namespace
{

std::string DeliveryToAnswer(std::uint64_t deliveryTag = 1)
{
    return DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = deliveryTag}, {}, "to be answered");
}

void DeliverToAnswer(Dialogue& peer)
{
    peer.SendBytes(DeliveryToAnswer());
}

// Sends a delivery whose acknowledgement the library hands over with more to follow: it has read more bytes.
void DeliverToAnswerWithAHeartbeat(Dialogue& peer)
{
    peer.SendBytes(DeliveryToAnswer() + FrameBytes({heartbeatFrame, 0, ""}));
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
                together += DeliveryToAnswer(tag);
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

// The library has read more bytes, but they hold no delivery: no further acknowledgement pushes the first.
TEST(PromptAnswer, OfAnAcknowledgementWhenAHeartbeatCameWithTheDelivery)
{
    ExpectPromptAnswers(
        &DeliverToAnswerWithAHeartbeat, [](Dialogue& peer) { peer.Expect(1, BasicAck{}); },
        /*noAck*/ false, [](Amqp::Channel&) { return Amqp::Ack; });
}

TEST(PromptAnswer, OfAnAcknowledgementWhenHalfOfTheNextDeliveryCameWithTheFirst)
{
    const std::string next = DeliveryToAnswer(2);
    const std::size_t half = next.size() / 2;
    ExpectPromptAnswers([&](Dialogue& peer) { peer.SendBytes(DeliveryToAnswer(1) + next.substr(0, half)); },
                        [&](Dialogue& peer)
                        {
                            peer.Expect(1, BasicAck{.deliveryTag = 1});
                            peer.SendBytes(next.substr(half));
                            peer.Expect(1, BasicAck{.deliveryTag = 2});
                        },
                        /*noAck*/ false, [](Amqp::Channel&) { return Amqp::Ack; });
}

TEST(PromptAnswer, OfAnAcknowledgementWhenStopEndsTheLoop)
{
    Arrivals arrivals;
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            for (int i = 0; i < promptTries; ++i)
            {
                arrivals.Begin();
                DeliverToAnswerWithAHeartbeat(peer);
                peer.Expect(1, BasicAck{});
                arrivals.Arrive();
            }
        }));
    const Client client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            client.connection->Stop();
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    for (int i = 1; i <= promptTries; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
        EXPECT_EQ(client.connection->Run(), false);
        ASSERT_TRUE(arrivals.Await(i)); // the next step would push the acknowledgement
    }

    EXPECT_LT(arrivals.Best(), prompt);
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

// The handler of the second delivery waits for the peer, so the loop pushes nothing before the reply has arrived.
TEST(PromptAnswer, OfAMessageThatAHandlerPublishesWhenTheNextDeliveryCameWithTheFirst)
{
    std::counting_semaphore<> received(0);
    bool isFirst = false;
    ExpectPromptAnswers([](Dialogue& peer) { peer.SendBytes(DeliveryToAnswer(1) + DeliveryToAnswer(2)); },
                        [&](Dialogue& peer)
                        {
                            peer.ExpectPublish(1, {.routingKey = "replies"}, PlainProperties(), "reply");
                            received.release();
                        },
                        /*noAck*/ true,
                        [&](Amqp::Channel& channel)
                        {
                            isFirst = !isFirst;
                            if (isFirst)
                            {
                                channel.Publish("", "replies", "reply", 0, {});
                            }
                            else
                            {
                                EXPECT_TRUE(received.try_acquire_for(10s));
                            }
                            return Amqp::Ack;
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
