// A message: what each constructor presets, and that its body is only ever viewed.
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <amqp/Envelope.hpp>
#include <gtest/gtest.h>

#include "Properties.hpp"

using namespace Amqp;

namespace
{

constexpr std::string_view tenBytes = "0123456789";
constexpr std::uint64_t huge = std::numeric_limits<std::uint64_t>::max();

Envelope OfTenBytes()
{
    return Envelope(tenBytes, MetaData::Persistent);
}

void ExpectOutOfRange(const Envelope& envelope, std::uint64_t offset, std::uint64_t length)
{
    try
    {
        static_cast<void>(envelope.ViewBody(offset, length));
        ADD_FAILURE() << "nothing was thrown for " << offset << ", " << length;
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "invalid string_view position");
    }
}

} // namespace

TEST(Envelope, OfNothingHasNoBodyAndFlags0)
{
    const Envelope envelope;

    EXPECT_EQ(envelope.Body(), nullptr);
    EXPECT_EQ(envelope.Size(), 0U);
    EXPECT_EQ(envelope.Flags(), 0U);
}

TEST(Envelope, OfTextIsPlainTextWithFlags9000)
{
    constexpr std::string_view text = "abc";

    const Envelope envelope(text, MetaData::Persistent);

    EXPECT_EQ(envelope.ContentType(), "text/plain");
    EXPECT_EQ(envelope.DeliveryMode(), MetaData::Persistent);
    EXPECT_EQ(envelope.Flags(), 0x9000U);
    EXPECT_EQ(envelope.Body(), text.data());
    EXPECT_EQ(envelope.Size(), 3U);
}

TEST(Envelope, OfAVectorIsAnOctetStreamWithFlags9000)
{
    const std::vector<char> bytes = {'a', '\0', 'b'};

    const Envelope envelope(bytes, MetaData::NonPersistent);

    EXPECT_EQ(envelope.ContentType(), "application/octet-stream");
    EXPECT_EQ(envelope.DeliveryMode(), MetaData::NonPersistent);
    EXPECT_EQ(envelope.Flags(), 0x9000U);
    EXPECT_EQ(envelope.Body(), bytes.data());
    EXPECT_EQ(envelope.Size(), 3U);
}

TEST(Envelope, OfSizeAndPointerHasNoContentTypeAndFlags1000)
{
    const std::uint32_t data = 0;

    const Envelope envelope(3, &data, MetaData::Persistent);

    EXPECT_EQ(envelope.ContentType(), "");
    EXPECT_EQ(envelope.DeliveryMode(), MetaData::Persistent);
    EXPECT_EQ(envelope.Flags(), 0x1000U);
    EXPECT_EQ(envelope.Body(), reinterpret_cast<const char*>(&data));
    EXPECT_EQ(envelope.Size(), 3U);
}

TEST(Envelope, OfEmptyTextAndEmptyVectorHasSize0AndStillAContentType)
{
    EXPECT_EQ(Envelope(std::string_view(), MetaData::Persistent).Size(), 0U);
    EXPECT_EQ(Envelope(std::string_view(), MetaData::Persistent).ContentType(), "text/plain");
    EXPECT_EQ(Envelope(std::vector<char>(), MetaData::Persistent).Size(), 0U);
    EXPECT_EQ(Envelope(std::vector<char>(), MetaData::Persistent).Flags(), 0x9000U);
}

TEST(Envelope, SetBodyReplacesTheViewAndLeavesTheProperties)
{
    Envelope envelope = OfTenBytes();
    envelope.Type("type");
    const std::string before = Describe(envelope);
    const std::string other = "other";

    envelope.SetBody(other.data(), other.size());

    EXPECT_EQ(envelope.Body(), other.data());
    EXPECT_EQ(envelope.Size(), 5U);
    EXPECT_EQ(Describe(envelope), before);
}

TEST(ViewBody, BeyondTheEndIsCutAtTheEnd)
{
    EXPECT_EQ(OfTenBytes().ViewBody(0, 100), tenBytes);
    EXPECT_EQ(OfTenBytes().ViewBody(4, huge), "456789");
}

TEST(ViewBody, GivesThePartWithoutCopyingIt)
{
    const std::string_view part = OfTenBytes().ViewBody(2, 3);

    EXPECT_EQ(part, "234");
    EXPECT_EQ(part.data(), tenBytes.data() + 2);
}

TEST(ViewBody, AtTheEndIsEmpty)
{
    EXPECT_TRUE(OfTenBytes().ViewBody(10, 5).empty());
}

TEST(ViewBody, OfNoLengthIsEmpty)
{
    EXPECT_TRUE(OfTenBytes().ViewBody(3, 0).empty());
}

TEST(ViewBody, PastTheEndThrowsInvalidStringViewPosition)
{
    ExpectOutOfRange(OfTenBytes(), 11, 0);
    ExpectOutOfRange(OfTenBytes(), huge, huge);
}

TEST(ViewBody, OfAnEnvelopeWithoutABodyIsAlwaysEmpty)
{
    Envelope nullWithSize;
    nullWithSize.SetBody(nullptr, 10);
    Envelope pointerWithoutSize;
    pointerWithoutSize.SetBody(tenBytes.data(), 0);

    for (const Envelope& envelope : {Envelope(), nullWithSize, pointerWithoutSize})
    {
        for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{11}, huge})
        {
            EXPECT_EQ(envelope.ViewBody(offset, 5).data(), nullptr) << offset;
            EXPECT_EQ(envelope.ViewBody(offset, 5).size(), 0U) << offset;
        }
    }
}

TEST(EnvelopeCopy, CarriesThePropertiesAndSharesTheView)
{
    Envelope original = OfTenBytes();
    static_cast<MetaData&>(original) = FullMetaData();

    const Envelope constructed(original); // NOLINT(performance-unnecessary-copy-initialization): that is the subject
    Envelope assigned;
    assigned = original;

    for (const Envelope* const copy : {&constructed, &std::as_const(assigned)})
    {
        EXPECT_EQ(copy->Body(), tenBytes.data());
        EXPECT_EQ(copy->Size(), 10U);
        EXPECT_EQ(Describe(*copy), Describe(FullMetaData()));
    }
}

TEST(EnvelopeMove, CarriesThePropertiesAndTheView)
{
    Envelope source = OfTenBytes();
    static_cast<MetaData&>(source) = FullMetaData();

    Envelope constructed(std::move(source));
    EXPECT_EQ(constructed.Body(), tenBytes.data());
    EXPECT_EQ(Describe(constructed), Describe(FullMetaData()));

    Envelope assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.Size(), 10U);
    EXPECT_EQ(Describe(assigned), Describe(FullMetaData()));
}

TEST(EnvelopeMove, LeavesTheViewInTheSource)
{
    Envelope source = OfTenBytes();

    const Envelope target(std::move(source));

    EXPECT_EQ(source.Body(), target.Body()); // NOLINT(bugprone-use-after-move): that is the subject
    EXPECT_EQ(source.Size(), 10U);
}

TEST(Envelope, MayBeDestroyedAsMetaData)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<MetaData>);
    EXPECT_TRUE((std::is_base_of_v<MetaData, Envelope>));
}
