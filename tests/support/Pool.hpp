// The memory that rabbitmq-c decodes into, and octets as it takes them. Each is used by one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "values/RabbitMq.hpp"

namespace Wire
{

struct Pool
{
    Pool() { init_amqp_pool(&raw, 4096); }
    ~Pool() { empty_amqp_pool(&raw); }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    amqp_pool_t raw{};
};

// rabbitmq-c only reads what it decodes, but its structure has no const.
inline amqp_bytes_t AsBytes(std::vector<char>& octets)
{
    return {octets.size(), octets.data()};
}

} // namespace Wire
