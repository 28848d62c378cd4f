// The values of AMQP field tables: kind character plus value, kept in wire order, so that a test can name every byte
// of a table it expects and send any table it likes, duplicates and empty keys included. Plain values, no threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Wire
{

struct Field;
using Fields = std::vector<std::pair<std::string, Field>>;

// One flat struct instead of a variant: a vector of pairs of a type still incomplete is safe only as a plain member.
// Which member carries the value depends on the kind.
struct Field
{
    char kind = 'V';
    std::uint64_t bits = 0;     // whole numbers sign extended, f and d as their bit pattern, D without its scale
    std::uint8_t scale = 0;     // D
    std::string bytes{};        // S x
    std::vector<Field> items{}; // A
    Fields entries{};           // F

    bool operator==(const Field& other) const;
};

Field Bool(bool value);
Field Int8(std::int8_t value);
Field UInt8(std::uint8_t value);
Field Int16(std::int16_t value);
Field UInt16(std::uint16_t value);
Field Int32(std::int32_t value);
Field UInt32(std::uint32_t value);
Field Int64(std::int64_t value);
Field UInt64(std::uint64_t value);
Field Float(float value);
Field Double(double value);
Field Decimal(std::uint8_t scale, std::uint32_t value);
Field Timestamp(std::uint64_t seconds);
Field Text(std::string_view value);
Field Binary(std::string_view value);
Field List(std::vector<Field> items);
Field Nested(Fields entries);
Field Void();

// First entry of that name, nullptr when there is none.
const Field* Find(const Fields& fields, std::string_view name);

std::string Describe(const Field& field);
std::string Describe(const Fields& fields);

// Printable characters as they are, everything else as \xNN; long values are cut and their length is told.
std::string Quote(std::string_view bytes);
std::string Hex(std::string_view bytes);

} // namespace Wire
