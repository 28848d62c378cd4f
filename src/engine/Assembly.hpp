// Assembles frames into events, for each channel separately. A message becomes an event when its last frame arrives,
// whatever arrived on other channels in between. Belongs to one session; only the connection's thread uses it.
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

    /// Takes the next frame. Returns AMQP_STATUS_OK if the frame completes an event, and AMQP_STATUS_TIMEOUT if it does
    /// not. If the frame cannot be understood, fails the session and returns the session's failure.
    int Feed(const amqp_frame_t& frame, Event& event);
    /// Returns what arrived in place of a message's content: the event that follows the broken message. Empty if there
    /// is none.
    std::optional<Event>& Intruder() { return intruder; }
    /// Gives up an unfinished message. For use when no more frames can arrive. Returns AMQP_STATUS_OK with the message,
    /// or the session's failure if no message is unfinished.
    int End(Event& event);

    /// Copies everything that an event shows into memory that the event owns. Returns false if there is no memory.
    bool Keep(Event& event);

    static bool IsClose(const Event& event);

private:
    // The frame that a channel's message needs next. Method: no message has begun.
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
        std::uint64_t missing = 0; // bytes of the message's body that have not arrived yet
        Awaited awaited = Awaited::Method;
        // The latest method was one whose content nobody wants: `basic.ack`, or a method on channel 0. If content
        // follows the method, skip the content.
        bool contentMayFollow = false;
        bool skipped = false; // drop the content that is arriving
    };

    Channel& Of(std::uint16_t number);
    void ReleaseUnknown(const amqp_frame_t& frame);
    // Each of these functions returns the same statuses as Feed.
    int FeedMethod(Channel& channel, Event&& method, Event& event);
    int FeedStray(Channel& channel, Event&& stray, Event& event);
    int FeedHeader(Channel& channel, const amqp_frame_t& frame, Event& event);
    int FeedBody(Channel& channel, std::string_view fragment, Event& event);
    int Join(Channel& channel, std::string_view fragment);
    static int Begin(Channel& channel, const amqp_method_t& method, FrameMemory::Lease&& lease);
    int Break(Channel& channel, Event&& cause, Event& event);
    static int Complete(Channel& channel, Event& event);

    Session& session;
    KeptMemory::Spare spare; // above the events, because their memory returns to it when they are destroyed
    std::vector<std::unique_ptr<Channel>> channels; // the index is the channel number
    std::optional<Event> intruder;
    std::vector<char> scratch;
};

} // namespace Amqp
