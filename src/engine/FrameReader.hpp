// Reads bytes from the stream, and lets rabbitmq-c cut them into frames and decode the frames. Never waits. Belongs to
// one session; only the connection's thread uses it.
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

    /// Reads the next frame, or a piece of it, and returns AMQP_STATUS_OK. Returns AMQP_STATUS_TIMEOUT if nothing can
    /// be read now. After any other status nothing can be read any more.
    ///
    /// After AMQP_STATUS_OK frame_type is 0 if the frame is not complete yet, or has a type that rabbitmq-c does not
    /// know. A frame points into rabbitmq-c's memory for its channel.
    int Next(amqp_frame_t& frame);

    /// Returns whether bytes may have been read that no frame has used yet.
    bool HaveMore() const { return next != end || !loginIsOver; }

private:
    int NextOfLogin(amqp_frame_t& frame);
    int Receive();

    Session& session;
    std::vector<char> input;    // bytes from the stream
    const char* next = nullptr; // the first byte of `input` that no frame has used yet
    const char* end = nullptr;  // the end of these bytes
    bool loginIsOver = false;   // rabbitmq-c's own buffer holds no bytes from the time of the login any more
};

} // namespace Amqp
