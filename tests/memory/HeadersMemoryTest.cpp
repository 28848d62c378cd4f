// Headers for which there is not enough memory: whichever allocation fails, nothing is left behind, and what was
// received can still be read afterwards.
#include "AllocationCount.hpp"
#include "unit/Fields.hpp"
#include "values/PropertiesCodec.hpp"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace std::string_literals;

namespace
{

// With `count` entries, each of them a table that holds arrays.
Amqp::Table Nested(int count)
{
    Amqp::Table table;
    for (int i = 0; i < count; ++i)
    {
        Amqp::Table inner;
        inner.Insert("array", Amqp::FieldValue(Amqp::Array({"one"s, "two"s})));
        inner.Insert("text", std::string(100, 't'));
        table.Insert("key " + std::to_string(i), inner);
    }
    return table;
}

// Tries with the first allocation failing, the second one and so on, until none fails any more. Gives how often it has
// failed.
template <typename Action>
std::uint64_t TryWithEachAllocationFailing(Action action)
{
    try
    {
        throw std::bad_alloc(); // with the first one a thread may set something up that it keeps
    }
    catch (const std::bad_alloc&)
    {
    }
    for (std::uint64_t successes = 0;; ++successes)
    {
        CountFromZero();
        FailAllocationAfter(successes);
        try
        {
            action();
            FailNoAllocation();
            return successes;
        }
        catch (const std::bad_alloc&)
        {
            FailNoAllocation();
        }
        EXPECT_EQ(Allocated().live, 0) << "with " << successes << " allocations before";
    }
}

} // namespace

TEST(HeadersMemory, IsAllGivenBackWhenTheyCannotBeEncoded)
{
    for (const int count : {1, 8, 9})
    {
        const Amqp::Table table = Nested(count);

        const std::uint64_t failures = TryWithEachAllocationFailing([&] { Amqp::EncodedTable{table}; });

        EXPECT_EQ(failures, 2U * static_cast<unsigned>(count) + (count > 8 ? 1 : 0));
    }
}

TEST(HeadersMemory, IsAllGivenBackWhenTheyCannotBeDecodedAndTheNextTryReadsThem)
{
    const Amqp::Table table = Nested(3);
    const Amqp::EncodedTable encoded(table);
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_HEADERS_FLAG;
    properties.headers = encoded.Get();
    Amqp::MetaData metaData;
    Amqp::DecodeProperties(properties, metaData);

    const std::uint64_t failures = TryWithEachAllocationFailing([&] { (void)std::as_const(metaData).Headers(); });

    EXPECT_GE(failures, 3U * 5);
    EXPECT_EQ(Describe(metaData.Headers()), Describe(table));
}
