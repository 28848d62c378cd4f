// Calls that the broker refuses by closing their channel: who is told, and that the rest of the connection goes on.
#include "Broker.hpp"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace
{

class BrokerRefusal : public BrokerWithQueue
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(BrokerWithQueue::SetUp());
        refused = std::make_unique<Amqp::Channel>(connection, noted.Notifier());
    }

    void TearDown() override
    {
        refused.reset();
        BrokerWithQueue::TearDown();
    }

    void ExpectRefused(unsigned short code, const std::string& begin, const std::string& end = "")
    {
        ASSERT_EQ(noted.errors.size(), 1U);
        EXPECT_EQ(noted.errors[0].category, Amqp::ErrorCode::ChannelClosed);
        EXPECT_EQ(noted.errors[0].code, code);
        EXPECT_THAT(noted.errors[0].what(), AllOf(StartsWith(begin), EndsWith(end)));
    }

    // The other channel does everything there is to do: calls, publishing and the loop.
    void ExpectOtherChannelWorks()
    {
        Inbox inbox;
        const std::string other = channel->DeclareQueue(false, true, false);
        const std::string tag = channel->Subscribe(other, inbox.Handler(), Amqp::Explicit, false, false);
        channel->Publish("", other, "message", 0, {});
        EXPECT_TRUE(RunUntil(*connection, inbox.Has(1)));
        channel->Unsubscribe(tag);
        EXPECT_THAT(inbox.bodies, ElementsAre("message"));
    }

    // Destroying the refused channel changes nothing, its number stays dead, and the connection takes its leave.
    void ExpectRestOfConnectionWorks()
    {
        ExpectOtherChannelWorks();
        const std::size_t told = noted.errors.size();
        const unsigned short dead = refused->Token();
        refused.reset();
        ExpectOtherChannelWorks();
        EXPECT_GT(OpenChannel(connection)->Token(), dead);
        EXPECT_EQ(noted.errors.size(), told);

        const std::weak_ptr<Amqp::Connection> observed = connection;
        channel.reset();
        const auto start = std::chrono::steady_clock::now();
        connection.reset();
        EXPECT_TRUE(observed.expired());
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    }

    void PublishAsSomebodyElse()
    {
        Amqp::Envelope message("message", Amqp::MetaData::NonPersistent);
        message.UserId("somebody else");
        refused->Publish("", queue, message, 0, {});
    }

    std::unique_ptr<Amqp::Channel> ChannelThatDestroysItself()
    {
        return std::make_unique<Amqp::Channel>(connection,
                                               [this](Amqp::ErrorCode&& error)
                                               {
                                                   noted.errors.push_back(std::move(error));
                                                   refused.reset();
                                               });
    }

    Noted noted;
    std::unique_ptr<Amqp::Channel> refused;
};

} // namespace

TEST_F(BrokerRefusal, PassiveDeclareOfAMissingQueueIs404)
{
    const std::string missing = Name("missing");
    const unsigned short token = refused->Token();

    refused->DeclareQueue(missing);

    ExpectRefused(404, "NOT_FOUND - no queue '" + missing + "' in vhost");
    EXPECT_EQ(refused->Token(), token);
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, PassiveDeclareOfTheEmptyNameIs404EvenAfterADeclare)
{
    refused->DeclareQueue(false, true, true);

    refused->DeclareQueue("");

    ExpectRefused(404, "NOT_FOUND - no queue '' in vhost");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, PassiveDeclareOfAMissingExchangeIs404)
{
    const std::string missing = Name("missing");

    refused->DeclareExchange(missing);

    ExpectRefused(404, "NOT_FOUND - no exchange '" + missing + "' in vhost");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, SubscribingToAMissingQueueIs404)
{
    const std::string missing = Name("missing");

    const std::string tag = refused->Subscribe(missing, &Ignore, Amqp::Auto, false, false);

    EXPECT_EQ(tag, std::to_string(refused->Token()) + "/1");
    ExpectRefused(404, "NOT_FOUND - no queue '" + missing + "' in vhost");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, AnExclusiveQueueOfAnotherConnectionIs405)
{
    const auto owner = OpenChannel(Connect());
    const std::string locked = ExclusiveQueue(*owner, "locked");

    refused->DeclareQueue(locked);

    ExpectRefused(405, "RESOURCE_LOCKED - cannot obtain exclusive access to locked queue '" + locked + "' in vhost");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, RedeclaringAQueueWithOtherFlagsIs406)
{
    const std::string other = Name("other");
    channel->DeclareQueue(other, /*durable*/ true, false, false);

    refused->DeclareQueue(other, /*durable*/ false, false, false);

    ExpectRefused(406, "PRECONDITION_FAILED - inequivalent arg 'durable' for queue '" + other + "' in vhost",
                  "received 'false' but current is 'true'");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, RedeclaringAnExchangeWithAnotherTypeIs406)
{
    const std::string exchange = Exchange("exchange", Amqp::Direct);

    refused->DeclareExchange(exchange, Amqp::Topic, false, false, false);

    ExpectRefused(406, "PRECONDITION_FAILED - inequivalent arg 'type' for exchange '" + exchange + "' in vhost",
                  "received 'topic' but current is 'direct'");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, DestroyingAFilledQueueIfEmptyIs406)
{
    refused->Publish("", queue, "message", 0, {});

    refused->DestroyQueue(queue, /*ifEmpty*/ true, /*ifUnused*/ false);

    ExpectRefused(406, "PRECONDITION_FAILED - queue '" + queue + "' in vhost", "not empty");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, DestroyingAQueueInUseIfUnusedIs406)
{
    channel->Subscribe(queue, &Ignore, Amqp::Explicit, false, false);

    refused->DestroyQueue(queue, /*ifEmpty*/ false, /*ifUnused*/ true);

    ExpectRefused(406, "PRECONDITION_FAILED - queue '" + queue + "' in vhost", "in use");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, DestroyingABoundExchangeIfUnusedIs406)
{
    const std::string exchange = Exchange("exchange");
    channel->BindQueue(queue, exchange, "key");

    refused->DestroyExchange(exchange, /*ifUnused*/ true);

    ExpectRefused(406, "PRECONDITION_FAILED - exchange '" + exchange + "' in vhost", "in use");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, ASecondConsumerThatWantsTheQueueForItselfIs403)
{
    channel->Subscribe(queue, &Ignore, Amqp::Explicit, false, /*exclusive*/ false);

    refused->Subscribe(queue, &Ignore, Amqp::Explicit, false, /*exclusive*/ true);

    ExpectRefused(403, "ACCESS_REFUSED - queue '" + queue + "' in vhost", "in exclusive use");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, ASecondConsumerBesideAnExclusiveOneIs403)
{
    channel->Subscribe(queue, &Ignore, Amqp::Explicit, false, /*exclusive*/ true);

    refused->Subscribe(queue, &Ignore, Amqp::Explicit, false, /*exclusive*/ false);

    ExpectRefused(403, "ACCESS_REFUSED - queue '" + queue + "' in vhost", "in exclusive use");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, DeclaringAReservedNameIs403AndYieldsNoQueue)
{
    refused->DeclareQueue("amq.mine", false, true, true);

    ExpectRefused(403, "ACCESS_REFUSED - queue name 'amq.mine' contains reserved prefix 'amq.*'");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, PublishingToAMissingExchangeIsToldByTheLoop)
{
    refused->Publish(Name("missing"), "key", "message", 0, {});
    EXPECT_TRUE(noted.errors.empty());

    EXPECT_TRUE(RunUntil(*connection, [&] { return !noted.errors.empty(); }));

    ExpectRefused(0, "Broker requested channel close");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, PublishingToAMissingExchangeIs404ForTheNextCall)
{
    const std::string missing = Name("missing");
    refused->Publish(missing, "key", "message", 0, {});

    EXPECT_EQ(refused->DeclareQueue(false, true, true), "");

    ExpectRefused(404, "NOT_FOUND - no exchange '" + missing + "' in vhost");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, AMessageInTheNameOfAnotherUserIs406)
{
    PublishAsSomebodyElse();

    EXPECT_EQ(refused->DeclareQueue(false, true, true), "");

    ExpectRefused(406, "PRECONDITION_FAILED - user_id property set to 'somebody else'");
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, AMessageInTheNameOfAnotherUserIsToldByTheLoop)
{
    PublishAsSomebodyElse();

    EXPECT_TRUE(RunUntil(*connection, [&] { return !noted.errors.empty(); }));

    ExpectRefused(0, "Broker requested channel close");
    EXPECT_THAT(Drain(), ElementsAre("last"));
    ExpectRestOfConnectionWorks();
}

TEST_F(BrokerRefusal, UsingARefusedChannelAgainThrowsAndLeavesTheConnectionAlone)
{
    refused->DeclareQueue(Name("missing"));

    const Amqp::ErrorCode error = ErrorOf([&] { refused->DeclareQueue(queue); });

    EXPECT_THAT(error, IsError(Amqp::ErrorCode::ChannelClosed, 504, "Channel is closed"));
    EXPECT_EQ(noted.errors.size(), 1U);
    ExpectOtherChannelWorks();
}

TEST_F(BrokerRefusal, ANotifierMayDestroyItsChannelInACall)
{
    refused = ChannelThatDestroysItself();

    refused->DeclareQueue(Name("missing"));

    EXPECT_EQ(noted.errors.size(), 1U);
    EXPECT_EQ(refused, nullptr);
    ExpectOtherChannelWorks();
}

TEST_F(BrokerRefusal, ANotifierMayDestroyItsChannelInTheLoop)
{
    refused = ChannelThatDestroysItself();
    refused->Publish(Name("missing"), "key", "message", 0, {});

    EXPECT_TRUE(RunUntil(*connection, [&] { return !noted.errors.empty(); }));

    ExpectRefused(0, "Broker requested channel close");
    EXPECT_EQ(refused, nullptr);
    ExpectOtherChannelWorks();
}
