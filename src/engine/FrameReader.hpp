// Octets from the stream, which rabbitmq-c cuts into frames and decodes. Never waits. Belongs to one session and its
// thread.
#pragma once

#include "engine/Session.hpp"
#include "values/RabbitMq.hpp"

#include <vector>

namespace Amqp
{

class FrameReader
{
public:
    explicit FrameReader(Session& owner) : session(owner) {}

    /// Reads the next frame, or a piece of it. Returns AMQP_STATUS_OK; AMQP_STATUS_TIMEOUT when nothing can be read
    /// now; or another status, after which nothing can be read any more. After AMQP_STATUS_OK frame_type is 0 if the
    /// frame is not complete yet, or has a type that rabbitmq-c does not know. A frame points into rabbitmq-c's memory
    /// for its channel.
    int Next(amqp_frame_t& frame);

    /// Whether octets have been read that are not used yet.
    bool HaveMore() const { return next != end || !loginIsOver; }

private:
    int NextOfLogin(amqp_frame_t& frame);
    int Receive();

    Session& session;
    std::vector<char> input; // from the stream; of it are left
    const char* next = nullptr;
    const char* end = nullptr;
    bool loginIsOver = false; // and nothing that came with its last frame is left in rabbitmq-c's own buffer
};

} // namespace Amqp
