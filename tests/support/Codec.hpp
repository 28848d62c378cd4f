// The three visitors behind every method struct: one writes the fields, one reads them, one prints them. A struct
// names each field once, with its kind, in its static Visit; nothing else knows its layout. Owned by their caller,
// no threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Wire.hpp"

namespace Wire
{

// Numbers in the order in which they stand on the wire.
struct MethodId
{
    std::uint16_t classId = 0;
    std::uint16_t methodId = 0;

    bool operator==(const MethodId&) const = default;
};

struct Encoder
{
    Writer writer{};

    void Octet(std::string_view, std::uint8_t value) { writer.Octet(value); }
    void Short(std::string_view, std::uint16_t value) { writer.Short(value); }
    void Long(std::string_view, std::uint32_t value) { writer.Long(value); }
    void LongLong(std::string_view, std::uint64_t value) { writer.LongLong(value); }
    void Bit(std::string_view, bool value) { writer.Bit(value); }
    void ShortString(std::string_view, std::string_view value) { writer.ShortString(value); }
    void LongString(std::string_view, std::string_view value) { writer.LongString(value); }
    void Table(std::string_view, const Fields& value) { writer.Table(value); }
};

struct Decoder
{
    Reader reader;

    void Octet(std::string_view, std::uint8_t& value) { value = reader.Octet(); }
    void Short(std::string_view, std::uint16_t& value) { value = reader.Short(); }
    void Long(std::string_view, std::uint32_t& value) { value = reader.Long(); }
    void LongLong(std::string_view, std::uint64_t& value) { value = reader.LongLong(); }
    void Bit(std::string_view, bool& value) { value = reader.Bit(); }
    void ShortString(std::string_view, std::string& value) { value = reader.ShortString(); }
    void LongString(std::string_view, std::string& value) { value = reader.LongString(); }
    void Table(std::string_view, Fields& value) { value = reader.Table(); }
};

struct Printer
{
    std::string text{};

    void Octet(std::string_view name, std::uint8_t value) { Add(name, std::to_string(value)); }
    void Short(std::string_view name, std::uint16_t value) { Add(name, std::to_string(value)); }
    void Long(std::string_view name, std::uint32_t value) { Add(name, std::to_string(value)); }
    void LongLong(std::string_view name, std::uint64_t value) { Add(name, std::to_string(value)); }
    void Bit(std::string_view name, bool value) { Add(name, value ? "true" : "false"); }
    void ShortString(std::string_view name, std::string_view value) { Add(name, Quote(value)); }
    void LongString(std::string_view name, std::string_view value) { Add(name, Quote(value)); }
    void Table(std::string_view name, const Fields& value) { Add(name, Describe(value)); }

    void Add(std::string_view name, std::string_view value)
    {
        text.append(text.empty() ? "" : ", ").append(name).append("=").append(value);
    }
};

} // namespace Wire
