// The consumers of a connection by their tags. The handler of each subscription owns a pointer, which shows when the
// subscription is destroyed.
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "connection/Consumers.hpp"

namespace
{

using Amqp::Consumers;
using Amqp::Subscription;

// A subscription, its address, and a pointer that expires when the subscription is destroyed.
struct Watched
{
    Consumers::Owned owned;
    Subscription* address;
    std::weak_ptr<int> life;
};

Watched NewSubscription(std::string_view tag)
{
    auto life = std::make_shared<int>();
    const std::weak_ptr<int> watch = life;
    Consumers::Owned owned(new Subscription(
        tag, [life = std::move(life)](const Amqp::Envelope&) { return Amqp::Ack; }, Amqp::Auto));
    auto* const address = owned.get();
    return {std::move(owned), address, watch};
}

} // namespace

TEST(Consumers, AreFoundByTheirTags)
{
    Consumers consumers;
    Watched first = NewSubscription("1/1");
    Watched second = NewSubscription("1/10");

    consumers.Add(std::move(first.owned));
    consumers.Add(std::move(second.owned));

    for (int again = 0; again < 2; ++again)
    {
        EXPECT_EQ(consumers.Find("1/1"), first.address);
        EXPECT_EQ(consumers.Find("1/10"), second.address);
        EXPECT_EQ(consumers.Find("1/"), nullptr);
        EXPECT_EQ(consumers.Find(""), nullptr);
    }
}

TEST(Consumers, MayHaveTagsThatAreEmptyOrHaveZerosInThem)
{
    Consumers consumers;
    Watched empty = NewSubscription("");
    Watched zero = NewSubscription(std::string_view("a\0b", 3));

    consumers.Add(std::move(empty.owned));
    consumers.Add(std::move(zero.owned));

    EXPECT_EQ(consumers.Find(""), empty.address);
    EXPECT_EQ(consumers.Find(std::string_view("a\0b", 3)), zero.address);
    EXPECT_EQ(consumers.Find("a"), nullptr);
}

TEST(Consumers, KeepTheSubscriptionOfATagThatIsKnown)
{
    Consumers consumers;
    Watched first = NewSubscription("tag");
    Watched second = NewSubscription("tag");
    consumers.Add(std::move(first.owned));

    consumers.Add(std::move(second.owned));

    EXPECT_EQ(consumers.Find("tag"), first.address);
    EXPECT_TRUE(second.life.expired());
}

TEST(Consumers, AreNotFoundOnceTheyWereTakenOut)
{
    Consumers consumers;
    Watched watched = NewSubscription("tag");
    consumers.Add(std::move(watched.owned));
    EXPECT_EQ(consumers.Find("tag"), watched.address);

    Consumers::Owned taken = consumers.Take("tag");

    EXPECT_EQ(taken.get(), watched.address);
    EXPECT_EQ(consumers.Find("tag"), nullptr);
    EXPECT_EQ(consumers.Take("tag"), nullptr);
    EXPECT_FALSE(watched.life.expired());
    taken.reset();
    EXPECT_TRUE(watched.life.expired());
}

TEST(Consumers, AreFoundAnewWithATagThatIsUsedAgain)
{
    Consumers consumers;
    Watched first = NewSubscription("tag");
    Watched second = NewSubscription("tag");
    consumers.Add(std::move(first.owned));
    EXPECT_EQ(consumers.Find("tag"), first.address);
    consumers.Take("tag");

    consumers.Add(std::move(second.owned));

    EXPECT_EQ(consumers.Find("tag"), second.address);
}

// Consumers remembers the subscription that it found last, even if the map moves its entries.
TEST(Consumers, AreStillFoundWhenManyComeAndGo)
{
    constexpr int many = 1000;
    Consumers consumers;
    Watched steady = NewSubscription("steady");
    consumers.Add(std::move(steady.owned));

    for (int number = 0; number < many; ++number)
    {
        ASSERT_EQ(consumers.Find("steady"), steady.address);
        consumers.Add(NewSubscription(std::to_string(number)).owned);
    }
    for (int number = 0; number < many; ++number)
    {
        ASSERT_EQ(consumers.Find("steady"), steady.address);
        ASSERT_NE(consumers.Take(std::to_string(number)), nullptr);
    }

    EXPECT_EQ(consumers.Find("steady"), steady.address);
}

TEST(Consumers, AreGoneWhenTheyAreCleared)
{
    Consumers consumers;
    Watched watched = NewSubscription("tag");
    consumers.Add(std::move(watched.owned));
    EXPECT_EQ(consumers.Find("tag"), watched.address);

    consumers.Clear();

    EXPECT_TRUE(watched.life.expired());
    EXPECT_EQ(consumers.Find("tag"), nullptr);
}

TEST(Consumers, LiveOnWhileTheyAreUsed)
{
    Consumers consumers;
    Watched watched = NewSubscription("tag");
    consumers.Add(std::move(watched.owned));
    {
        const Subscription::Use outer(*consumers.Find("tag"));
        {
            const Subscription::Use inner(*watched.address); // a handler runs a step of the loop
            consumers.Take("tag");
        }
        EXPECT_FALSE(watched.life.expired());
    }
    EXPECT_TRUE(watched.life.expired());
}

TEST(Consumers, OutliveTheirUse)
{
    Consumers consumers;
    Watched watched = NewSubscription("tag");
    consumers.Add(std::move(watched.owned));
    {
        const Subscription::Use use(*watched.address);
    }

    EXPECT_FALSE(watched.life.expired());
    EXPECT_EQ(consumers.Find("tag"), watched.address);
}
