// Indexes and totals that do not belong together, duplicates of every kind, and parts without a body.
#include "Series.hpp"

#include <limits>

namespace
{

constexpr std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

struct Numbers
{
    std::uint64_t index;
    std::uint64_t total;
};

// Delivers parts with these numbers, each of which is acknowledged and none of which completes the series.
void ExpectStored(const std::vector<Numbers>& parts)
{
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            for (const Numbers& part : parts)
            {
                sender.DeliverAcked({.headers = PartHeaders(part.index, part.total), .body = "part"});
            }
        }));
    Receiver receiver(broker, Amqp::Explicit, Amqp::Requeue); // a verdict would be seen on the wire

    receiver.Run(parts.size());

    EXPECT_TRUE(receiver.inbox.bodies.empty());
}

// A series of as many parts, delivered in this order, with these bodies by index, joined to `whole`.
void ExpectJoined(const std::vector<std::size_t>& order, const std::vector<std::string>& bodies,
                  const std::string& whole)
{
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            for (const std::size_t index : order)
            {
                sender.DeliverAcked({.headers = PartHeaders(index, bodies.size()), .body = bodies[index]});
            }
        }));
    Receiver receiver(broker);

    receiver.Run(order.size());

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre(whole));
}

} // namespace

TEST(MultipartNumber, StoresAnIndexEqualToTheTotalAndTheSeriesNeverCompletes)
{
    ExpectStored({{0, 2}, {2, 2}, {1, 2}});
}

TEST(MultipartNumber, StoresAnIndexEqualToTheTotalThatTakesThePlaceOfAMissingPart)
{
    ExpectStored({{1, 2}, {2, 2}});
}

TEST(MultipartNumber, StoresAnIndexBeyondTheTotalAndTheSeriesNeverCompletes)
{
    ExpectStored({{7, 2}, {1, 2}, {0, 2}});
}

TEST(MultipartNumber, StoresAnIndexOf1AsTheOnlyOneOfATotalOf1)
{
    ExpectStored({{1, 1}, {0, 1}});
}

TEST(MultipartNumber, StoresEveryPartWithATotalOfZero)
{
    ExpectStored({{0, 0}, {1, 0}, {greatest, 0}});
}

TEST(MultipartNumber, StoresTheGreatestIndexOfATotalOfZeroThoughItIsOneLess)
{
    ExpectStored({{greatest, 0}});
}

TEST(MultipartNumber, StoresTheGreatestIndex)
{
    ExpectStored({{greatest, 2}, {0, 2}, {1, 2}});
}

TEST(MultipartNumber, StoresEveryPartOfTheGreatestTotal)
{
    ExpectStored({{0, greatest}, {greatest - 1, greatest}});
}

TEST(MultipartNumber, StoresTheGreatestIndexOfTheGreatestTotal)
{
    ExpectStored({{greatest, greatest}, {greatest - 1, greatest}, {0, greatest}});
}

TEST(MultipartNumber, CompletesByTheTotalOfThePartThatCameLast)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked({.headers = PartHeaders(0, 9), .body = "a"});
            sender.DeliverAcked({.headers = PartHeaders(1, 1), .body = "b"});
            sender.DeliverAcked({.headers = PartHeaders(2, 3), .body = "c"});
        }));
    Receiver receiver(broker);

    receiver.Run(3);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("abc"));
}

TEST(MultipartNumber, RefusesADuplicateOfAStoredPartOfOneBeyondTheTotalAndOfTheGreatest)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            for (const std::uint64_t index : {std::uint64_t{0}, std::uint64_t{5}, greatest})
            {
                sender.DeliverAcked({.headers = PartHeaders(index, 3), .body = "first"});
                sender.DeliverNacked({.headers = PartHeaders(index, 3), .body = "second"});
            }
        }));
    Receiver receiver(broker);

    receiver.Run(6);

    EXPECT_TRUE(receiver.inbox.bodies.empty());
}

TEST(MultipartNumber, RefusesADuplicateWhoseTotalWouldCompleteTheSeries)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked({.headers = PartHeaders(0, 2), .body = "left"});
            sender.DeliverNacked({.headers = PartHeaders(0, 1), .body = "whole"});
            sender.DeliverAcked({.headers = PartHeaders(1, 2), .body = "right"});
        }));
    Receiver receiver(broker);

    receiver.Run(3);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartNumber, TakesADuplicateOfTheCompletingPartAsTheFirstOfANewSeries)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked({.headers = PartHeaders(0, 2), .body = "left"});
            sender.DeliverAcked({.headers = PartHeaders(1, 2), .body = "right"});
            sender.DeliverAcked({.headers = PartHeaders(1, 2), .body = "right"}); // stored
            sender.DeliverNacked({.headers = PartHeaders(1, 2), .body = "right"});
        }));
    Receiver receiver(broker);

    receiver.Run(4);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartNumber, JoinsACompletingPartWithoutABody)
{
    ExpectJoined({0, 1, 2}, {"a", "b", ""}, "ab");
    ExpectJoined({2, 0, 1}, {"a", "", "c"}, "ac");
}

TEST(MultipartNumber, JoinsStoredPartsWithoutABody)
{
    ExpectJoined({0, 1, 2}, {"", "", "c"}, "c");
}

TEST(MultipartNumber, JoinsPartsThatAllHaveNoBodyToAnEmptyOne)
{
    ExpectJoined({0, 1, 2}, {"", "", ""}, "");
    ExpectJoined({0}, {""}, "");
}
