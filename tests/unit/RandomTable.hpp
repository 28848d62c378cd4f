// Tables made at random, the same in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <amqp/Table.hpp>

class RandomTable
{
public:
    // Arrays hold elements of one alternative when `uniform`, as those do that come back from the wire.
    explicit RandomTable(bool uniform) : uniformArrays(uniform) {}

    Amqp::Table Make(int depth = 4)
    {
        Amqp::Table table;
        for (std::size_t i = Below(7); i > 0; --i)
        {
            table.Insert(Text(1, 255), Value(Alternative(depth), depth));
        }
        return table;
    }

private:
    std::size_t Below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(engine); }

    // Arrays and tables, the last two, only while there is depth left.
    std::size_t Alternative(int depth) { return Below(depth > 0 ? 14 : 12); }

    std::string Text(std::size_t shortest, std::size_t longest)
    {
        std::string text(shortest + Below(longest - shortest + 1), ' ');
        for (char& character : text)
        {
            character = static_cast<char>(Below(256));
        }
        return text;
    }

    Amqp::Array Elements(int depth)
    {
        const std::size_t same = Alternative(depth);
        std::vector<Amqp::FieldValue> elements;
        for (std::size_t i = Below(6); i > 0; --i)
        {
            elements.push_back(Value(uniformArrays ? same : Alternative(depth), depth));
        }
        return Amqp::Array(std::move(elements));
    }

    Amqp::FieldValue Value(std::size_t alternative, int depth)
    {
        const std::uint64_t bits = engine();
        switch (alternative)
        {
        case 0:
            return (bits & 1) != 0;
        case 1:
            return static_cast<std::int8_t>(bits);
        case 2:
            return static_cast<std::int16_t>(bits);
        case 3:
            return static_cast<std::int32_t>(bits);
        case 4:
            return static_cast<std::int64_t>(bits);
        case 5:
            return static_cast<std::uint8_t>(bits);
        case 6:
            return static_cast<std::uint16_t>(bits);
        case 7:
            return static_cast<std::uint32_t>(bits);
        case 8:
            return bits;
        case 9:
            return static_cast<float>(static_cast<std::int64_t>(bits)) / 3;
        case 10:
            return static_cast<double>(static_cast<std::int64_t>(bits)) / 3;
        case 11:
            return Text(0, 600);
        case 12:
            return Elements(depth - 1);
        default:
            return Make(depth - 1);
        }
    }

    std::mt19937_64 engine{20240229};
    bool uniformArrays;
};
