// Implements one step of the run loop: waits for the next event, finds out what it is, and handles it.
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

} // namespace

void Connection::ConnectionImpl::Stop()
{
    stopRequested.store(true);
    receiver.Wake();
}

std::optional<bool> Connection::ConnectionImpl::Run(timeval wait)
{
    // Load first: an exchange in every step would be slower.
    if (stopRequested.load(std::memory_order_relaxed) && stopRequested.exchange(false))
    {
        // Clear the wakeup after the flag: if another thread calls Stop in between, the next step still sees its flag.
        receiver.ForgetWake();
        writer.Push();
        return false;
    }
    if (wait.tv_sec < 0 || wait.tv_usec < 0)
    {
        CheckStatus(AMQP_STATUS_INVALID_PARAMETER, nullptr);
    }
    std::optional<Clock::duration> limit;
    if (wait.tv_sec != 0 || wait.tv_usec != 0)
    {
        limit = std::chrono::seconds(wait.tv_sec) + std::chrono::microseconds(wait.tv_usec);
    }

    const bool failedBefore = session.Failure() != AMQP_STATUS_OK;
    Receiver::Wait patience{limit, {}};
    Event event;
    int status = Next(event, patience);
    // An incomplete delivery reaches no handler. If a close interrupted the delivery, FindClose handles the close, and
    // the step ends. Otherwise the step handles the next event.
    while (status == AMQP_STATUS_OK && IsIncompleteDelivery(event))
    {
        if (FindClose(event.channel))
        {
            return false;
        }
        status = Next(event, patience);
    }
    // The step that finds the peer silent returns empty; the next step throws.
    if (status == AMQP_STATUS_TIMEOUT || (status == AMQP_STATUS_HEARTBEAT_TIMEOUT && !failedBefore))
    {
        return {};
    }
    if (status != AMQP_STATUS_OK)
    {
        return CheckStatus(status, nullptr);
    }
    return Handle(event);
}

// Waits for the next event. Stop sets the flag first, and then signals the wakeup. A step may obey the flag before the
// signal arrives. The late signal must not end the wait of a later step.
int Connection::ConnectionImpl::Next(Event& event, Receiver::Wait& wait)
{
    for (;;)
    {
        const int status = receiver.Next(event, wait);
        const bool isOver = status != AMQP_STATUS_TIMEOUT || (wait.end && Clock::now() >= *wait.end);
        if (isOver || stopRequested.load())
        {
            return status;
        }
    }
}

bool Connection::ConnectionImpl::IsIncompleteDelivery(const Event& event)
{
    return (event.kind == Event::Kind::Broken || event.kind == Event::Kind::Lost) &&
           event.method.id == AMQP_BASIC_DELIVER_METHOD;
}

bool Connection::ConnectionImpl::Handle(Event& event)
{
    if (event.kind == Event::Kind::Stray)
    {
        return false;
    }
    // Only a delivery with content has a handler. A basic.deliver without content arrived on channel 0, or in place of
    // another delivery's content: the code below treats the delivery like any unexpected method.
    if (event.method.id == AMQP_BASIC_DELIVER_METHOD && event.kind != Event::Kind::Method)
    {
        Dispatch(event);
        return true;
    }
    if (event.Is(connectionChannel, AMQP_CONNECTION_CLOSE_METHOD))
    {
        return HandleConnectionClose();
    }
    Channel* const channel = channels.Find(event.channel);
    if (channel == nullptr)
    {
        return HandleUnregistered(event);
    }
    try
    {
        return HandleOn(*channel, event);
    }
    catch (const ErrorCode& error)
    {
        channels.Drop(event.channel);
        throw ErrorCode(error);
    }
    catch (const std::runtime_error& error)
    {
        channels.Drop(event.channel);
        throw std::runtime_error(error.what());
    }
}

bool Connection::ConnectionImpl::HandleOn(Channel& channel, Event& event)
{
    switch (event.method.id)
    {
    case AMQP_CONNECTION_CLOSE_METHOD:
        session.Fail(AMQP_STATUS_CONNECTION_CLOSED);
        channels.DropAll();
        return false;
    case AMQP_CHANNEL_CLOSE_METHOD:
        channels.Close(event.channel);
        Judge(Reach::ChannelThatCloses, {ownTexts.brokerClosedChannel, ErrorCode::ChannelClosed, 0}, &channel);
        return true;
    case AMQP_BASIC_RETURN_METHOD:
        HandleReturn(event, channel);
        return true;
    case AMQP_BASIC_ACK_METHOD:
        return true;
    default:
        return Judge(Reach::Method,
                     {ownTexts.unexpectedMethod + std::to_string(event.method.id), ErrorCode::Server, unexpectedMethod},
                     &channel);
    }
}

bool Connection::ConnectionImpl::HandleUnregistered(const Event& event)
{
    if (event.kind == Event::Kind::Broken)
    {
        FindClose(event.channel);
    }
    else if (event.method.id == AMQP_CHANNEL_CLOSE_METHOD)
    {
        channels.Close(event.channel); // an error had dropped the channel; send nothing more on its number
    }
    return true;
}

// Takes the close that interrupted a message on this channel. Notes that the channel is closed, or that the connection
// has failed. Reports nothing to a notifier. Returns false if no close interrupted the message.
bool Connection::ConnectionImpl::FindClose(std::uint16_t number)
{
    Event close;
    if (!inbound.TakeClose(close, number))
    {
        return false;
    }
    if (close.method.id == AMQP_CHANNEL_CLOSE_METHOD)
    {
        channels.Close(number);
    }
    else
    {
        session.Fail(AMQP_STATUS_CONNECTION_CLOSED);
    }
    return true;
}

bool Connection::ConnectionImpl::HandleConnectionClose()
{
    amqp_connection_close_ok_t closeOk{};
    writer.Answer(connectionChannel, AMQP_CONNECTION_CLOSE_OK_METHOD, &closeOk);
    session.Fail(AMQP_STATUS_CONNECTION_CLOSED);
    channels.DropAll();
    return false;
}

} // namespace Amqp
