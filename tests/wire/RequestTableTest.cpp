// The pending requests of a producer: their numbers, which the whole process shares, and what is filed under them.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <latch>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Listening.hpp"

namespace
{

using Amqp::Envelope;
using Amqp::Producer;

const std::string body = "the bytes of a request";

ScriptedBroker::Script WithProducers(std::uint16_t count)
{
    return WithBindings(
        [count](Dialogue& peer)
        {
            for (std::uint16_t channel = 1; channel <= count; ++channel)
            {
                peer.OpenChannel(channel);
                AcceptTopicExchange(peer, channel);
            }
        },
        count);
}

Envelope Request(std::string_view correlationId)
{
    Envelope request(body, Envelope::Persistent);
    request.CorrelationId(correlationId);
    return request;
}

// Files the first request of its process.
int FirstNumberOfTheProcess()
{
    ScriptedBroker broker(WithProducers(1));
    Producer producer(Connect(broker), "ex", {});
    return producer.AddRequest(Request("c-1"));
}

// A producer with its broker, and the number as it was afterwards.
class RequestTable : public testing::Test
{
protected:
    ~RequestTable() override { Producer::requestIdentifier = before; }

    ScriptedBroker broker{WithProducers(1)};
    Producer producer{Connect(broker), "ex", {}};

private:
    const int before = Producer::requestIdentifier;
};

} // namespace

TEST(RequestNumbersDeathTest, StartAt0InEachProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process started anew, whose numbers nobody has used

    EXPECT_EXIT(std::_Exit(FirstNumberOfTheProcess() == 0 ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(RequestNumbers, AreNeverTheSameForTwoProducersOnTwoThreads)
{
    constexpr int each = 20'000;
    ScriptedBroker broker(WithProducers(2));
    const auto connection = Connect(broker);
    auto first = std::make_unique<Producer>(connection, "ex", nullptr);
    const auto second = std::make_unique<Producer>(connection, "ex", nullptr);
    std::latch start(2); // both at the same time
    const auto fill = [&](Producer& producer, std::vector<std::int32_t>& numbers)
    {
        start.arrive_and_wait();
        std::generate_n(std::back_inserter(numbers), each, [&] { return producer.AddRequest(Request("c")); });
    };
    const int begin = Producer::requestIdentifier;

    std::vector<std::int32_t> numbers;
    std::vector<std::int32_t> others;
    std::thread other([&] { fill(*second, others); });
    fill(*first, numbers);
    other.join();
    first.reset(); // before the second, as the script has it

    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_TRUE(std::is_sorted(others.begin(), others.end()));
    numbers.insert(numbers.end(), others.begin(), others.end());
    std::sort(numbers.begin(), numbers.end());
    for (int i = 0; i < 2 * each; ++i)
    {
        ASSERT_EQ(numbers.at(static_cast<std::size_t>(i)), begin + i) << "each number once";
    }
}

TEST_F(RequestTable, NumbersRiseByOne)
{
    Producer::requestIdentifier = 41;

    EXPECT_EQ(producer.AddRequest(Request("c-1")), 41);
    EXPECT_EQ(producer.AddRequest(Request("c-2")), 42);
    EXPECT_EQ(Producer::requestIdentifier, 43);
}

TEST_F(RequestTable, GetRequestGivesTheSameEnvelopeEachTimeUntilRemoveRequest)
{
    const std::int32_t id = producer.AddRequest(Request("c-1"));

    for (int i = 0; i < 3; ++i)
    {
        Envelope found;
        ASSERT_TRUE(producer.GetRequest(id, found));
        EXPECT_EQ(found.CorrelationId(), "c-1");
        EXPECT_EQ(found.DeliveryMode(), Envelope::Persistent);
        EXPECT_EQ(found.Flags(), Request("c-1").Flags());
    }
    producer.RemoveRequest(id);
    Envelope found;
    EXPECT_FALSE(producer.GetRequest(id, found));
}

TEST_F(RequestTable, GetRequestSharesTheBodysBytes)
{
    const std::int32_t id = producer.AddRequest(Request("c-1"));

    Envelope found;
    ASSERT_TRUE(producer.GetRequest(id, found));

    EXPECT_EQ(static_cast<const void*>(found.Body()), static_cast<const void*>(body.data()));
    EXPECT_EQ(found.Size(), body.size());
}

TEST_F(RequestTable, GetRequestLeavesTheArgumentAsItWasWhenTheRequestWasRemoved)
{
    const std::int32_t id = producer.AddRequest(Request("c-1"));
    producer.RemoveRequest(id);

    Envelope untouched(std::string_view("mine"), Envelope::NonPersistent);
    untouched.CorrelationId("mine too");
    EXPECT_FALSE(producer.GetRequest(id, untouched));
    EXPECT_FALSE(producer.GetRequest(id + 1, untouched)) << "never filed";

    EXPECT_EQ(untouched.ViewBody(0, untouched.Size()), "mine");
    EXPECT_EQ(untouched.CorrelationId(), "mine too");
    EXPECT_EQ(untouched.DeliveryMode(), Envelope::NonPersistent);
}

TEST_F(RequestTable, RemoveRequestOfAnUnknownNumberChangesNothing)
{
    const std::int32_t id = producer.AddRequest(Request("c-1"));

    EXPECT_NO_THROW(producer.RemoveRequest(id + 1));

    Envelope found;
    EXPECT_TRUE(producer.GetRequest(id, found));
}

TEST_F(RequestTable, IsTheProducersOwn)
{
    ScriptedBroker another(WithProducers(1));
    Producer stranger(Connect(another), "ex", {});
    const std::int32_t id = producer.AddRequest(Request("c-1"));

    Envelope found;
    EXPECT_FALSE(stranger.GetRequest(id, found));
    stranger.RemoveRequest(id);
    EXPECT_TRUE(producer.GetRequest(id, found));
}

TEST_F(RequestTable, NumbersWrapRoundToTheSmallest)
{
    Producer::requestIdentifier = std::numeric_limits<int>::max();

    EXPECT_EQ(producer.AddRequest(Request("last")), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(producer.AddRequest(Request("first")), std::numeric_limits<std::int32_t>::min());

    Envelope found;
    ASSERT_TRUE(producer.GetRequest(std::numeric_limits<std::int32_t>::max(), found));
    EXPECT_EQ(found.CorrelationId(), "last");
    ASSERT_TRUE(producer.GetRequest(std::numeric_limits<std::int32_t>::min(), found));
    EXPECT_EQ(found.CorrelationId(), "first");
}

TEST_F(RequestTable, ANumberThatComesAgainOverwritesItsRequest)
{
    const std::int32_t id = producer.AddRequest(Request("old"));
    Producer::requestIdentifier = id;

    EXPECT_EQ(producer.AddRequest(Request("new")), id);

    Envelope found;
    ASSERT_TRUE(producer.GetRequest(id, found));
    EXPECT_EQ(found.CorrelationId(), "new");
}
