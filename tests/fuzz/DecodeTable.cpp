// A table from the wire: rabbitmq-c decodes the bytes, and the library converts the table to its own. If the table is
// written and read again, the table has to be the same, and as long as the library says. One thread.
#include "Fuzz.hpp"
#include "support/Pool.hpp"

#include <string>
#include <vector>

#include "unit/Fields.hpp"

namespace
{

std::vector<char> Write(const Amqp::Table& table)
{
    const Amqp::EncodedTable encoded(table);
    amqp_table_t raw = encoded.Get();
    const auto size = Amqp::WireSize(raw);
    Fuzz::Require(size.has_value(), "a table that came off the wire has no key that is too long for it");
    std::vector<char> octets(*size);
    std::size_t end = 0;
    Fuzz::Require(amqp_encode_table(Wire::AsBytes(octets), &raw, &end) == AMQP_STATUS_OK, "the table fits its size");
    Fuzz::Require(end == *size, "the table fills its size");
    return octets;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    constexpr std::size_t longest = 32768; // for a longer table Describe, which is recursive, would run out of stack
    if (size > longest)
    {
        return 0;
    }
    Wire::Pool pool;
    std::vector<char> received(octets, octets + size);
    amqp_table_t raw{};
    std::size_t end = 0;
    if (amqp_decode_table(Wire::AsBytes(received), &pool.raw, &raw, &end) != AMQP_STATUS_OK)
    {
        return 0;
    }
    const Amqp::Table table = Amqp::DecodeTable(raw);

    std::vector<char> written = Write(table);
    amqp_table_t again{};
    end = 0;
    Fuzz::Require(amqp_decode_table(Wire::AsBytes(written), &pool.raw, &again, &end) == AMQP_STATUS_OK,
                  "what was written can be read");
    Fuzz::Require(end == written.size(), "what was written is read to its end");
    const Amqp::Table second = Amqp::DecodeTable(again);
    Fuzz::Require(Describe(second) == Describe(table),
                  "the table comes back:\n" + Describe(table) + "\nas\n" + Describe(second));
    return 0;
}
