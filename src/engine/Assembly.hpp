// Frames put together to events, for each channel by itself: a message arrives with its last frame, whatever came on
// other channels meanwhile. Belongs to one session and its thread.
#pragma once

#include "engine/Event.hpp"
#include "engine/Session.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace Amqp
{

class Assembly
{
public:
    explicit Assembly(Session& owner) : session(owner) {}

    /// AMQP_STATUS_OK with an event, AMQP_STATUS_TIMEOUT when it takes another frame, or a failure: of the session,
    /// too.
    int Feed(const amqp_frame_t& frame, Event& event);
    /// What came in place of a message's content, the event after the broken message; null when there is none.
    std::optional<Event>& Intruder() { return intruder; }
    /// When nothing more comes: AMQP_STATUS_OK with a message that is not complete, as long as there are such, and then
    /// what the session failed of.
    int End(Event& event);

    /// Moves everything that an event shows into memory of its own. False when there is none.
    bool Keep(Event& event);

    static bool IsClose(const Event& event);

private:
    // What a channel has sent of a message.
    enum class Awaited : std::uint8_t
    {
        Method,
        Header,
        Body
    };
    struct Channel
    {
        explicit Channel(FrameMemory itsMemory) : memory(itsMemory) {}

        FrameMemory memory;
        Event message;
        std::uint64_t missing = 0; // octets of its body
        Awaited awaited = Awaited::Method;
        bool contentMayFollow = false; // after a method that needs none, or must have none
        bool skipped = false;          // nobody wants this content
    };

    Channel& Of(std::uint16_t number);
    // Each returns the same statuses as Feed.
    int FeedMethod(Channel& channel, Event&& method, Event& event);
    int FeedStray(Channel& channel, Event&& stray, Event& event);
    int FeedHeader(Channel& channel, const amqp_frame_t& frame, Event& event);
    int FeedBody(Channel& channel, std::string_view fragment, Event& event);
    int Join(Channel& channel, std::string_view fragment);
    static int Begin(Channel& channel, const amqp_method_t& method, FrameMemory::Lease&& lease);
    int Break(Channel& channel, Event&& cause, Event& event);
    static int Complete(Channel& channel, Event& event);

    Session& session;
    KeptMemory::Spare spare;                        // outlives those that may come back to it
    std::vector<std::unique_ptr<Channel>> channels; // by number
    std::optional<Event> intruder;
    std::vector<char> scratch;
};

} // namespace Amqp
