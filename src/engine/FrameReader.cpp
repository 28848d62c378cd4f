#include "engine/FrameReader.hpp"

#include <cstddef>

namespace Amqp
{

int FrameReader::Next(amqp_frame_t& frame)
{
    if (!loginIsOver)
    {
        return NextOfLogin(frame);
    }
    if (next == end)
    {
        const int status = Receive();
        if (status != AMQP_STATUS_OK)
        {
            return status;
        }
    }
    const amqp_bytes_t octets{static_cast<std::size_t>(end - next), const_cast<char*>(next)};
    const int used = amqp_handle_input(session.State(), octets, &frame);
    if (used < 0)
    {
        return used;
    }
    next += used;
    return AMQP_STATUS_OK;
}

int FrameReader::Receive()
{
    constexpr std::size_t mostAtOnce = std::size_t{128} << 10;
    input.resize(mostAtOnce);
    const std::ptrdiff_t received = session.Line().Receive(input);
    if (received <= 0)
    {
        return received == 0 ? static_cast<int>(AMQP_STATUS_TIMEOUT) : static_cast<int>(received);
    }
    next = input.data();
    end = next + received;
    if (session.Pulse().AreOn())
    {
        session.Pulse().Received(Clock::now());
    }
    return AMQP_STATUS_OK;
}

// During the login rabbitmq-c itself reads, and may have read the next frames, too. Take these frames first.
int FrameReader::NextOfLogin(amqp_frame_t& frame)
{
    int status = AMQP_STATUS_TIMEOUT;
    if (amqp_frames_enqueued(session.State()) || amqp_data_in_buffer(session.State()))
    {
        session.Pulse().Received(Clock::now());
        const timeval none{};
        status = amqp_simple_wait_frame_noblock(session.State(), &frame, &none);
    }
    if (status != AMQP_STATUS_TIMEOUT)
    {
        return status;
    }
    loginIsOver = true;
    return Next(frame);
}

} // namespace Amqp
