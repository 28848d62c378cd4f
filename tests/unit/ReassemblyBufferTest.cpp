// Which parts a reassembly buffer keeps, and which it releases. The tests make deliveries by hand, and need no socket.
#include <new>
#include <string>
#include <string_view>
#include <variant>

#include <gtest/gtest.h>

#include "connection/ReassemblyBuffer.hpp"
#include "values/PropertiesCodec.hpp"

namespace
{

using Amqp::ReassemblyBuffer;
using Result = ReassemblyBuffer::Result;

// A delivery whose body lies in memory of the test, and the envelope for the handler.
struct Part
{
    explicit Part(std::string_view body) { event.body = body; }

    Result Into(ReassemblyBuffer& buffer, const Amqp::Table& headers)
    {
        const Amqp::EncodedTable encoded(headers);
        properties._flags = headers.Empty() ? 0 : AMQP_BASIC_HEADERS_FLAG;
        properties.headers = encoded.Get();
        event.properties = &properties;
        envelope = Amqp::MakeReceivedEnvelope(properties, event.body);
        static_cast<void>(envelope.Headers()); // decodes them while `encoded` exists
        return buffer.Take(event, envelope, whole);
    }

    amqp_basic_properties_t properties{};
    Amqp::Event event;
    Amqp::Envelope envelope;
    Amqp::Octets whole;
};

struct Numbers
{
    std::uint64_t index;
    std::uint64_t total;
};

Amqp::Table SeriesHeaders(Numbers numbers, const std::string& hash)
{
    Amqp::Table headers;
    headers.Insert("x-vnd.zorat.multipart", true);
    headers.Insert("x-vnd.zorat.multipart.hash", hash);
    headers.Insert("x-vnd.zorat.multipart.index", numbers.index);
    headers.Insert("x-vnd.zorat.multipart.total", numbers.total);
    return headers;
}

Result Take(ReassemblyBuffer& buffer, std::string_view body, Numbers numbers, const std::string& hash = "h")
{
    return Part(body).Into(buffer, SeriesHeaders(numbers, hash));
}

std::string_view Body(const Amqp::Envelope& envelope)
{
    return envelope.ViewBody(0, envelope.Size());
}

} // namespace

TEST(ReassemblyBuffer, LeavesAnOrdinaryMessageAlone)
{
    ReassemblyBuffer buffer;
    Part message("a");

    EXPECT_EQ(message.Into(buffer, {}), Result::Ordinary);
    EXPECT_EQ(Body(message.envelope), "a");
}

TEST(ReassemblyBuffer, OwnsTheBodyOfAStoredPart)
{
    ReassemblyBuffer buffer;
    std::string body = "left";
    EXPECT_EQ(Take(buffer, body, {0, 2}), Result::Stored);
    body.assign(body.size(), '#');
    Part right("right");

    EXPECT_EQ(right.Into(buffer, SeriesHeaders({1, 2}, "h")), Result::Complete);

    EXPECT_EQ(Body(right.envelope), "leftright");
}

TEST(ReassemblyBuffer, RefusesADuplicateAndLeavesItsBodyAlone)
{
    ReassemblyBuffer buffer;
    Part second("second");

    EXPECT_EQ(Take(buffer, "first", {0, 2}), Result::Stored);
    EXPECT_EQ(second.Into(buffer, SeriesHeaders({0, 2}, "h")), Result::Duplicate);

    EXPECT_EQ(Body(second.envelope), "second");
}

TEST(ReassemblyBuffer, PutsTheWholeBodyIntoTheCompletingPartWhereverItBelongs)
{
    for (const std::uint64_t last : {0U, 1U, 2U})
    {
        ReassemblyBuffer buffer;
        const std::string bodies[] = {"first", "", "third"};
        for (std::uint64_t index = 0; index < 3; ++index)
        {
            EXPECT_EQ(index == last || Take(buffer, bodies[index], {index, 3}) == Result::Stored, true);
        }
        Part completing(bodies[last]);

        EXPECT_EQ(completing.Into(buffer, SeriesHeaders({last, 3}, "h")), Result::Complete);

        EXPECT_EQ(Body(completing.envelope), "firstthird");
        EXPECT_EQ(Take(buffer, "again", {0, 2}), Result::Stored); // the buffer has forgotten the series
    }
}

TEST(ReassemblyBuffer, KeepsTheOtherSeriesOnCompletion)
{
    ReassemblyBuffer buffer;

    EXPECT_EQ(Take(buffer, "other", {0, 2}, "another"), Result::Stored);
    EXPECT_EQ(Take(buffer, "whole", {0, 1}), Result::Complete);

    EXPECT_EQ(Take(buffer, "again", {0, 2}, "another"), Result::Duplicate);
}

TEST(ReassemblyBuffer, HoldsNothingWhenTheHashIsNoText)
{
    ReassemblyBuffer buffer;
    Amqp::Table headers;
    headers.Insert("x-vnd.zorat.multipart", true);
    headers.Insert("x-vnd.zorat.multipart.hash", 1);

    EXPECT_THROW(Part("a").Into(buffer, headers), std::bad_variant_access);
    EXPECT_EQ(Take(buffer, "a", {0, 2}, "1"), Result::Stored);
}
