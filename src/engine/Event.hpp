// One thing that the peer said: a method, or a message with the method that announces it. It shows what lies in
// rabbitmq-c's memory for its channel, which stays as it is until the event is destroyed; an event that has to wait is
// copied out of there, so that waiting costs no more than what waits. Belongs to the connection's thread, and goes
// before Inbound.
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

/// rabbitmq-c's memory for the frames of one channel, given back when nobody looks at it any more.
class FrameMemory
{
public:
    FrameMemory(amqp_connection_state_t connection, std::uint16_t number) : state(connection), channel(number) {}

    /// Keeps the memory as it is.
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

/// Memory of an event's own. One is kept for the next event that needs it.
class KeptMemory
{
public:
    /// Where one that is no longer needed waits for its next use.
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

    /// The one that waits there, or a new one.
    static Handle From(Spare& place);

    /// Copies what rabbitmq-c has decoded; `scratch` is room to encode it in. False when it cannot be copied.
    bool Copy(amqp_method_t& method, std::vector<char>& scratch);
    /// Copies encoded properties, and decodes the copy.
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
        /// A message whose content did not come, but another frame in its place: what that begins comes next.
        Broken,
        /// A message that the end of the stream came in the middle of: the session has failed.
        Lost,
        /// Content that no method announced.
        Stray
    };

    Kind kind = Kind::Stray;
    std::uint16_t channel = 0;
    amqp_method_t method{};
    const amqp_basic_properties_t* properties = nullptr;
    std::string_view body;

    FrameMemory::Lease lease; // what it shows lies there,
    KeptMemory::Handle kept;  // or here
    amqp_bytes_t encodedProperties{};

    bool Is(std::uint16_t number, amqp_method_number_t id) const
    {
        return kind == Kind::Method && channel == number && method.id == id;
    }

    /// Moves everything into memory of its own. False when there is none.
    bool Keep(KeptMemory::Spare& place, std::vector<char>& scratch);
    /// The body, to be kept beyond the event: what it shows of it is gone.
    /// @throws std::bad_alloc  nothing has changed.
    Octets TakeBody();

    template <typename Fields>
    const Fields& As() const
    {
        return *static_cast<const Fields*>(method.decoded);
    }
};

} // namespace Amqp
