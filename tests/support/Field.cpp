// Makers, comparison and printing of table values.
#include "Field.hpp"

#include <bit>
#include <sstream>
#include <type_traits>

namespace Wire
{

namespace
{

constexpr std::size_t longestQuote = 256;

template <typename Number>
Field Whole(char kind, Number value)
{
    if constexpr (std::is_signed_v<Number>)
    {
        return Field{.kind = kind, .bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(value))};
    }
    else
    {
        return Field{.kind = kind, .bits = value};
    }
}

std::string Number(const Field& field)
{
    std::ostringstream text;
    switch (field.kind)
    {
    case 't':
        text << (field.bits == 0 ? "false" : field.bits == 1 ? "true" : "true, as octet " + std::to_string(field.bits));
        break;
    case 'f':
        text << std::bit_cast<float>(static_cast<std::uint32_t>(field.bits));
        text << " (bits " << std::hex << field.bits << ")";
        break;
    case 'd':
        text << std::bit_cast<double>(field.bits) << " (bits " << std::hex << field.bits << ")";
        break;
    case 'D':
        text << field.bits << "e-" << static_cast<unsigned>(field.scale);
        break;
    case 'b':
    case 's':
    case 'I':
    case 'l':
        text << static_cast<std::int64_t>(field.bits);
        break;
    default:
        text << field.bits;
        break;
    }
    return text.str();
}

} // namespace

bool Field::operator==(const Field& other) const
{
    return kind == other.kind && bits == other.bits && scale == other.scale && bytes == other.bytes &&
           items == other.items && entries == other.entries;
}

Field Bool(bool value)
{
    return Field{.kind = 't', .bits = value ? 1U : 0U};
}

Field Int8(std::int8_t value)
{
    return Whole('b', value);
}

Field UInt8(std::uint8_t value)
{
    return Whole('B', value);
}

Field Int16(std::int16_t value)
{
    return Whole('s', value);
}

Field UInt16(std::uint16_t value)
{
    return Whole('u', value);
}

Field Int32(std::int32_t value)
{
    return Whole('I', value);
}

Field UInt32(std::uint32_t value)
{
    return Whole('i', value);
}

Field Int64(std::int64_t value)
{
    return Whole('l', value);
}

Field UInt64(std::uint64_t value)
{
    return Whole('L', value);
}

Field Float(float value)
{
    return Field{.kind = 'f', .bits = std::bit_cast<std::uint32_t>(value)};
}

Field Double(double value)
{
    return Field{.kind = 'd', .bits = std::bit_cast<std::uint64_t>(value)};
}

Field Decimal(std::uint8_t scale, std::uint32_t value)
{
    return Field{.kind = 'D', .bits = value, .scale = scale};
}

Field Timestamp(std::uint64_t seconds)
{
    return Whole('T', seconds);
}

Field Text(std::string_view value)
{
    return Field{.kind = 'S', .bytes = std::string(value)};
}

Field Binary(std::string_view value)
{
    return Field{.kind = 'x', .bytes = std::string(value)};
}

Field List(std::vector<Field> items)
{
    return Field{.kind = 'A', .items = std::move(items)};
}

Field Nested(Fields entries)
{
    return Field{.kind = 'F', .entries = std::move(entries)};
}

Field Void()
{
    return Field{};
}

const Field* Find(const Fields& fields, std::string_view name)
{
    for (const auto& [key, value] : fields)
    {
        if (key == name)
        {
            return &value;
        }
    }
    return nullptr;
}

std::string Describe(const Field& field)
{
    std::string text(1, field.kind);
    switch (field.kind)
    {
    case 'V':
        return text;
    case 'S':
    case 'x':
        return text + " " + Quote(field.bytes);
    case 'F':
        return text + " " + Describe(field.entries);
    case 'A':
        text += " [";
        for (std::size_t i = 0; i < field.items.size(); ++i)
        {
            text += (i == 0 ? "" : ", ") + Describe(field.items[i]);
        }
        return text + "]";
    default:
        return text + " " + Number(field);
    }
}

std::string Describe(const Fields& fields)
{
    std::string text = "{";
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        text += (i == 0 ? "" : ", ") + Quote(fields[i].first) + ": " + Describe(fields[i].second);
    }
    return text + "}";
}

std::string Quote(std::string_view bytes)
{
    std::string text = "\"";
    for (const char c : bytes.substr(0, longestQuote))
    {
        if (c == '"' || c == '\\')
        {
            text += '\\';
        }
        if (c >= ' ' && c <= '~')
        {
            text += c;
        }
        else
        {
            text += "\\x" + Hex(std::string_view(&c, 1));
        }
    }
    text += '"';
    return bytes.size() <= longestQuote ? text : text + "... " + std::to_string(bytes.size()) + " octets";
}

std::string Hex(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes.substr(0, longestQuote))
    {
        const auto octet = static_cast<unsigned char>(c);
        text += text.empty() ? "" : " ";
        text += digits[octet >> 4U];
        text += digits[octet & 0xFU];
    }
    return bytes.size() <= longestQuote ? text : text + "... " + std::to_string(bytes.size()) + " octets";
}

} // namespace Wire
