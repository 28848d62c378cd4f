// The primitive encodings of AMQP 0-9-1: a writer that appends to a string and a reader over bytes owned by the caller.
// Written independently of the client's encoder, so that both cannot be wrong in the same way. No threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Field.hpp"

namespace Wire
{

struct Malformed : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// Octets of a number of that kind in a table, 0 for kinds that are no plain number.
std::size_t Width(char kind);

class Writer
{
public:
    void Octet(std::uint8_t value);
    void Short(std::uint16_t value);
    void Long(std::uint32_t value);
    void LongLong(std::uint64_t value);
    void Bit(bool value); // neighbouring bits share an octet, lowest first
    void ShortString(std::string_view value);
    void LongString(std::string_view value);
    void Table(const Fields& fields);
    void Value(const Field& field); // kind character and value
    void Raw(std::string_view value);

    const std::string& Bytes() const;

private:
    void BigEndian(std::uint64_t value, std::size_t octets);

    std::string bytes;
    unsigned bitsInLastOctet = 0;
};

// Throws Malformed when the bytes do not hold what is asked for.
class Reader
{
public:
    explicit Reader(std::string_view source);

    std::uint8_t Octet();
    std::uint16_t Short();
    std::uint32_t Long();
    std::uint64_t LongLong();
    bool Bit();
    std::string ShortString();
    std::string LongString();
    Fields Table();
    Field Value();
    std::string_view Raw(std::size_t octets);

    std::size_t Left() const;

private:
    std::uint64_t BigEndian(std::size_t octets);

    std::string_view rest;
    std::uint8_t bitOctet = 0;
    unsigned bitsTaken = 0;
};

} // namespace Wire
