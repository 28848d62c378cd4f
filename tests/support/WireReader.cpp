// Reads big-endian numbers, strings with their length in front, tables and arrays.
#include "Wire.hpp"

#include <utility>

namespace Wire
{

namespace
{

bool IsSigned(char kind)
{
    return kind == 'b' || kind == 's' || kind == 'I' || kind == 'l';
}

std::uint64_t SignExtended(std::uint64_t value, std::size_t octets)
{
    const std::uint64_t sign = std::uint64_t{1} << (octets * 8 - 1);
    return (value ^ sign) - sign;
}

} // namespace

Reader::Reader(std::string_view source) : rest(source) {}

std::string_view Reader::Raw(std::size_t octets)
{
    if (octets > rest.size())
    {
        throw Malformed(std::to_string(octets) + " octets wanted, " + std::to_string(rest.size()) + " left");
    }
    const std::string_view taken = rest.substr(0, octets);
    rest.remove_prefix(octets);
    bitsTaken = 0;
    return taken;
}

std::uint64_t Reader::BigEndian(std::size_t octets)
{
    std::uint64_t value = 0;
    for (const char c : Raw(octets))
    {
        value = (value << 8U) | static_cast<unsigned char>(c);
    }
    return value;
}

std::uint8_t Reader::Octet()
{
    return static_cast<std::uint8_t>(BigEndian(1));
}

std::uint16_t Reader::Short()
{
    return static_cast<std::uint16_t>(BigEndian(2));
}

std::uint32_t Reader::Long()
{
    return static_cast<std::uint32_t>(BigEndian(4));
}

std::uint64_t Reader::LongLong()
{
    return BigEndian(8);
}

bool Reader::Bit()
{
    const unsigned position = bitsTaken % 8;
    if (position == 0)
    {
        bitOctet = Octet();
    }
    bitsTaken = position + 1;
    return ((static_cast<unsigned>(bitOctet) >> position) & 1U) != 0;
}

std::string Reader::ShortString()
{
    return std::string(Raw(Octet()));
}

std::string Reader::LongString()
{
    return std::string(Raw(Long()));
}

Fields Reader::Table()
{
    Reader inner(Raw(Long()));
    Fields fields;
    while (inner.Left() != 0)
    {
        std::string name = inner.ShortString();
        fields.emplace_back(std::move(name), inner.Value());
    }
    return fields;
}

Field Reader::Value()
{
    Field field{.kind = Raw(1).front()};
    if (const std::size_t width = Width(field.kind); width != 0)
    {
        field.bits = BigEndian(width);
        field.bits = IsSigned(field.kind) ? SignExtended(field.bits, width) : field.bits;
        return field;
    }
    switch (field.kind)
    {
    case 'S':
    case 'x':
        field.bytes = LongString();
        break;
    case 'F':
        field.entries = Table();
        break;
    case 'A':
        for (Reader inner(Raw(Long())); inner.Left() != 0;)
        {
            field.items.push_back(inner.Value());
        }
        break;
    case 'D':
        field.scale = Octet();
        field.bits = Long();
        break;
    case 'V':
        break;
    default:
        throw Malformed("unknown kind " + Quote(std::string_view(&field.kind, 1)));
    }
    return field;
}

std::size_t Reader::Left() const
{
    return rest.size();
}

} // namespace Wire
