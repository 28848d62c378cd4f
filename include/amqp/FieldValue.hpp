/// @file
/// The value type of AMQP field tables and arrays. This header only declares Array and Table: Array.hpp and Table.hpp
/// each define both, and make the type usable. A field value is a plain value that owns what it holds. Several threads
/// may read one as long as none changes it.
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
/// The position of an alternative (0 to 13) is part of the interface. The library always sends a string as a byte
/// string (type "x"), never as a long string ("S"). It receives both as a string. It receives kinds that AMQP has and
/// this type has not (decimal "D", timestamp "T", void "V") as the boolean false.
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
