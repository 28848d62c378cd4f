// Parts whose headers are not as they should be: which are ordinary messages, which wait for ever, which are refused.
#include "Series.hpp"

#include <variant>

namespace
{

// The headers of part 0 of 1, which alone is a whole series, with one replaced or left out.
Fields With(const std::string& key, const Field& value)
{
    Fields headers = PartHeaders(0, 1);
    for (auto& [name, field] : headers)
    {
        if (name == key)
        {
            field = value;
        }
    }
    return headers;
}

Fields Without(const std::string& key)
{
    Fields headers = PartHeaders(0, 1);
    std::erase_if(headers, [&](const auto& entry) { return entry.first == key; });
    return headers;
}

// A series of two that a damaged third part must not touch: delivered around each of them, it comes out whole.
void ExpectOrdinary(const std::vector<Fields>& damaged)
{
    const auto sibling = [](std::uint64_t index)
    { return Message{.headers = PartHeaders(index, 2), .body = index == 0 ? "left" : "right"}; };
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            for (const Fields& headers : damaged)
            {
                sender.DeliverAcked(sibling(1));
                sender.DeliverNacked({.headers = headers, .body = "its own"}, true);
                sender.DeliverAcked(sibling(0));
            }
        }));
    Client client(broker);
    Inbox inbox;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            inbox.Note(envelope);
            return inbox.bodies.back() == "its own" ? Amqp::Requeue : Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    for (const Fields& headers : damaged)
    {
        inbox.bodies.clear();
        for (int step = 0; step < 3; ++step)
        {
            ASSERT_EQ(client.connection->Run(), std::optional(true)) << Describe(headers);
        }
        EXPECT_THAT(inbox.bodies, testing::ElementsAre("its own", "leftright")) << Describe(headers);
    }
}

// Every kind of value but unsigned 64-bit, each with the value of a good part where it can have one.
std::vector<Field> EveryKindButUInt64(std::uint8_t value)
{
    const auto small = static_cast<std::int8_t>(value);
    return {Int8(small),  UInt8(value), Int16(small),  UInt16(value),         Int32(small),     UInt32(value),
            Int64(small), Float(value), Double(value), Decimal(0, value),     Timestamp(value), Bool(value != 0),
            Text("1"),    Binary("1"),  Void(),        List({UInt64(value)}), Nested({}),       List({})};
}

void ExpectOrdinaryForEveryOtherKind(const std::string& key, std::uint8_t value)
{
    std::vector<Fields> damaged{Without(key)};
    for (const Field& field : EveryKindButUInt64(value))
    {
        damaged.push_back(With(key, field));
    }
    ExpectOrdinary(damaged);
}

// The first delivery is refused, nothing is answered, and the next one is received as ever.
void ExpectBadVariantAccess(const Fields& headers)
{
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            sender.Deliver({.headers = headers, .body = "bad"});
            sender.DeliverAcked({.headers = PartHeaders(0, 1), .body = "good"});
        }));
    Receiver receiver(broker);

    EXPECT_THROW(receiver.connection->Run(), std::bad_variant_access) << Describe(headers);
    receiver.Run(1);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("good")) << Describe(headers);
}

} // namespace

TEST(MultipartBadInput, IsAnOrdinaryMessageWithAFlagOfAnotherTypeOrFalseOrNoFlag)
{
    std::vector<Fields> damaged{Without(flagHeader), With(flagHeader, Bool(false)), With(flagHeader, UInt64(1)), {}};
    for (const Field& field : EveryKindButUInt64(1))
    {
        if (field.kind != 't')
        {
            damaged.push_back(With(flagHeader, field));
        }
    }

    ExpectOrdinary(damaged);
}

TEST(MultipartBadInput, IsAnOrdinaryMessageWithAFlagButWithoutAHash)
{
    ExpectOrdinary({Without(hashHeader), {{flagHeader, Bool(true)}}});
}

TEST(MultipartBadInput, IsAnOrdinaryMessageWithAFalseFlagWhateverItsHash)
{
    Fields headers = With(hashHeader, UInt64(1));
    headers[0].second = Bool(false);

    ExpectOrdinary({headers});
}

TEST(MultipartBadInput, IsAnOrdinaryMessageWithAnIndexThatIsMissingOrNotUnsigned64Bit)
{
    ExpectOrdinaryForEveryOtherKind(indexHeader, 0);
}

TEST(MultipartBadInput, IsAnOrdinaryMessageWithATotalThatIsMissingOrNotUnsigned64Bit)
{
    ExpectOrdinaryForEveryOtherKind(totalHeader, 1);
}

TEST(MultipartBadInput, RaisesBadVariantAccessWithAHashOfAnotherTypeAndTheNextRunWorks)
{
    for (const Field& hash : {Bool(true), Bool(false), UInt64(1), Int32(1), Double(1), Void(), List({Binary("h")}),
                              Nested({{"h", Binary("h")}})})
    {
        ExpectBadVariantAccess(With(hashHeader, hash));
    }
}

TEST(MultipartBadInput, RaisesBadVariantAccessWithAHashOfAnotherTypeEvenWithoutIndexAndTotal)
{
    ExpectBadVariantAccess({{flagHeader, Bool(true)}, {hashHeader, UInt64(1)}});
}

TEST(MultipartBadInput, TakesAHashOfEitherKindOfTextAndOfAnyBytes)
{
    const std::string hash("\0\xFF", 2);
    const auto part = [&](std::uint64_t index, const Field& text)
    {
        Fields headers = PartHeaders(index, 3);
        headers[1].second = text;
        return Message{.headers = headers, .body = std::to_string(index)};
    };
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            sender.DeliverAcked(part(0, Text(hash)));
            sender.DeliverAcked(part(1, Binary(hash)));
            sender.DeliverAcked(part(2, Binary(""))); // another series
            sender.DeliverAcked(part(2, Text(hash)));
        }));
    Receiver receiver(broker);

    receiver.Run(4);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("012"));
}
