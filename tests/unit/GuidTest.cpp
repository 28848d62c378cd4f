// Random identifiers and their text: which forms are read, which are refused, and that no two are the same.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <amqp/Guid.hpp>
#include <gtest/gtest.h>

using namespace Amqp;

namespace
{

using Bytes = std::array<unsigned char, 16>;

constexpr Bytes known = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                         0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
const std::string dashed = "01234567-89ab-cdef-0123-456789abcdef";
const std::string undashed = "0123456789abcdef0123456789abcdef";

void ExpectRefused(const std::string& text)
{
    const auto expectThrows = [&text](auto view)
    {
        try
        {
            static_cast<void>(Guid::FromString(view));
            ADD_FAILURE() << "accepted: \"" << text << "\"";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ(error.what(), "invalid uuid string") << text;
        }
    };
    expectThrows(text);
    expectThrows(std::string_view(text));
}

std::string Upper(std::string text)
{
    for (char& character : text)
    {
        character = character >= 'a' && character <= 'f' ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return text;
}

} // namespace

TEST(Guid, NewHasVersion4AndItsVariantInTheText)
{
    for (int i = 0; i < 1000; ++i)
    {
        const std::string text = Guid::ToString(Guid::New());

        ASSERT_EQ(text.size(), 36U);
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string_view("89ab").find(text[19]), std::string_view::npos) << text;
    }
}

TEST(Guid, NewHasVersionAndVariantBitsInTheBytes)
{
    for (int i = 0; i < 1000; ++i)
    {
        const Bytes guid = Guid::New();

        EXPECT_EQ(guid[6] & 0xF0, 0x40);
        EXPECT_EQ(guid[8] & 0xC0, 0x80);
    }
}

TEST(Guid, NewVariesEveryOtherBit)
{
    Bytes always{};
    always.fill(0xFF);
    Bytes ever{};
    for (int i = 0; i < 1000; ++i)
    {
        const Bytes guid = Guid::New();
        for (std::size_t octet = 0; octet < guid.size(); ++octet)
        {
            always[octet] &= guid[octet];
            ever[octet] |= guid[octet];
        }
    }

    EXPECT_EQ(always, (Bytes{0, 0, 0, 0, 0, 0, 0x40, 0, 0x80, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ever, (Bytes{255, 255, 255, 255, 255, 255, 0x4F, 255, 0xBF, 255, 255, 255, 255, 255, 255, 255}));
}

TEST(Guid, NewFromEightThreadsAtOnceGivesDistinctValues)
{
    constexpr std::size_t threadCount = 8;
    constexpr std::size_t each = 1000;
    std::array<std::vector<Bytes>, threadCount> made;
    std::vector<std::thread> threads;
    for (std::vector<Bytes>& mine : made)
    {
        threads.emplace_back([&mine] { std::generate_n(std::back_inserter(mine), each, Guid::New); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    std::set<Bytes> distinct;
    for (const std::vector<Bytes>& mine : made)
    {
        distinct.insert(mine.begin(), mine.end());
    }
    EXPECT_EQ(distinct.size(), threadCount * each);
}

TEST(Guid, ToStringOfSixteenZeroBytes)
{
    EXPECT_EQ(Guid::ToString({}), "00000000-0000-0000-0000-000000000000");
}

TEST(Guid, ToStringWritesTheBytesInOrderInLowerCase)
{
    EXPECT_EQ(Guid::ToString(known), dashed);
    EXPECT_EQ(Guid::ToString({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 255}),
              "00010203-0405-0607-0809-0a0b0c0d0eff");
}

TEST(Guid, FromStringOfToStringIsTheSameForRandomBytes)
{
    std::mt19937 engine(1);
    for (int i = 0; i < 1000; ++i)
    {
        Bytes guid{};
        std::generate(guid.begin(), guid.end(), [&engine] { return static_cast<unsigned char>(engine()); });

        EXPECT_EQ(Guid::FromString(Guid::ToString(guid)), guid);
        EXPECT_EQ(Guid::FromString("{" + Guid::ToString(guid) + "}"), guid);
    }
}

TEST(Guid, FromStringReadsEveryForm)
{
    for (const std::string& text : {dashed, undashed, "{" + dashed + "}", "{" + undashed + "}"})
    {
        EXPECT_EQ(Guid::FromString(text), known) << text;
        EXPECT_EQ(Guid::FromString(std::string_view(text)), known) << text;
    }
}

TEST(Guid, FromStringReadsUpperCaseWhichIsThenWrittenInLowerCase)
{
    for (const std::string& text : {dashed, undashed, "{" + dashed + "}", "{" + undashed + "}"})
    {
        EXPECT_EQ(Guid::FromString(Upper(text)), known) << text;
        EXPECT_EQ(Guid::ToString(Guid::FromString(Upper(text))), dashed) << text;
    }
}

TEST(Guid, FromStringReadsAnyVersionAndVariant)
{
    EXPECT_EQ(Guid::FromString(std::string(32, '0')), Bytes{});
    EXPECT_EQ(Guid::FromString(std::string(32, 'f'))[8], 0xFF);
}

TEST(Guid, FromStringReadsAViewOfPartOfAText)
{
    const std::string longer = "<" + dashed + ">";

    EXPECT_EQ(Guid::FromString(std::string_view(longer).substr(1, 36)), known);
}

TEST(Guid, FromStringRefusesEveryTextThatStopsEarly)
{
    for (const std::string& text : {dashed, undashed, "{" + dashed + "}", "{" + undashed + "}"})
    {
        for (std::size_t length = 0; length < text.size(); ++length)
        {
            ExpectRefused(text.substr(0, length));
        }
    }
}

TEST(Guid, FromStringRefusesThirtyOneDigits)
{
    ExpectRefused(undashed.substr(1));
    ExpectRefused(dashed.substr(1));
}

TEST(Guid, FromStringRefusesAnythingAfterTheLastDigit)
{
    for (const std::string& tail : {std::string(" "), std::string("0"), std::string("-"), std::string("}"),
                                    std::string("\n"), std::string(1, '\0')})
    {
        ExpectRefused(dashed + tail);
        ExpectRefused(undashed + tail);
    }
}

TEST(Guid, FromStringRefusesABraceThatIsNotClosedOrIsFollowed)
{
    ExpectRefused("{" + dashed);
    ExpectRefused("{" + dashed + "} ");
    ExpectRefused("{" + dashed + "}}");
    ExpectRefused("{" + dashed + ")");
    ExpectRefused("{{" + dashed + "}}");
    ExpectRefused("(" + dashed + ")");
    ExpectRefused("{}");
}

TEST(Guid, FromStringRefusesDashesInWrongPlaces)
{
    ExpectRefused("0123456789abcdef-0123456789abcdef");
    ExpectRefused("01234567-89abcdef0123456789abcdef");
    ExpectRefused("01234567-89ab-cdef-0123456789abcdef");
    ExpectRefused("01234567-89ab-cdef-0123-4567-89abcdef");
    ExpectRefused("0123456789ab-cdef-0123-456789abcdef");
    ExpectRefused("01234567--89ab-cdef-0123-456789abcdef");
    ExpectRefused("-" + undashed);
}

TEST(Guid, FromStringRefusesACharacterThatIsNoDigitAtAnyPlace)
{
    for (std::size_t place = 0; place < undashed.size(); ++place)
    {
        for (const char character : {'g', 'G', ' ', '/', ':', '@', '`', '\0'})
        {
            std::string text = undashed;
            text[place] = character;
            ExpectRefused(text);
        }
    }
}
