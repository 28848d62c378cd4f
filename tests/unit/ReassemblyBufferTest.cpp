// Which deliveries a reassembly buffer holds on to, and which it lets go: no socket, deliveries are made by hand.
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "connection/ReassemblyBuffer.hpp"
#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

namespace
{

using Amqp::ReassemblyBuffer;
using Result = ReassemblyBuffer::Result;

Amqp::ReceivedEnvelope Delivery(std::string_view body)
{
    Amqp::ReceivedEnvelope received(new amqp_envelope_t{}, Amqp::EnvelopeDeleter());
    received->message.body = amqp_bytes_malloc_dup(Amqp::ToBytes(body));
    return received;
}

struct Numbers
{
    std::uint64_t index;
    std::uint64_t total;
};

Result Take(ReassemblyBuffer& buffer, const Amqp::ReceivedEnvelope& received, const Amqp::Table& headers)
{
    const Amqp::EncodedTable encoded(headers);
    received->message.properties._flags = AMQP_BASIC_HEADERS_FLAG;
    received->message.properties.headers = encoded.Get();
    return buffer.Take(received, Amqp::MakeReceivedEnvelope(received->message));
}

Result Take(ReassemblyBuffer& buffer, const Amqp::ReceivedEnvelope& received, Numbers numbers,
            const std::string& hash = "h")
{
    Amqp::Table headers;
    headers.Insert("x-vnd.zorat.multipart", true);
    headers.Insert("x-vnd.zorat.multipart.hash", hash);
    headers.Insert("x-vnd.zorat.multipart.index", numbers.index);
    headers.Insert("x-vnd.zorat.multipart.total", numbers.total);
    return Take(buffer, received, headers);
}

std::string_view Body(const Amqp::ReceivedEnvelope& received)
{
    return Amqp::ToView(received->message.body);
}

} // namespace

TEST(ReassemblyBuffer, HoldsAStoredPartUntilTheBufferGoes)
{
    std::weak_ptr<amqp_envelope_t> watched;
    {
        ReassemblyBuffer buffer;
        watched = [&]
        {
            const auto part = Delivery("a");
            EXPECT_EQ(Take(buffer, part, {0, 2}), Result::Stored);
            return part;
        }();
        EXPECT_FALSE(watched.expired());
    }

    EXPECT_TRUE(watched.expired());
}

TEST(ReassemblyBuffer, DoesNotHoldAnOrdinaryMessage)
{
    ReassemblyBuffer buffer;
    const auto message = Delivery("a");

    EXPECT_EQ(buffer.Take(message, Amqp::MakeReceivedEnvelope(message->message)), Result::Ordinary);
    EXPECT_EQ(message.use_count(), 1);
}

TEST(ReassemblyBuffer, DoesNotHoldADuplicateAndLeavesItsBodyAlone)
{
    ReassemblyBuffer buffer;
    const auto first = Delivery("first");
    const auto second = Delivery("second");

    EXPECT_EQ(Take(buffer, first, {0, 2}), Result::Stored);
    EXPECT_EQ(Take(buffer, second, {0, 2}), Result::Duplicate);

    EXPECT_EQ(first.use_count(), 2);
    EXPECT_EQ(second.use_count(), 1);
    EXPECT_EQ(Body(second), "second");
}

TEST(ReassemblyBuffer, LetsEveryPartGoOnCompletionAndPutsTheWholeBodyIntoTheCompletingOne)
{
    ReassemblyBuffer buffer;
    const auto right = Delivery("right");
    const auto left = Delivery("left");

    EXPECT_EQ(Take(buffer, right, {1, 2}), Result::Stored);
    EXPECT_EQ(Take(buffer, left, {0, 2}), Result::Complete);

    EXPECT_EQ(Body(left), "leftright");
    EXPECT_EQ(Body(right), "right");
    EXPECT_EQ(left.use_count(), 1);
    EXPECT_EQ(right.use_count(), 1);
}

TEST(ReassemblyBuffer, KeepsTheOtherSeriesOnCompletion)
{
    ReassemblyBuffer buffer;
    const auto other = Delivery("other");
    const auto whole = Delivery("whole");

    EXPECT_EQ(Take(buffer, other, {0, 2}, "another"), Result::Stored);
    EXPECT_EQ(Take(buffer, whole, {0, 1}), Result::Complete);

    EXPECT_EQ(other.use_count(), 2);
    EXPECT_EQ(Take(buffer, Delivery("again"), {0, 2}, "another"), Result::Duplicate);
}

TEST(ReassemblyBuffer, HoldsNothingWhenTheHashIsNoText)
{
    ReassemblyBuffer buffer;
    const auto part = Delivery("a");
    Amqp::Table headers;
    headers.Insert("x-vnd.zorat.multipart", true);
    headers.Insert("x-vnd.zorat.multipart.hash", 1);

    EXPECT_THROW(Take(buffer, part, headers), std::bad_variant_access);
    EXPECT_EQ(part.use_count(), 1);
}
