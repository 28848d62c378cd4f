// The client properties of a login: what the application's table turns into, and what rabbitmq-c adds.
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "LoginOptions.hpp"

namespace
{

// The names that rabbitmq-c gives of itself, the application's own aside.
const std::vector<std::string> namesOfTheEngine = {"product",   "version",     "platform",
                                                   "copyright", "information", "capabilities"};

std::vector<std::string> Names(const Fields& fields)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : fields)
    {
        names.push_back(name);
    }
    return names;
}

// Logs in with a table and gives the properties that arrived.
Fields Arrived(const Amqp::Table& properties)
{
    Fields seen;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            seen = peer.Login().clientProperties;
            peer.CloseConnection();
        });
    LogIn(broker, {.properties = properties});
    broker.Finish();
    return seen;
}

// Those of the application alone, in the order in which they arrived.
Fields ArrivedOwn(const Amqp::Table& properties)
{
    Fields own = Arrived(properties);
    const std::set<std::string> engine(namesOfTheEngine.begin(), namesOfTheEngine.end());
    std::erase_if(own, [&](const auto& entry) { return engine.count(entry.first) != 0; });
    return own;
}

Amqp::Table One(std::string_view key, Amqp::FieldValue value)
{
    Amqp::Table table;
    table.Insert(key, std::move(value));
    return table;
}

} // namespace

TEST(ClientProperties, ArriveWithTheKindOfEachAlternative)
{
    Amqp::Table nested;
    nested.Insert("inner", "text");
    Amqp::Table table;
    table.Insert("00", true);
    table.Insert("01", std::numeric_limits<std::int8_t>::min());
    table.Insert("02", std::numeric_limits<std::int16_t>::min());
    table.Insert("03", std::numeric_limits<std::int32_t>::min());
    table.Insert("04", std::numeric_limits<std::int64_t>::min());
    table.Insert("05", std::numeric_limits<std::uint8_t>::max());
    table.Insert("06", std::numeric_limits<std::uint16_t>::max());
    table.Insert("07", std::numeric_limits<std::uint32_t>::max());
    table.Insert("08", std::numeric_limits<std::uint64_t>::max());
    table.Insert("09", 1.5F);
    table.Insert("10", -0.1);
    table.Insert("11", std::string("a\0b", 3));
    table.Insert("12", Amqp::FieldValue(Amqp::Array({Amqp::FieldValue(std::int32_t{7}), Amqp::FieldValue(false)})));
    table.Insert("13", nested);

    const Fields expected = {{"00", Bool(true)},
                             {"01", Int8(std::numeric_limits<std::int8_t>::min())},
                             {"02", Int16(std::numeric_limits<std::int16_t>::min())},
                             {"03", Int32(std::numeric_limits<std::int32_t>::min())},
                             {"04", Int64(std::numeric_limits<std::int64_t>::min())},
                             {"05", UInt8(std::numeric_limits<std::uint8_t>::max())},
                             {"06", UInt16(std::numeric_limits<std::uint16_t>::max())},
                             {"07", UInt32(std::numeric_limits<std::uint32_t>::max())},
                             {"08", UInt64(std::numeric_limits<std::uint64_t>::max())},
                             {"09", Float(1.5F)},
                             {"10", Double(-0.1)},
                             {"11", Binary(std::string_view("a\0b", 3))},
                             {"12", List({Int32(7), Bool(false)})},
                             {"13", Nested({{"inner", Binary("text")}})}};
    const Fields own = ArrivedOwn(table);
    EXPECT_EQ(own, expected) << Describe(own);
}

TEST(ClientProperties, ArriveInByteOrderOfTheirKeys)
{
    Amqp::Table table;
    for (const std::string_view key : {"b", "\xC3\xA4", "aa", "Z", "a", "_"})
    {
        table.Insert(key, true);
    }

    EXPECT_THAT(Names(ArrivedOwn(table)), testing::ElementsAre("Z", "_", "a", "aa", "b", "\xC3\xA4"));
}

TEST(ClientProperties, AreOnlyTheEnginesWhenTheTableIsEmpty)
{
    const Fields seen = Arrived({});

    EXPECT_THAT(Names(seen), testing::UnorderedElementsAreArray(namesOfTheEngine));
}

TEST(ClientProperties, ComeWithTheEnginesOwn)
{
    const Fields seen = Arrived(One("application", std::string("orders")));

    std::vector<std::string> names = namesOfTheEngine;
    names.emplace_back("application");
    EXPECT_THAT(Names(seen), testing::UnorderedElementsAreArray(names));
}

TEST(ClientProperties, TakeThePlaceOfTheEnginesOfTheSameName)
{
    const Fields seen = Arrived(One("product", std::string("orders")));

    ASSERT_NE(Find(seen, "product"), nullptr);
    EXPECT_EQ(*Find(seen, "product"), Binary("orders"));
    EXPECT_THAT(Names(seen), testing::UnorderedElementsAreArray(namesOfTheEngine));
}

TEST(ClientProperties, AnnounceThatTheClientUnderstandsRefusedLogins)
{
    const Fields seen = Arrived({});

    const Field* const capabilities = Find(seen, "capabilities");
    ASSERT_NE(capabilities, nullptr);
    const Field* const failureClose = Find(capabilities->entries, "authentication_failure_close");
    ASSERT_NE(failureClose, nullptr);
    EXPECT_EQ(*failureClose, Bool(true));
}

TEST(ClientProperties, AreGivenBackByTags)
{
    ScriptedBroker broker(LoginAndClose({}));
    Amqp::Table table = One("application", std::string("orders"));

    const auto connection = LogIn(broker, {.properties = table});
    table.Remove("application");

    ASSERT_EQ(connection->Tags().Size(), 1U);
    EXPECT_EQ(std::get<std::string>(connection->Tags().Entries().at("application")), "orders");
}

TEST(ClientProperties, AreAnEmptyTagsTableWhenNoneWereGiven)
{
    ScriptedBroker broker(LoginAndClose({}));

    const auto connection = LogIn(broker);

    EXPECT_TRUE(connection->Tags().Empty());
}

TEST(ClientProperties, ArriveWithAKeyOf255Bytes)
{
    const std::string longest(255, 'k');

    EXPECT_THAT(Names(ArrivedOwn(One(longest, true))), testing::ElementsAre(longest));
}

TEST(ClientProperties, ArriveWithATextThatFillsAFrameOfTheHandshake)
{
    const std::string text(60'000, 't');

    const Fields own = ArrivedOwn(One("text", text));
    ASSERT_EQ(own.size(), 1U);
    EXPECT_EQ(own[0].second, Binary(text));
}
