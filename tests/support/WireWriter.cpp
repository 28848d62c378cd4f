// Writes big-endian numbers, strings with their length in front, tables and arrays.
#include "Wire.hpp"

namespace Wire
{

std::size_t Width(char kind)
{
    switch (kind)
    {
    case 't':
    case 'b':
    case 'B':
        return 1;
    case 's':
    case 'u':
        return 2;
    case 'I':
    case 'i':
    case 'f':
        return 4;
    case 'l':
    case 'L':
    case 'd':
    case 'T':
        return 8;
    default:
        return 0;
    }
}

void Writer::BigEndian(std::uint64_t value, std::size_t octets)
{
    for (std::size_t i = octets; i-- > 0;)
    {
        bytes += static_cast<char>(static_cast<unsigned char>(value >> (i * 8)));
    }
    bitsInLastOctet = 0;
}

void Writer::Octet(std::uint8_t value)
{
    BigEndian(value, 1);
}

void Writer::Short(std::uint16_t value)
{
    BigEndian(value, 2);
}

void Writer::Long(std::uint32_t value)
{
    BigEndian(value, 4);
}

void Writer::LongLong(std::uint64_t value)
{
    BigEndian(value, 8);
}

void Writer::Bit(bool value)
{
    const unsigned position = bitsInLastOctet % 8;
    if (position == 0)
    {
        bytes += '\0';
    }
    if (value)
    {
        bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) | (1U << position));
    }
    bitsInLastOctet = position + 1;
}

void Writer::ShortString(std::string_view value)
{
    if (value.size() > 255)
    {
        throw std::length_error("a short string of " + std::to_string(value.size()) + " octets");
    }
    BigEndian(value.size(), 1);
    Raw(value);
}

void Writer::LongString(std::string_view value)
{
    BigEndian(value.size(), 4);
    Raw(value);
}

void Writer::Table(const Fields& fields)
{
    Writer inner;
    for (const auto& [name, value] : fields)
    {
        inner.ShortString(name);
        inner.Value(value);
    }
    LongString(inner.bytes);
}

void Writer::Value(const Field& field)
{
    Raw(std::string_view(&field.kind, 1));
    if (const std::size_t width = Width(field.kind); width != 0)
    {
        BigEndian(field.bits, width);
        return;
    }
    Writer inner;
    switch (field.kind)
    {
    case 'S':
    case 'x':
        LongString(field.bytes);
        break;
    case 'F':
        Table(field.entries);
        break;
    case 'A':
        for (const Field& item : field.items)
        {
            inner.Value(item);
        }
        LongString(inner.bytes);
        break;
    case 'D':
        Octet(field.scale);
        BigEndian(field.bits, 4);
        break;
    default:
        break; // V, and kinds that do not exist: a test may send the bare kind
    }
}

void Writer::Raw(std::string_view value)
{
    bytes += value;
    bitsInLastOctet = 0;
}

const std::string& Writer::Bytes() const
{
    return bytes;
}

} // namespace Wire
