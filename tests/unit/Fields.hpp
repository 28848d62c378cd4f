// Helpers of the tests that look at field values: tables of rabbitmq-c written by hand, and a comparison that the value
// classes do not have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include <amqp/Array.hpp>
#include <amqp/FieldValue.hpp>
#include <amqp/Table.hpp>

#include "values/Bytes.hpp"
#include "values/FieldCodec.hpp"

// Says the alternative and the value, so that two values are equal exactly when their descriptions are.
inline std::string Describe(const Amqp::FieldValue& value);

inline std::string Describe(const Amqp::Table& table)
{
    std::string text = "{";
    for (const auto& [key, value] : table.Entries())
    {
        text += "<" + key + ">=" + Describe(value) + ";";
    }
    return text + "}";
}

inline std::string Describe(const Amqp::Array& array)
{
    std::string text = "[";
    for (const Amqp::FieldValue& element : array.Entries())
    {
        text += Describe(element) + ";";
    }
    return text + "]";
}

inline std::string Describe(const Amqp::FieldValue& value)
{
    const auto describe = [](const auto& held) -> std::string
    {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_floating_point_v<Held>)
        {
            // All bits, the sign of zero and the payload of a NaN included.
            const auto* const octets = reinterpret_cast<const unsigned char*>(&held);
            std::string bits = "bits";
            for (std::size_t i = 0; i < sizeof(held); ++i)
            {
                bits += " " + std::to_string(octets[i]);
            }
            return bits;
        }
        else if constexpr (std::is_arithmetic_v<Held>)
        {
            return std::to_string(held);
        }
        else if constexpr (std::is_same_v<Held, std::string>)
        {
            return "\"" + held + "\"";
        }
        else
        {
            return Describe(held);
        }
    };
    return std::to_string(value.index()) + ":" + std::visit(describe, value);
}

// A value encoded for the length of a test.
struct EncodedValue
{
    explicit EncodedValue(const Amqp::FieldValue& value) : raw(Amqp::EncodeFieldValue(value)) {}
    ~EncodedValue() { Amqp::ReleaseFieldValue(raw); }
    EncodedValue(const EncodedValue&) = delete;
    EncodedValue& operator=(const EncodedValue&) = delete;

    amqp_field_value_t raw;
};

inline amqp_field_value_t OfKind(std::uint8_t kind)
{
    amqp_field_value_t value;
    std::memset(&value, 0, sizeof(value)); // an initialiser would reach only the first member of the union
    value.kind = kind;
    return value;
}

inline amqp_field_value_t RawText(std::string_view text, std::uint8_t kind = AMQP_FIELD_KIND_UTF8)
{
    amqp_field_value_t value = OfKind(kind);
    value.value.bytes = Amqp::ToBytes(text);
    return value;
}

inline amqp_field_value_t RawInt(std::int32_t number)
{
    amqp_field_value_t value = OfKind(AMQP_FIELD_KIND_I32);
    value.value.i32 = number;
    return value;
}

inline amqp_array_t RawArray(std::vector<amqp_field_value_t>& elements)
{
    return {static_cast<int>(elements.size()), elements.data()};
}

inline amqp_table_t RawTable(std::vector<amqp_table_entry_t>& entries)
{
    return {static_cast<int>(entries.size()), entries.data()};
}
