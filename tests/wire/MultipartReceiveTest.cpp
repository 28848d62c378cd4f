// Receiving a body in parts: the order in which they come, what the handler gets, and which buffer a part goes to.
#include "Series.hpp"

#include <algorithm>
#include <array>
#include <numeric>

TEST(MultipartReceive, StoresParts2And0AndCompletesWithPart1InIndexOrderWithThePropertiesOfPart1)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Third(2));
            sender.DeliverAcked(Third(0));
            sender.DeliverAcked(Third(1));
        }));
    Receiver receiver(broker);

    receiver.Run(2);
    EXPECT_TRUE(receiver.inbox.bodies.empty());
    receiver.Run(1);

    ASSERT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789"));
    const Amqp::Envelope& whole = receiver.inbox.envelopes[0];
    EXPECT_EQ(whole.MessageId(), "3");
    EXPECT_EQ(whole.ContentType(), "text/plain");
    EXPECT_EQ(whole.Headers().Size(), 4U);
    EXPECT_EQ(std::get<std::uint64_t>(whole.Headers().Entries().at(indexHeader)), 1U);
}

TEST(MultipartReceive, JoinsFourPartsInEveryOrder)
{
    // Lengths that differ, so that a part in the wrong place cannot go unseen.
    const std::array<std::string, 4> bodies{"a", "bb", "ccc", "dddd"};
    std::vector<std::array<std::size_t, 4>> orders;
    std::array<std::size_t, 4> order{};
    std::iota(order.begin(), order.end(), std::size_t{0});
    do
    {
        orders.push_back(order);
    } while (std::next_permutation(order.begin(), order.end()));
    ASSERT_EQ(orders.size(), 24U);
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            for (const auto& each : orders)
            {
                for (const std::size_t index : each)
                {
                    sender.DeliverAcked({.headers = PartHeaders(index, 4), .body = bodies[index]});
                }
            }
        }));
    Receiver receiver(broker);

    receiver.Run(orders.size() * 4);

    ASSERT_EQ(receiver.inbox.bodies.size(), orders.size());
    EXPECT_THAT(receiver.inbox.bodies, testing::Each("abbcccdddd"));
    for (std::size_t i = 0; i < orders.size(); ++i)
    {
        EXPECT_EQ(std::get<std::uint64_t>(receiver.inbox.envelopes[i].Headers().Entries().at(indexHeader)),
                  orders[i][3]);
    }
}

TEST(MultipartReceive, CompletesASeriesOfOnePartAtOnce)
{
    ScriptedBroker broker(
        OnSender([](Sender& sender) { sender.DeliverAcked({.headers = PartHeaders(0, 1), .body = "whole"}); }));
    Receiver receiver(broker);

    receiver.Run(1);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("whole"));
}

TEST(MultipartReceive, JoinsPartsThatAreLargerThanAFrame)
{
    const std::array<std::string, 2> bodies{std::string(300'000, 'a'), std::string(300'001, 'b')};
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            sender.DeliverAcked({.headers = PartHeaders(1, 2), .body = bodies[1]});
            sender.DeliverAcked({.headers = PartHeaders(0, 2), .body = bodies[0]});
        }));
    Receiver receiver(broker);

    receiver.Run(2);

    ASSERT_EQ(receiver.inbox.bodies.size(), 1U);
    EXPECT_TRUE(receiver.inbox.bodies[0] == bodies[0] + bodies[1]) << "not the two bodies, one after the other";
}

TEST(MultipartReceive, DeliversOrdinaryMessagesBetweenTheParts)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Third(0));
            sender.DeliverAcked({.headers = {}, .body = "between"});
            sender.DeliverAcked(Third(1));
            sender.DeliverAcked(Third(2));
        }));
    Receiver receiver(broker);

    receiver.Run(4);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("between", "0123456789"));
}

TEST(MultipartReceive, KeepsTwoSeriesApartThatAreInterleaved)
{
    const auto other = [](std::size_t index)
    { return Message{.headers = PartHeaders(index, 2, "other"), .body = index == 0 ? "left" : "right"}; };
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            sender.DeliverAcked(Third(0));
            sender.DeliverAcked(other(1));
            sender.DeliverAcked(Third(2));
            sender.DeliverAcked(other(0));
            sender.DeliverAcked(Third(1));
        }));
    Receiver receiver(broker);

    receiver.Run(5);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright", "0123456789"));
}

TEST(MultipartReceive, SharesOneEntryBetweenTwoInterleavedSeriesWithTheSameHash)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Third(0));  // of the first
            sender.DeliverNacked(Third(0)); // of the second: a duplicate
            sender.DeliverAcked(Third(1));  // of the second
            sender.DeliverAcked(Third(2));  // of the first: completes it with the second's part
            sender.DeliverAcked(Third(1));  // what is left begins a new series
            sender.DeliverAcked(Third(2));
        }));
    Receiver receiver(broker);

    receiver.Run(6);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789"));
}

TEST(MultipartReceive, ReceivesTheSameSeriesAgainAfterItWasComplete)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            for (const std::size_t index : {0U, 1U, 2U, 2U, 1U, 0U})
            {
                sender.DeliverAcked(Third(index));
            }
        }));
    Receiver receiver(broker);

    receiver.Run(6);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789", "0123456789"));
}

TEST(MultipartReceive, JoinsPartsOfOneConsumerThatComeOnTwoChannelsAndAnswersEachOnItsOwn)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptConsumer(peer);
            peer.OpenChannel(2);
            Sender sender(peer);
            for (const std::size_t index : {0U, 1U, 2U})
            {
                Message part = Third(index);
                part.channel = index == 1 ? 2 : 1;
                sender.DeliverAcked(part);
            }
            peer.CloseChannel(2);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    Receiver receiver(broker);
    const auto other = receiver.NewChannel();

    receiver.Run(3);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789"));
}

TEST(MultipartReceive, DoesNotJoinPartsOfTwoSubscriptions)
{
    const auto second = [](Message part)
    {
        part.consumerTag = "1/2";
        return part;
    };
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/2"});
            peer.Send(1, BasicConsumeOk{.consumerTag = "1/2"});
            Sender sender(peer);
            sender.DeliverAcked(Third(0));
            sender.DeliverAcked(second(Third(1)));
            sender.DeliverAcked(second(Third(2)));
            sender.DeliverAcked(second(Third(0))); // no duplicate: the first one went elsewhere
        }));
    Receiver receiver(broker);
    Inbox inbox;
    receiver.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    receiver.Run(4);

    EXPECT_TRUE(receiver.inbox.bodies.empty());
    EXPECT_THAT(inbox.bodies, testing::ElementsAre("0123456789"));
}
