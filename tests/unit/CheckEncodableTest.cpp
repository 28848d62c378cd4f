// Whether properties can be written, found out beforehand, against what rabbitmq-c says when it writes them.
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Properties.hpp"
#include "RandomTable.hpp"
#include "values/PropertiesCodec.hpp"

using namespace Amqp;

namespace
{

// The payload of the smallest frame there is, less the fields that stand before the properties.
constexpr std::size_t smallestRoom = 4096 - 8 - 12;

// What rabbitmq-c says to properties in a buffer of that size: how much it wrote, or a negative status.
int Write(const EncodedProperties& encoded, std::size_t room)
{
    amqp_basic_properties_t properties = encoded.value;
    std::vector<char> buffer(room + 1); // one more, for a pointer that is never null
    return amqp_encode_properties(AMQP_BASIC_CLASS, &properties, {room, buffer.data()});
}

// Every room around the exact size: both say yes from there on, and no below.
void ExpectExactBoundary(const MetaData& metaData)
{
    const EncodedProperties encoded = EncodeProperties(metaData);
    const int size = Write(encoded, std::size_t{1} << 20);
    ASSERT_GT(size, 0);
    const auto exact = static_cast<std::size_t>(size);

    EXPECT_EQ(CheckEncodable(encoded.value, exact), AMQP_STATUS_OK);
    EXPECT_EQ(CheckEncodable(encoded.value, exact + 1), AMQP_STATUS_OK);
    EXPECT_EQ(CheckEncodable(encoded.value, exact - 1), AMQP_STATUS_TABLE_TOO_BIG);
    EXPECT_EQ(Write(encoded, exact), size);
    EXPECT_LT(Write(encoded, exact - 1), 0);
}

} // namespace

TEST(CheckEncodable, AcceptsNoPropertiesAtAll)
{
    const MetaData metaData;

    EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_OK);
}

TEST(CheckEncodable, AcceptsEachTextOf255BytesAndRefusesItOf256)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData metaData;
        (metaData.*property.set)(LongText().substr(0, 255));
        EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_OK) << property.name;
        EXPECT_GT(Write(EncodeProperties(metaData), smallestRoom), 0) << property.name;

        (metaData.*property.set)(LongText().substr(0, 256));
        EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_BAD_AMQP_DATA)
            << property.name;
        EXPECT_LT(Write(EncodeProperties(metaData), smallestRoom), 0) << property.name;
    }
}

TEST(CheckEncodable, OverlooksALongTextThatIsNotFlagged)
{
    const std::string text = LongText();
    amqp_basic_properties_t properties{};
    properties.type = ToBytes(text);
    properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG;

    EXPECT_EQ(CheckEncodable(properties, smallestRoom), AMQP_STATUS_OK);
}

TEST(CheckEncodable, AcceptsEveryPropertyAtItsLongestInTheSmallestFrame)
{
    MetaData metaData = FullMetaData();
    for (const TextProperty& property : textProperties)
    {
        (metaData.*property.set)(LongText().substr(0, 255));
    }
    metaData.Headers(Table());

    EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_OK);
    EXPECT_GT(Write(EncodeProperties(metaData), smallestRoom), 0);
}

TEST(CheckEncodable, FindsTheExactRoomThatHeadersTake)
{
    MetaData metaData;
    metaData.Headers().Insert("key", std::string(5000, 'x'));

    ExpectExactBoundary(metaData);
}

TEST(CheckEncodable, FindsTheExactRoomThatHeadersTakeWithEachOtherProperty)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData metaData;
        metaData.Headers(Table());
        (metaData.*property.set)("some text");

        SCOPED_TRACE(property.name);
        ExpectExactBoundary(metaData);
    }
    MetaData metaData;
    metaData.Headers(Table());
    metaData.DeliveryMode(MetaData::Persistent);
    ExpectExactBoundary(metaData);
    metaData.Priority(1);
    ExpectExactBoundary(metaData);
    metaData.TimeStamp(1);
    ExpectExactBoundary(metaData);
}

TEST(CheckEncodable, FindsTheExactRoomOfAllPropertiesWithHeadersMadeAtRandom)
{
    RandomTable random(false);
    for (int i = 0; i < 50; ++i)
    {
        MetaData metaData = FullMetaData();
        metaData.Headers(random.Make());

        SCOPED_TRACE(i);
        ExpectExactBoundary(metaData);
    }
}

TEST(CheckEncodable, RefusesHeadersWithAKeyOf256Bytes)
{
    MetaData metaData;
    metaData.Headers().Insert(std::string(255, 'k'), 1);
    EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_OK);

    metaData.Headers().Insert(std::string(256, 'k'), 1);
    EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_BAD_AMQP_DATA);
}

TEST(CheckEncodable, RefusesHeadersWithAKeyOf256BytesInATableInsideAnArray)
{
    Table inner;
    inner.Insert(std::string(256, 'k'), 1);
    MetaData metaData;
    metaData.Headers().Insert("array", Array({inner, inner}));

    EXPECT_EQ(CheckEncodable(EncodeProperties(metaData).value, smallestRoom), AMQP_STATUS_BAD_AMQP_DATA);
}
