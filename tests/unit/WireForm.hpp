// rabbitmq-c's own writing and reading of tables, the measure of what the library does.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <amqp/Table.hpp>
#include <gtest/gtest.h>

#include "support/Pool.hpp"
#include "values/FieldCodec.hpp"

// The octets of a table as rabbitmq-c writes them; none when it refuses.
inline std::vector<char> WriteTable(amqp_table_t table)
{
    std::vector<char> octets(std::size_t{1} << 20);
    std::size_t end = 0;
    const int status = amqp_encode_table(Wire::AsBytes(octets), &table, &end);
    EXPECT_EQ(status, AMQP_STATUS_OK) << amqp_error_string2(status);
    octets.resize(status == AMQP_STATUS_OK ? end : 0);
    return octets;
}

// What the library makes of these octets when rabbitmq-c has read them.
inline Amqp::Table ReadTable(std::vector<char> octets)
{
    Wire::Pool pool;
    amqp_table_t table{};
    std::size_t end = 0;
    const int status = amqp_decode_table(Wire::AsBytes(octets), &pool.raw, &table, &end);
    if (status != AMQP_STATUS_OK || end != octets.size())
    {
        throw std::runtime_error(std::string("not a table: ") + amqp_error_string2(status));
    }
    return Amqp::DecodeTable(table);
}
