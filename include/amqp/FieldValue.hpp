/// @file
/// The value type of AMQP field tables and arrays. Array and Table are only declared here: Array.hpp and
/// Table.hpp each define both, and make the type usable. A plain value that owns what it holds; it may be read
/// from several threads as long as none changes it.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace Amqp
{

class Array;
class Table;

/// One value of a Table or an Array.
///
/// The position of an alternative (0 to 13) is part of the interface. On the wire a string always travels as
/// a byte string (type "x"), never as a long string ("S"); both are received as a string. Kinds that AMQP has
/// and this type has not (decimal "D", timestamp "T", void "V") are received as the boolean false.
using FieldValue = std::variant<bool,          // 0
                                std::int8_t,   // 1
                                std::int16_t,  // 2
                                std::int32_t,  // 3
                                std::int64_t,  // 4
                                std::uint8_t,  // 5
                                std::uint16_t, // 6
                                std::uint32_t, // 7
                                std::uint64_t, // 8
                                float,         // 9
                                double,        // 10
                                std::string,   // 11
                                Array,         // 12
                                Table>;        // 13

} // namespace Amqp
