// A client made of rabbitmq-c alone, as one would write it by hand: what the benchmarks compare the library with, and
// what tests see a broker with. Owns its connection, with channel 1 open. A call that fails throws std::runtime_error.
// One thread.
#pragma once

#include "BrokerAddress.hpp"
#include "values/RabbitMq.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

class BareClient
{
public:
    static constexpr std::chrono::seconds longestWait{30}; // for one delivery

    explicit BareClient(const BrokerAddress& broker, int frameMax = 131072);
    ~BareClient();
    BareClient(const BareClient&) = delete;
    BareClient& operator=(const BareClient&) = delete;

    // For calls that are not here.
    amqp_connection_state_t State() const { return state.get(); }

    void OpenChannel(std::uint16_t channel);
    void CloseChannel(std::uint16_t channel); // which the destructor leaves to the end of the connection

    void Publish(std::string_view exchange, std::string_view routingKey, const amqp_basic_properties_t& properties,
                 std::string_view body, bool mandatory = false, std::uint16_t channel = 1);

    // Declares an exclusive queue that the broker names, with arguments such as its greatest length. Returns its name.
    std::string DeclareQueue(const amqp_table_t& arguments = amqp_empty_table);

    // Without a tag the broker chooses one.
    void Subscribe(std::string_view queue, bool noAck, std::uint16_t channel = 1, std::string_view consumerTag = {});

    // Waits for one delivery. The caller destroys it.
    void Consume(amqp_envelope_t& delivery);

    // Waits for so many deliveries. Acknowledges them if it is told to.
    void ConsumeAll(std::size_t count, bool acknowledge);

    // Waits until the other side has taken everything that was written.
    void Sync();

private:
    struct Destroy
    {
        void operator()(amqp_connection_state_t owned) const { amqp_destroy_connection(owned); }
    };

    void Check(const char* what);

    std::unique_ptr<std::remove_pointer_t<amqp_connection_state_t>, Destroy> state;
};
