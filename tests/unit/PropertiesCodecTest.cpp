// Properties to and from rabbitmq-c's structure: which are flagged, that text is borrowed, and what a received message
// is given.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Properties.hpp"
#include "values/PropertiesCodec.hpp"

using namespace Amqp;

namespace
{

// Every property filled, none flagged.
amqp_basic_properties_t Filled(std::string_view text)
{
    static std::vector<amqp_table_entry_t> entries = {{ToBytes("received"), RawInt(1)}};
    amqp_basic_properties_t properties{};
    for (const TextProperty& property : textProperties)
    {
        properties.*property.raw = ToBytes(text);
    }
    properties.delivery_mode = 1;
    properties.priority = 200;
    properties.timestamp = 42;
    properties.headers = RawTable(entries);
    return properties;
}

MetaData Decoded(amqp_flags_t flags, MetaData metaData = {})
{
    amqp_basic_properties_t properties = Filled("received");
    properties._flags = flags;
    DecodeProperties(properties, metaData);
    return metaData;
}

} // namespace

TEST(EncodeProperties, FillsEveryTextWithTheStoredCharacters)
{
    const MetaData metaData = FullMetaData();
    const EncodedProperties encoded = EncodeProperties(metaData);

    for (const TextProperty& property : textProperties)
    {
        const amqp_bytes_t& bytes = encoded.value.*property.raw;
        EXPECT_EQ(bytes.bytes, (metaData.*property.get)().data()) << property.name;
        EXPECT_EQ(bytes.len, (metaData.*property.get)().size()) << property.name;
    }
}

TEST(EncodeProperties, CopiesFlagsAndNumbers)
{
    const MetaData metaData = FullMetaData();
    const EncodedProperties encoded = EncodeProperties(metaData);

    EXPECT_EQ(encoded.value._flags, 0xFFFCU);
    EXPECT_EQ(encoded.value.delivery_mode, 1);
    EXPECT_EQ(encoded.value.priority, 7);
    EXPECT_EQ(encoded.value.timestamp, 0x0123456789ABCDEFU);
}

TEST(EncodeProperties, FlagsNothingThatWasNotSet)
{
    const MetaData metaData;

    EXPECT_EQ(EncodeProperties(metaData).value._flags, 0U);
}

TEST(EncodeProperties, FlagsEachTextAlone)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData metaData;
        (metaData.*property.set)("");

        EXPECT_EQ(EncodeProperties(metaData).value._flags, property.flag) << property.name;
    }
}

TEST(EncodeProperties, FlagsHeadersThatWereFilledInPlace)
{
    MetaData metaData;
    metaData.Headers().Insert("key", "value");
    const EncodedProperties encoded = EncodeProperties(metaData);

    EXPECT_EQ(encoded.value._flags, 0x2000U);
    ASSERT_EQ(encoded.value.headers.num_entries, 1);
    EXPECT_EQ(Describe(DecodeTable(encoded.value.headers)), "{<key>=11:\"value\";}");
    EXPECT_EQ(metaData.Flags(), 0U);
}

TEST(EncodeProperties, FlagsHeadersSetToAnEmptyTableWithAnEmptyTable)
{
    MetaData metaData;
    metaData.Headers(Table());
    const EncodedProperties encoded = EncodeProperties(metaData);

    EXPECT_EQ(encoded.value._flags, 0x2000U);
    EXPECT_EQ(encoded.value.headers.num_entries, 0);
    EXPECT_EQ(encoded.value.headers.entries, nullptr);
}

TEST(EncodeProperties, DoesNotFlagHeadersThatWereFilledAndEmptiedInPlace)
{
    MetaData metaData;
    metaData.Headers().Insert("key", "value");
    metaData.Headers().Remove("key");

    EXPECT_EQ(EncodeProperties(metaData).value._flags, 0U);
}

TEST(DecodeProperties, SetsEachFlaggedTextAndNothingElse)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData expected;
        (expected.*property.set)("received");

        EXPECT_EQ(Describe(Decoded(property.flag)), Describe(expected)) << property.name;
    }
}

TEST(DecodeProperties, SetsEachFlaggedNumberAndNothingElse)
{
    MetaData mode;
    mode.DeliveryMode(MetaData::NonPersistent);
    MetaData time;
    time.TimeStamp(42);

    EXPECT_EQ(Describe(Decoded(AMQP_BASIC_DELIVERY_MODE_FLAG)), Describe(mode));
    EXPECT_EQ(Describe(Decoded(AMQP_BASIC_TIMESTAMP_FLAG)), Describe(time));
}

TEST(DecodeProperties, LimitsAReceivedPriorityTo9)
{
    MetaData expected;
    expected.Priority(9);

    EXPECT_EQ(Describe(Decoded(AMQP_BASIC_PRIORITY_FLAG)), Describe(expected));
}

TEST(DecodeProperties, SetsFlaggedHeadersAndNothingElse)
{
    MetaData expected;
    Table headers;
    headers.Insert("received", 1);
    expected.Headers(headers);

    EXPECT_EQ(Describe(Decoded(AMQP_BASIC_HEADERS_FLAG)), Describe(expected));
}

TEST(DecodeProperties, CutsReceivedTextsAfter256Bytes)
{
    const std::string text = LongText();
    amqp_basic_properties_t properties = Filled(text);
    properties._flags = 0xFFFC;
    MetaData metaData;

    DecodeProperties(properties, metaData);

    for (const TextProperty& property : textProperties)
    {
        EXPECT_EQ((metaData.*property.get)(), text.substr(0, 256)) << property.name;
    }
}

TEST(DecodeProperties, LeavesPropertiesThatAreNotFlaggedUntouched)
{
    EXPECT_EQ(Describe(Decoded(0, FullMetaData())), Describe(FullMetaData()));
}

TEST(DecodeProperties, KeepsBitsThatTheTargetHadAndIgnoresBitsWithoutAProperty)
{
    MetaData metaData;
    metaData.Type("kept");

    metaData = Decoded(AMQP_BASIC_PRIORITY_FLAG | 0x00010003U, metaData);

    EXPECT_EQ(metaData.Flags(), 0x0820U);
    EXPECT_EQ(metaData.Type(), "kept");
}

TEST(DecodeProperties, CopiesTheText)
{
    std::string text = "received";
    amqp_basic_properties_t properties = Filled(text);
    properties._flags = AMQP_BASIC_TYPE_FLAG;
    MetaData metaData;

    DecodeProperties(properties, metaData);
    text.assign(text.size(), '#');

    EXPECT_EQ(metaData.Type(), "received");
}

TEST(MakeReceivedEnvelope, OfFlags0HasOnlyBit1000AndIsPersistent)
{
    const Envelope envelope = MakeReceivedEnvelope(Filled("received"), {});

    MetaData expected;
    expected.DeliveryMode(MetaData::Persistent);
    EXPECT_EQ(Describe(envelope), Describe(expected));
    EXPECT_EQ(envelope.Flags(), 0x1000U);
}

TEST(MakeReceivedEnvelope, ReportsAReceivedDeliveryMode)
{
    amqp_basic_properties_t properties = Filled("received");
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG | AMQP_BASIC_TYPE_FLAG;

    const Envelope envelope = MakeReceivedEnvelope(properties, {});

    EXPECT_EQ(envelope.DeliveryMode(), MetaData::NonPersistent);
    EXPECT_EQ(envelope.Type(), "received");
    EXPECT_EQ(envelope.Flags(), 0x1020U);
}

TEST(MakeReceivedEnvelope, ViewsTheBodyWithoutCopyingIt)
{
    const std::string_view body = "body";
    const Envelope envelope = MakeReceivedEnvelope({}, body);

    EXPECT_EQ(envelope.Body(), body.data());
    EXPECT_EQ(envelope.Size(), 4U);
}
