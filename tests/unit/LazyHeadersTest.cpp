// Headers that were received: decoded when somebody asks for them, or copies them, and not before.
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Properties.hpp"
#include "values/PropertiesCodec.hpp"

using namespace Amqp;

namespace
{

// What rabbitmq-c has read, with the one header "key".
class Received
{
public:
    explicit Received(std::int32_t number) : entries{{ToBytes("key"), RawInt(number)}} {}

    void LendTo(MetaData& metaData)
    {
        properties._flags = AMQP_BASIC_HEADERS_FLAG;
        properties.headers = RawTable(entries);
        DecodeProperties(properties, metaData);
    }

    // As if its memory were used for something else.
    void Change(std::int32_t number) { entries.front().value = RawInt(number); }

    std::vector<amqp_table_entry_t> entries;

private:
    amqp_basic_properties_t properties{};
};

std::string Holding(std::int32_t number)
{
    Table table;
    table.Insert("key", number);
    return Describe(table);
}

} // namespace

TEST(LazyHeaders, AreDecodedWhenTheyAreAskedForAndOnlyOnce)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);
    received.Change(2);

    EXPECT_EQ(Describe(std::as_const(metaData).Headers()), Holding(2));

    received.Change(3);
    EXPECT_EQ(Describe(std::as_const(metaData).Headers()), Holding(2));
    EXPECT_EQ(Describe(metaData.Headers()), Holding(2));
}

TEST(LazyHeaders, AreDecodedByACopyInBoth)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);

    const MetaData copy(metaData);
    received.Change(2);

    EXPECT_EQ(Describe(copy.Headers()), Holding(1));
    EXPECT_EQ(Describe(metaData.Headers()), Holding(1));
}

TEST(LazyHeaders, AreDecodedByAMoveInBoth)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);

    const MetaData moved(std::move(metaData));
    received.Change(2);

    EXPECT_EQ(Describe(moved.Headers()), Holding(1));
    // NOLINTNEXTLINE(bugprone-use-after-move): headers are copied
    EXPECT_EQ(Describe(metaData.Headers()), Holding(1));
}

TEST(LazyHeaders, AreDecodedByAnAssignmentOfEitherKind)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);
    MetaData copied;
    MetaData moved;

    copied = metaData;
    received.Change(2);
    moved = std::move(copied);

    EXPECT_EQ(Describe(moved.Headers()), Holding(1));
}

// What was lent to the target may be gone, and is not looked at.
TEST(LazyHeaders, AreNotDecodedWhenTheyAreReplaced)
{
    MetaData target;
    Received lent(1);
    lent.entries.front().key = ToBytes("another");
    lent.LendTo(target);
    Received received(2);
    MetaData source;
    received.LendTo(source);

    target = source;

    EXPECT_EQ(Describe(target.Headers()), Holding(2));
}

TEST(LazyHeaders, SurviveAnAssignmentToThemselves)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);

    metaData = std::as_const(metaData);
    metaData.Headers(std::as_const(metaData).Headers());

    EXPECT_EQ(Describe(metaData.Headers()), Holding(1));
}

TEST(LazyHeaders, AreReplacedByASetter)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);
    Table other;
    other.Insert("key", 7);

    metaData.Headers(other);

    EXPECT_EQ(Describe(metaData.Headers()), Holding(7));
}

TEST(LazyHeaders, AreThereTogetherWithWhatIsAddedInPlace)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);

    metaData.Headers().Insert("more", 2);

    EXPECT_EQ(metaData.Headers().Size(), 2U);
}

TEST(LazyHeaders, AreEncodedForAMessageThatIsPassedOn)
{
    Received received(1);
    MetaData metaData;
    received.LendTo(metaData);

    const EncodedProperties encoded = EncodeProperties(metaData);

    EXPECT_EQ(Describe(DecodeTable(encoded.value.headers)), Holding(1));
}

TEST(LazyHeaders, AreTheLatestThatWereLent)
{
    Received first(1);
    Received second(2);
    MetaData metaData;
    first.LendTo(metaData);
    EXPECT_EQ(Describe(metaData.Headers()), Holding(1));

    second.LendTo(metaData);

    EXPECT_EQ(Describe(metaData.Headers()), Holding(2));
}

// Many, so that the threads meet in the middle.
TEST(LazyHeaders, AreDecodedOnceForSeveralThreads)
{
    constexpr int rounds = 50;
    std::vector<std::string> keys;
    for (int i = 0; i < 300; ++i)
    {
        keys.push_back("key " + std::to_string(i));
    }
    for (int round = 0; round < rounds; ++round)
    {
        Received received(round);
        for (const std::string& key : keys)
        {
            received.entries.push_back({ToBytes(key), RawInt(round)});
        }
        MetaData metaData;
        received.LendTo(metaData);
        std::vector<std::string> seen(4);
        std::latch start(static_cast<std::ptrdiff_t>(seen.size()));
        std::vector<std::thread> readers;

        for (std::string& text : seen)
        {
            readers.emplace_back(
                [&]
                {
                    start.arrive_and_wait();
                    text = Describe(std::as_const(metaData).Headers());
                });
        }
        for (std::thread& reader : readers)
        {
            reader.join();
        }

        EXPECT_THAT(seen, testing::Each(Describe(DecodeTable(RawTable(received.entries)))));
    }
}

// A text for which there is no room stands for any failure.
TEST(LazyHeaders, AreDecodedAgainFromTheBeginningAfterAFailure)
{
    Received received(1);
    const std::string text = "text";
    received.entries.push_back({ToBytes("other"), RawText(text)});
    received.entries.back().value.value.bytes.len = SIZE_MAX;
    MetaData metaData;
    received.LendTo(metaData);
    EXPECT_ANY_THROW((void)metaData.Headers());
    EXPECT_ANY_THROW((void)MetaData(metaData));

    received.entries.back().value = RawText(text);

    Table expected;
    expected.Insert("key", 1);
    expected.Insert("other", text);
    EXPECT_EQ(Describe(metaData.Headers()), Describe(expected));
}
