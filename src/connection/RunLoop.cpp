// One step of the run loop: wait for what the broker sends, and find out what it is.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Texts.hpp"

#include <stdexcept>
#include <string>
#include <utility>

namespace Amqp
{

namespace
{

constexpr std::uint16_t connectionChannel = 0;
constexpr std::uint16_t unexpectedMethod = 2; // the error code

bool CarriesContent(amqp_method_number_t method)
{
    return method == AMQP_BASIC_DELIVER_METHOD || method == AMQP_BASIC_RETURN_METHOD ||
           method == AMQP_BASIC_GET_OK_METHOD;
}

} // namespace

void Connection::ConnectionImpl::Stop()
{
    stopRequested.store(true);
}

std::optional<bool> Connection::ConnectionImpl::Run(timeval wait)
{
    // An exchange in every step would cost more.
    if (stopRequested.load(std::memory_order_relaxed) && stopRequested.exchange(false))
    {
        return false;
    }
    if (fatalStatus != AMQP_STATUS_OK && !HasReadable())
    {
        return CheckStatus(fatalStatus, nullptr);
    }
    if (wait.tv_sec < 0 || wait.tv_usec < 0)
    {
        throw FromStatus(AMQP_STATUS_INVALID_PARAMETER); // as rabbitmq-c would say, but at no cost to the channels
    }
    const bool limited = wait.tv_sec != 0 || wait.tv_usec != 0;
    const timeval* const limit = limited ? &wait : nullptr;

    const EnvelopeLoan loan(spareEnvelope);
    const ReceivedEnvelope& received = loan.Envelope();
    ReleaseBuffers();
    const amqp_rpc_reply_t reply = Consume(*received, limit);
    readChannel = received->channel;
    if (reply.reply_type == AMQP_RESPONSE_NORMAL)
    {
        Dispatch(received);
        return true;
    }

    // rabbitmq-c has freed what it had read and leaves the pointers standing.
    const std::uint16_t channel = std::exchange(*received, {}).channel;
    if (reply.reply_type != AMQP_RESPONSE_LIBRARY_EXCEPTION)
    {
        NoteFailure(channel, reply); // a close in the middle of a delivery
        return false;
    }
    switch (reply.library_error)
    {
    case AMQP_STATUS_UNEXPECTED_STATE:
        return HandleFrame(limit);
    case AMQP_STATUS_HEARTBEAT_TIMEOUT:
        GiveUpPeer();
        return {};
    case AMQP_STATUS_TIMEOUT:
        return {};
    default:
        return CheckStatus(reply.library_error, nullptr);
    }
}

// Gives back the memory of what the step before has read. rabbitmq-c has some for each channel, and looking at all of
// them would make a step cost more with every channel.
void Connection::ConnectionImpl::ReleaseBuffers()
{
    constexpr std::uint64_t all = 256;
    if (++steps % all == 0)
    {
        amqp_maybe_release_buffers(State());
    }
    else
    {
        amqp_maybe_release_buffers_on_channel(State(), readChannel);
    }
}

amqp_rpc_reply_t Connection::ConnectionImpl::Consume(amqp_envelope_t& delivery, const timeval* wait)
{
    const Gathering::Pause pause(gathering);
    return amqp_consume_message(State(), &delivery, wait, 0);
}

// Handles the frame that amqp_consume_message put back because it begins no delivery.
bool Connection::ConnectionImpl::HandleFrame(const timeval* wait)
{
    amqp_frame_t frame{};
    CheckStatus(amqp_simple_wait_frame_noblock(State(), &frame, wait), nullptr);
    readChannel = frame.channel;
    if (frame.frame_type != AMQP_FRAME_METHOD)
    {
        return false;
    }
    if (frame.channel == connectionChannel && frame.payload.method.id == AMQP_CONNECTION_CLOSE_METHOD)
    {
        AnswerConnectionClose();
        return false;
    }

    Channel* const channel = FindChannel(frame.channel);
    if (channel == nullptr)
    {
        if (frame.payload.method.id == AMQP_CHANNEL_CLOSE_METHOD)
        {
            MarkClosed(frame.channel, true); // of a channel that an error has dropped
        }
        // Reading content where none follows would wait for ever.
        if (CarriesContent(frame.payload.method.id))
        {
            SkipContent(frame.channel);
        }
        return true;
    }
    try
    {
        return HandleMethod(frame, *channel);
    }
    catch (const ErrorCode& error)
    {
        channels.erase(frame.channel);
        throw ErrorCode(error);
    }
    catch (const std::runtime_error& error)
    {
        channels.erase(frame.channel);
        throw std::runtime_error(error.what());
    }
}

bool Connection::ConnectionImpl::HandleMethod(const amqp_frame_t& frame, Channel& channel)
{
    switch (frame.payload.method.id)
    {
    case AMQP_CONNECTION_CLOSE_METHOD:
        NoteFailure(AMQP_STATUS_CONNECTION_CLOSED);
        channels.clear();
        return false;
    case AMQP_CHANNEL_CLOSE_METHOD:
        HandleChannelClose(frame.channel, channel);
        return true;
    case AMQP_BASIC_RETURN_METHOD:
        HandleReturn(*static_cast<const amqp_basic_return_t*>(frame.payload.method.decoded), channel);
        return true;
    case AMQP_BASIC_ACK_METHOD:
        SkipContent(frame.channel);
        return true;
    default:
        throw ErrorCode(ownTexts.unexpectedMethod + std::to_string(frame.payload.method.id), ErrorCode::Server,
                        unexpectedMethod);
    }
}

void Connection::ConnectionImpl::AnswerConnectionClose()
{
    amqp_connection_close_ok_t closeOk{};
    SendAtOnce(connectionChannel, AMQP_CONNECTION_CLOSE_OK_METHOD, &closeOk);
    NoteFailure(AMQP_STATUS_CONNECTION_CLOSED);
    channels.clear();
}

} // namespace Amqp
