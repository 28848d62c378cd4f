// One event: a method, or a message with the method that announces the message. An event shows bytes that lie in
// rabbitmq-c's memory for its channel. The event's lease keeps these bytes unchanged until the event is destroyed. An
// event that has to wait is copied into memory of its own; otherwise it would keep whole pages of rabbitmq-c's memory.
// Belongs to the connection's thread. Destroy every event before its Inbound.
#pragma once

#include "engine/Octets.hpp"
#include "values/RabbitMq.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace Amqp
{

/// rabbitmq-c's memory for the frames of one channel. Released with its last lease.
class FrameMemory
{
public:
    FrameMemory(amqp_connection_state_t connection, std::uint16_t number) : state(connection), channel(number) {}

    /// Keeps the memory unchanged while the lease exists.
    class Lease
    {
    public:
        Lease() = default;
        explicit Lease(FrameMemory& leased) : memory(&leased) { ++memory->leases; }
        Lease(Lease&& other) noexcept : memory(std::exchange(other.memory, nullptr)) {}
        Lease& operator=(Lease&& other) noexcept
        {
            End();
            memory = std::exchange(other.memory, nullptr);
            return *this;
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { End(); }

        void End()
        {
            if (memory != nullptr && --memory->leases == 0)
            {
                memory->Release();
            }
            memory = nullptr;
        }

    private:
        FrameMemory* memory = nullptr;
    };

private:
    void Release() const { amqp_maybe_release_buffers_on_channel(state, channel); }

    amqp_connection_state_t state;
    std::uint16_t channel;
    std::size_t leases = 0;
};

/// Memory that one event owns. When the event is destroyed, its memory is kept for the next event that needs some.
class KeptMemory
{
public:
    /// The place that keeps unused memory for the next event. Empty if there is none.
    using Spare = std::unique_ptr<KeptMemory>;
    struct GiveBack
    {
        void operator()(KeptMemory* memory) const;
    };
    using Handle = std::unique_ptr<KeptMemory, GiveBack>;

    explicit KeptMemory(Spare& spare);
    ~KeptMemory();
    KeptMemory(const KeptMemory&) = delete;
    KeptMemory& operator=(const KeptMemory&) = delete;

    /// Returns the memory that `place` keeps, or new memory if `place` is empty.
    static Handle From(Spare& place);

    /// Copies the fields that rabbitmq-c has decoded, by encoding them into `scratch` and decoding them here. `method`
    /// then shows the copy. Returns false if the fields cannot be copied.
    bool Copy(amqp_method_t& method, std::vector<char>& scratch);
    /// Copies encoded properties and decodes the copy, which `encoded` then shows. Returns the decoded properties, or
    /// null if they cannot be copied.
    const amqp_basic_properties_t* Copy(amqp_bytes_t& encoded);

    Octets body;

private:
    amqp_bytes_t Copy(std::string_view octets);

    Spare& place;
    amqp_pool_t pool{};
};

struct Event
{
    enum class Kind : std::uint8_t
    {
        Method,
        Message,
        /// A message without its content, because another frame arrived in place of the content. That frame, or the
        /// message that the frame begins, is an event of its own afterwards.
        Broken,
        /// A message that was unfinished when the session failed.
        Lost,
        /// Content that no method announced.
        Stray
    };

    Kind kind = Kind::Stray;
    std::uint16_t channel = 0;
    amqp_method_t method{};
    const amqp_basic_properties_t* properties = nullptr;
    std::string_view body;

    FrameMemory::Lease lease; // on what the event shows, before Keep
    KeptMemory::Handle kept;  // owns what the event shows, after Keep
    amqp_bytes_t encodedProperties{};

    bool Is(std::uint16_t number, amqp_method_number_t id) const
    {
        return kind == Kind::Method && channel == number && method.id == id;
    }

    /// Copies everything that the event shows into memory that the event owns. Returns false if there is no memory.
    bool Keep(KeptMemory::Spare& place, std::vector<char>& scratch);
    /// Returns the body, which then outlives the event. Do not read `body` afterwards.
    /// @throws std::bad_alloc  if there is no memory; the event is then unchanged.
    Octets TakeBody();

    template <typename Fields>
    const Fields& As() const
    {
        return *static_cast<const Fields*>(method.decoded);
    }
};

} // namespace Amqp
