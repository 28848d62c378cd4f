// The other side of a case: the same work on rabbitmq-c alone, as one would write it by hand. Owns its connection, with
// channel 1 open; whatever fails is thrown as std::runtime_error.
#pragma once

#include "Site.hpp"
#include "values/RabbitMq.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Bench
{

inline amqp_bytes_t Bytes(std::string_view text)
{
    return {text.size(), const_cast<char*>(text.data())};
}

class Bare
{
public:
    explicit Bare(const Site& site, int frameMax = 131072);
    ~Bare();
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    amqp_connection_state_t State() const { return state; }

    void OpenChannel(std::uint16_t channel);
    void Publish(std::string_view exchange, std::string_view routingKey, const amqp_basic_properties_t& properties,
                 std::string_view body, bool mandatory = false, std::uint16_t channel = 1);

    void Publish(std::string_view exchange, std::string_view routingKey, const struct RawMessage& message);

    // With arguments, such as a queue's greatest length; gives its name.
    std::string DeclareQueue(const amqp_table_t& arguments);
    void Subscribe(std::string_view queue, bool noAck, std::uint16_t channel = 1);

    // Waits for one delivery. The caller destroys it.
    void Consume(amqp_envelope_t& delivery);
    // Waits for so many deliveries, and acknowledges them unless the consumer has none of that.
    void ConsumeAll(std::size_t count, bool acknowledge);

    void Sync();

private:
    void Check(const char* what);

    amqp_connection_state_t state;
};

} // namespace Bench
