// Digests against the examples of FIPS 180-4.
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <amqp/Hash.hpp>
#include <gtest/gtest.h>

using namespace Amqp;
using namespace std::string_view_literals;

namespace
{

template <std::size_t Bits>
std::string Hex(std::string_view data)
{
    std::string text;
    for (const unsigned char octet : Hash::Sha<Bits>(data))
    {
        text += "0123456789abcdef"[octet >> 4];
        text += "0123456789abcdef"[octet & 15];
    }
    return text;
}

// The messages of two blocks: of 512 bits for SHA-224 and SHA-256, of 1024 bits for the others.
constexpr std::string_view twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
constexpr std::string_view twoLongBlocks =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

} // namespace

TEST(Hash, Sha224OfTheStandardMessages)
{
    EXPECT_EQ(Hex<224>(""), "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f");
    EXPECT_EQ(Hex<224>("abc"), "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7");
    EXPECT_EQ(Hex<224>(twoBlocks), "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525");
}

TEST(Hash, Sha256OfTheStandardMessages)
{
    EXPECT_EQ(Hex<256>("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Hex<256>(twoBlocks), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Hash, Sha256OfNothingIsTheDigestOfZeroBytes)
{
    EXPECT_EQ(Hex<256>(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Hex<256>(std::string_view()), Hex<256>(""));
}

TEST(Hash, Sha256OfAMillionLetters)
{
    EXPECT_EQ(Hex<256>(std::string(1000000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Hash, Sha384OfTheStandardMessages)
{
    EXPECT_EQ(Hex<384>(""),
              "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b");
    EXPECT_EQ(Hex<384>("abc"),
              "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7");
    EXPECT_EQ(Hex<384>(twoLongBlocks),
              "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039");
}

TEST(Hash, Sha512OfTheStandardMessages)
{
    EXPECT_EQ(Hex<512>(""), "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                            "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e");
    EXPECT_EQ(Hex<512>("abc"), "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                               "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
    EXPECT_EQ(Hex<512>(twoLongBlocks), "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
                                       "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909");
}

TEST(Hash, Sha160OfAnyInputIsTwentyZeroBytes)
{
    for (const std::string_view data : {""sv, "abc"sv, twoBlocks})
    {
        EXPECT_EQ(Hash::Sha<160>(data), (std::array<unsigned char, 20>{}));
    }
}

TEST(Hash, EmbeddedZeroBytesAreHashedLikeAnyOther)
{
    EXPECT_EQ(Hex<256>("\0"sv), "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
    EXPECT_NE(Hex<256>("a\0b"sv), Hex<256>("a"sv));
    EXPECT_NE(Hex<256>("a\0b"sv), Hex<256>("ab"sv));
}
