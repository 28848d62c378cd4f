// The callbacks of messages that the broker may return, by number.
#include <cstdint>
#include <memory>
#include <vector>

#include <amqp/Envelope.hpp>
#include <gtest/gtest.h>

#include "connection/Returns.hpp"

namespace
{

using Amqp::Returns;

// Stores a callback that notes its number, and returns the number.
std::uint64_t Add(Returns& returns, std::vector<std::uint64_t>& called)
{
    const std::uint64_t number = returns.NextNumber();
    returns.Add([&called, number](const Amqp::Envelope&, const Amqp::AckStatus&) { called.push_back(number); });
    return number;
}

void Call(const Amqp::PublishCallback* callback)
{
    ASSERT_NE(callback, nullptr);
    (*callback)({}, {});
}

} // namespace

TEST(Returns, AreNumberedFrom1)
{
    Returns returns;

    for (std::uint64_t number = 1; number <= 100; ++number)
    {
        EXPECT_EQ(returns.NextNumber(), number);
    }
}

TEST(Returns, AreFoundByTheirNumbers)
{
    Returns returns;
    std::vector<std::uint64_t> called;
    EXPECT_EQ(Add(returns, called), 1U);
    EXPECT_EQ(Add(returns, called), 2U);
    EXPECT_EQ(Add(returns, called), 3U);

    Call(returns.Find(2));
    Call(returns.Find(1));
    Call(returns.Find(2));

    EXPECT_EQ(called, (std::vector<std::uint64_t>{2, 1, 2}));
}

TEST(Returns, AreNotFoundUnderNumbersThatNoMessageHas)
{
    Returns returns;
    std::vector<std::uint64_t> called;
    Add(returns, called);

    for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{2}, UINT64_MAX})
    {
        EXPECT_EQ(returns.Find(number), nullptr);
        returns.Remove(number);
    }
    EXPECT_NE(returns.Find(1), nullptr);
}

// A message that could not be published has used up its number.
TEST(Returns, SkipANumberWithoutACallback)
{
    Returns returns;
    std::vector<std::uint64_t> called;
    returns.NextNumber();

    EXPECT_EQ(Add(returns, called), 2U);

    EXPECT_EQ(returns.Find(1), nullptr);
    Call(returns.Find(2));
    EXPECT_EQ(called, std::vector<std::uint64_t>{2});
}

TEST(Returns, AreGoneOnceTheyAreRemoved)
{
    Returns returns;
    std::vector<std::uint64_t> called;
    const auto life = std::make_shared<int>();
    returns.NextNumber();
    returns.Add([life](const Amqp::Envelope&, const Amqp::AckStatus&) {});
    Add(returns, called);
    EXPECT_EQ(life.use_count(), 2);

    returns.Remove(1);

    EXPECT_EQ(life.use_count(), 1);
    EXPECT_EQ(returns.Find(1), nullptr);
    EXPECT_NE(returns.Find(2), nullptr);
}

TEST(Returns, AreGoneWhenTheyAreClearedAndNumbersGoOn)
{
    Returns returns;
    std::vector<std::uint64_t> called;
    Add(returns, called);

    returns.Clear();

    EXPECT_EQ(returns.Find(1), nullptr);
    EXPECT_EQ(Add(returns, called), 2U);
}
