// Large bodies through a real broker: what it leaves of the headers of a part, what it holds while a series is on its
// way, and a body of 200 MiB in every mode.
#include "Broker.hpp"

#include "connection/Multipart.hpp"
#include "support/NumberedBody.hpp"

using testing::ElementsAre;

namespace
{

class BrokerMultipart : public BrokerWithQueue
{
};

struct Mode
{
    const char* name;
    Amqp::AcknowledgeMode mode;
    Messages left; // in the queue, once the whole body has been handled
};

void PrintTo(const Mode& mode, std::ostream* out)
{
    *out << mode.name;
}

class BrokerLargeBody : public BrokerWithQueue, public testing::WithParamInterface<Mode>
{
};

constexpr std::size_t partSize = std::size_t{1} << 20;
constexpr std::size_t partCount = 200;

const std::string& LargeBody()
{
    static const std::string body = Wire::NumberedBody(partSize * partCount);
    return body;
}

// The four headers, of which those that count hold a `Number`; of "0123456789", in parts of four.
template <typename Number>
void ExpectHeaders(const Amqp::MetaData& part, Number index)
{
    const auto& headers = part.Headers().Entries();
    EXPECT_TRUE(std::get<bool>(headers.at("x-vnd.zorat.multipart")));
    EXPECT_EQ(std::get<Number>(headers.at("x-vnd.zorat.multipart.index")), index);
    EXPECT_EQ(std::get<Number>(headers.at("x-vnd.zorat.multipart.total")), Number{3});
    EXPECT_EQ(std::get<std::string>(headers.at("x-vnd.zorat.multipart.hash")),
              "84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882");
}

} // namespace

TEST_F(BrokerMultipart, PartsKeepTheTypesOfTheirFourHeaders)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);

    channel->Publish("", queue, "0123456789", 4, {});
    ASSERT_TRUE(RunUntil(*connection, inbox.Has(1)));

    // Were one of the parts not as it was sent, it would have come alone.
    EXPECT_THAT(inbox.bodies, ElementsAre("0123456789"));
    EXPECT_EQ(inbox.properties[0].Headers().Size(), 4U);
    ExpectHeaders(inbox.properties[0], std::uint64_t{2});
}

// RabbitMQ writes the headers of a dead letter anew, and knows no unsigned 64-bit integer: the numbers come signed,
// which makes each part an ordinary message.
TEST_F(BrokerMultipart, PartsThatWereDeadLetteredHaveSignedNumbersAndComeOneByOne)
{
    const std::string deadLetters = ExclusiveQueue(*channel, "dead-letters");
    DeadLetter(queue, deadLetters);
    Inbox dead;
    channel->Subscribe(deadLetters, dead.Handler(), Amqp::Explicit, false, false);
    Amqp::Envelope whole("0123456789", Amqp::MetaData::NonPersistent);
    whole.Expiration("0");

    channel->Publish("", queue, whole, 4, {});
    ASSERT_TRUE(RunUntil(*connection, dead.Has(3)));

    EXPECT_THAT(dead.bodies, ElementsAre("0123", "4567", "89"));
    for (std::size_t index = 0; index < dead.properties.size(); ++index)
    {
        EXPECT_EQ(dead.properties[index].Headers().Entries().count("x-death"), 1U);
        ExpectHeaders(dead.properties[index], static_cast<std::int64_t>(index));
    }
}

TEST_F(BrokerMultipart, ExplicitAcknowledgesEachStoredPartAtOnceAndTheLastByTheVerdict)
{
    channel->Publish("", queue, "0123456789", 4, {});
    const auto consuming = OpenChannel(connection);
    Inbox inbox;
    consuming->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);
    ASSERT_TRUE(Holds(queue, {.ready = 0, .unacknowledged = 3}));

    for (int left = 2; left > 0; --left)
    {
        ASSERT_EQ(connection->Run(longestWait), std::optional(true));
        EXPECT_TRUE(Holds(queue, {.ready = 0, .unacknowledged = left}));
        EXPECT_TRUE(inbox.bodies.empty());
    }
    ASSERT_EQ(connection->Run(longestWait), std::optional(true));

    EXPECT_THAT(inbox.bodies, ElementsAre("0123456789"));
    EXPECT_TRUE(Holds(queue, nothing));
}

TEST_F(BrokerMultipart, ANackOfTheWholeBodyDeadLettersTheLastPartOnly)
{
    const std::string deadLetters = ExclusiveQueue(*channel, "dead-letters");
    DeadLetter(queue, deadLetters);
    Inbox dead;
    channel->Subscribe(deadLetters, dead.Handler(), Amqp::Auto, false, false);
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(Amqp::Nack), Amqp::Explicit, false, false);

    channel->Publish("", queue, "0123456789", 4, {});
    ASSERT_TRUE(RunUntil(*connection, dead.Has(1)));
    channel->Publish("", deadLetters, "last", 0, {});
    ASSERT_TRUE(RunUntil(*connection, dead.Has(2)));

    EXPECT_THAT(inbox.bodies, ElementsAre("0123456789"));
    EXPECT_THAT(dead.bodies, ElementsAre("89", "last"));
}

TEST_F(BrokerMultipart, SeriesOfTwoSendersWhosePartsArriveMixedBothComeOutWhole)
{
    const auto second = Connect();
    const auto other = OpenChannel(second);
    const std::string common = Name("common");
    channel->DeclareQueue(common, /*durable*/ false, /*exclusive*/ false, /*autoDelete*/ false);
    const Amqp::Envelope digits("0123456789", Amqp::MetaData::NonPersistent);
    const Amqp::Envelope letters("abcdefghij", Amqp::MetaData::NonPersistent);
    Amqp::PartSeries left(digits, 4);
    Amqp::PartSeries right(letters, 4);
    Inbox inbox;
    channel->Subscribe(common, inbox.Handler(), Amqp::Explicit, false, false);
    const auto send = [&](Amqp::Channel& sender, Amqp::PartSeries& series)
    {
        sender.Publish("", common, *series.Next(), 0, {});
        sender.DeclareQueue(common); // once this is answered, the part is in the queue
    };

    send(*channel, left);
    send(*other, right);
    send(*other, right);
    send(*channel, left);
    send(*other, right);
    send(*channel, left);

    EXPECT_TRUE(RunUntil(*connection, inbox.Has(2)));
    EXPECT_THAT(inbox.bodies, ElementsAre("abcdefghij", "0123456789"));
}

TEST_P(BrokerLargeBody, Of200MebibytesComesBackWhole)
{
    const std::string& body = LargeBody();
    const auto consuming = OpenChannel(connection);
    std::vector<std::size_t> sizes;
    bool right = false;

    channel->Publish("", queue, Amqp::Envelope(body, Amqp::MetaData::NonPersistent), partSize, {});
    consuming->Subscribe(
        queue,
        [&](const Amqp::Envelope& envelope)
        {
            sizes.push_back(envelope.Size());
            right = envelope.ViewBody(0, envelope.Size()) == body;
            return Amqp::Ack;
        },
        GetParam().mode, false, false);
    EXPECT_TRUE(RunUntil(*connection, [&] { return !sizes.empty(); }));

    EXPECT_THAT(sizes, ElementsAre(body.size()));
    EXPECT_TRUE(right) << "not the bytes that were sent";
    EXPECT_TRUE(Holds(queue, GetParam().left));
}

INSTANTIATE_TEST_SUITE_P(InMode, BrokerLargeBody,
                         testing::Values(Mode{"None", Amqp::None, {.ready = 0, .unacknowledged = partCount}},
                                         Mode{"Explicit", Amqp::Explicit, nothing}, Mode{"Auto", Amqp::Auto, nothing}),
                         [](const auto& tested) { return tested.param.name; });
