// The properties of a message: what each setter stores and marks, its limits, and copies.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <amqp/MetaData.hpp>
#include <gtest/gtest.h>

#include "Fields.hpp"
#include "Properties.hpp"

using namespace Amqp;
using namespace std::string_literals;

TEST(MetaData, HasNothingSetWhenMade)
{
    const MetaData metaData;

    EXPECT_EQ(metaData.Flags(), 0U);
    for (const TextProperty& property : textProperties)
    {
        EXPECT_EQ((metaData.*property.get)(), "") << property.name;
    }
    EXPECT_EQ(metaData.DeliveryMode(), MetaData::DeliveryType(0));
    EXPECT_EQ(metaData.Priority(), 0);
    EXPECT_EQ(metaData.TimeStamp(), 0U);
    EXPECT_TRUE(metaData.Headers().Empty());
}

TEST(MetaData, TextSetterStoresItsTextAndSetsItsOwnBitOnly)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData metaData;

        (metaData.*property.set)("a\0b"s);

        EXPECT_EQ(metaData.Flags(), property.flag) << property.name;
        for (const TextProperty& other : textProperties)
        {
            EXPECT_EQ((metaData.*other.get)(), &other == &property ? "a\0b"s : ""s) << property.name << other.name;
        }
    }
}

TEST(MetaData, EmptyTextSetsTheBitWithAnEmptyValue)
{
    for (const TextProperty& property : textProperties)
    {
        MetaData metaData;

        (metaData.*property.set)("");

        EXPECT_EQ(metaData.Flags(), property.flag) << property.name;
        EXPECT_EQ((metaData.*property.get)(), "") << property.name;
    }
}

TEST(MetaData, ContentTypeOfNothingSetsBit8000WithAnEmptyValue)
{
    MetaData metaData;

    metaData.ContentType("");

    EXPECT_EQ(metaData.Flags(), 0x8000U);
    EXPECT_EQ(metaData.ContentType(), "");
}

TEST(MetaData, MessageIdOf300BytesStoresTheFirst256)
{
    MetaData metaData;

    metaData.MessageId(LongText());

    EXPECT_EQ(metaData.MessageId(), LongText().substr(0, 256));
}

TEST(MetaData, EveryTextIsCutAfter256Bytes)
{
    for (const TextProperty& property : textProperties)
    {
        for (const std::size_t length : {255U, 256U, 257U, 300U})
        {
            MetaData metaData;

            (metaData.*property.set)(LongText().substr(0, length));

            EXPECT_EQ((metaData.*property.get)(), LongText().substr(0, std::min<std::size_t>(length, 256)))
                << property.name;
        }
    }
}

TEST(MetaData, TextSetAgainReplacesTheOldOne)
{
    MetaData metaData;
    metaData.Type("a longer text");

    metaData.Type("short");

    EXPECT_EQ(metaData.Type(), "short");
}

TEST(MetaData, TextMayBeSetToAPartOfItself)
{
    MetaData metaData;
    metaData.Type("abcdef");

    metaData.Type(metaData.Type().substr(2));
    EXPECT_EQ(metaData.Type(), "cdef");

    metaData.Type(metaData.Type().substr(0, 2));
    EXPECT_EQ(metaData.Type(), "cd");
}

TEST(MetaData, PriorityAbove9IsStoredAs9)
{
    for (const auto& [given, stored] : {std::pair{0, 0}, {1, 1}, {8, 8}, {9, 9}, {10, 9}, {200, 9}, {255, 9}})
    {
        MetaData metaData;

        metaData.Priority(static_cast<std::uint8_t>(given));

        EXPECT_EQ(metaData.Priority(), stored) << given;
        EXPECT_EQ(metaData.Flags(), 0x0800U) << given;
    }
}

TEST(MetaData, DeliveryModePassesEveryOctetThrough)
{
    for (int octet = 0; octet < 256; ++octet)
    {
        MetaData metaData;

        metaData.DeliveryMode(MetaData::DeliveryType(octet));

        EXPECT_EQ(metaData.DeliveryMode(), octet);
        EXPECT_EQ(metaData.Flags(), 0x1000U);
    }
}

TEST(MetaData, DeliveryTypesHaveTheOctetsOfAmqp)
{
    EXPECT_EQ(MetaData::NonPersistent, 1);
    EXPECT_EQ(MetaData::Persistent, 2);
    EXPECT_EQ(sizeof(MetaData::DeliveryType), 1U);
}

TEST(MetaData, TimeStampStoresAll64BitsAndSetsItsBit)
{
    for (const std::uint64_t time : {std::uint64_t{0}, ~std::uint64_t{0}})
    {
        MetaData metaData;

        metaData.TimeStamp(time);

        EXPECT_EQ(metaData.TimeStamp(), time);
        EXPECT_EQ(metaData.Flags(), 0x0040U);
    }
}

TEST(MetaData, SettersAddTheirBitsUpToAllFourteen)
{
    EXPECT_EQ(FullMetaData().Flags(), 0xFFFCU);
}

TEST(MetaDataCopy, CarriesEveryProperty)
{
    const MetaData original = FullMetaData();

    const MetaData constructed(original); // NOLINT(performance-unnecessary-copy-initialization): that is the subject
    MetaData assigned;
    assigned.ClusterId("old");
    assigned = original;

    EXPECT_EQ(Describe(constructed), Describe(FullMetaData()));
    EXPECT_EQ(Describe(assigned), Describe(FullMetaData()));
    EXPECT_EQ(Describe(original), Describe(FullMetaData()));
}

TEST(MetaDataCopy, IsNotChangedWithItsSource)
{
    MetaData original = FullMetaData();
    const MetaData copy = original;

    original.Type("changed");
    original.Headers().Insert("changed", true);

    EXPECT_EQ(Describe(copy), Describe(FullMetaData()));
}

TEST(MetaDataCopy, AssignmentToItselfChangesNothing)
{
    MetaData metaData = FullMetaData();
    const MetaData& same = metaData;

    metaData = same;

    EXPECT_EQ(Describe(metaData), Describe(FullMetaData()));
}

TEST(MetaDataMove, CarriesEveryProperty)
{
    MetaData first = FullMetaData();
    MetaData second = FullMetaData();

    const MetaData constructed(std::move(first));
    MetaData assigned;
    assigned = std::move(second);

    EXPECT_EQ(Describe(constructed), Describe(FullMetaData()));
    EXPECT_EQ(Describe(assigned), Describe(FullMetaData()));
}

TEST(MetaDataMove, MovesTheTextsAndCopiesTheHeaders)
{
    MetaData source;
    source.Type(std::string(100, 't'));
    source.Headers().Insert("key", "value");
    const char* const text = source.Type().data();

    const MetaData target(std::move(source));

    EXPECT_EQ(target.Type().data(), text);
    EXPECT_EQ(Describe(source.Headers()), "{<key>=11:\"value\";}"); // NOLINT(bugprone-use-after-move): the subject
}

TEST(MetaDataMove, AssignmentToItselfLeavesTheHeadersUnchanged)
{
    MetaData metaData = FullMetaData();
    MetaData& same = metaData;

    metaData = std::move(same);

    EXPECT_EQ(Describe(metaData.Headers()), Describe(FullMetaData().Headers()));
    EXPECT_EQ(metaData.Flags(), 0xFFFCU);
}
