#include "PeerConnection.hpp"

#include "support/Content.hpp"
#include "support/Login.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <utility>

namespace Bench
{

namespace
{

using namespace Wire;

constexpr std::size_t bufferSize = 1 << 20;
constexpr std::size_t frameHead = 7; // type, channel and size
constexpr std::size_t smallest = 1024;

std::uint32_t Number(const char* octets, std::size_t count)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < count; ++i)
    {
        number = number << 8 | static_cast<unsigned char>(octets[i]);
    }
    return number;
}

template <typename Method>
bool Is(std::string_view payload)
{
    return payload.size() >= 4 && Number(payload.data(), 2) == Method::id.classId &&
           Number(payload.data() + 2, 2) == Method::id.methodId;
}

// Returns a reply without fields. The number of the reply is the number of the call plus one.
std::string PlainAnswer(std::string_view payload)
{
    std::string answer(payload.substr(0, 4));
    ++answer.back();
    return answer;
}

std::string ConnectionAnswer(std::string_view payload)
{
    if (Is<ConnectionStartOk>(payload))
    {
        return Encode(ConnectionTune{.channelMax = 0, .frameMax = 131072, .heartbeat = 0});
    }
    return Is<ConnectionOpen>(payload) ? Encode(ConnectionOpenOk{}) : PlainAnswer(payload);
}

} // namespace

PeerConnection::PeerConnection(Descriptor connected) : socket(std::move(connected)), buffer(bufferSize) {}

void PeerConnection::Serve()
{
    constexpr std::size_t protocolHeader = 8;
    while (end < protocolHeader)
    {
        if (!Read(true))
        {
            return;
        }
    }
    begin = protocolHeader;
    Answer(0, Encode(ConnectionStart{
                  .serverProperties = DefaultServerProperties(), .mechanisms = "PLAIN", .locales = "en_US"}));
    while (!closed && Exchange())
    {
        TakeFrames();
    }
    while (!answers.empty() && Exchange())
    {
    }
}

// Sends and reads as much as possible without waiting. Waits for the client only if there is nothing to be sent.
bool PeerConnection::Exchange()
{
    const std::string_view out = answers.empty() ? deliveries.Next() : std::string_view(answers);
    if (out.empty())
    {
        Nap();
        return Read(true);
    }
    const ssize_t count = send(socket.Get(), out.data(), out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno != EAGAIN)
    {
        return false;
    }
    if (count < 0)
    {
        return Read(false);
    }
    if (answers.empty())
    {
        deliveries.Sent(static_cast<std::size_t>(count));
        return Read(false);
    }
    answers.erase(0, static_cast<std::size_t>(count));
    return true;
}

// Lets small messages pile up. If the peer waited for each, the client's system call would have to wake the peer each
// time. That would take longer than everything else that a client does.
void PeerConnection::Nap()
{
    if (std::exchange(smallBody, false))
    {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

bool PeerConnection::Read(bool wait)
{
    if (begin != 0)
    {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        end -= begin;
        begin = 0;
    }
    const int flags = wait ? 0 : MSG_DONTWAIT;
    // MSG_TRUNC makes the kernel drop the rest of a body without copying it.
    const ssize_t count = skip != 0 ? recv(socket.Get(), nullptr, skip, MSG_TRUNC | flags)
                                    : recv(socket.Get(), buffer.data() + end, buffer.size() - end, flags);
    if (count < 0)
    {
        return errno == EAGAIN;
    }
    (skip != 0 ? skip -= static_cast<std::size_t>(count) : end += static_cast<std::size_t>(count));
    return count != 0;
}

void PeerConnection::TakeFrames()
{
    while (end - begin >= frameHead)
    {
        const char* const frame = buffer.data() + begin;
        const auto type = static_cast<std::uint8_t>(*frame);
        const std::size_t payload = Number(frame + 3, 4);
        const std::size_t whole = frameHead + payload + 1;
        if (end - begin < whole)
        {
            if (type == bodyFrame && !request)
            {
                skip = whole - (end - begin);
                begin = end;
            }
            return;
        }
        begin += whole;
        smallBody = type == bodyFrame && payload <= smallest;
        if (type == methodFrame)
        {
            TakeMethod(static_cast<std::uint16_t>(Number(frame + 1, 2)), {frame + frameHead, payload});
        }
        else if (request)
        {
            TakeContent(type, {frame + frameHead, payload});
        }
    }
}

void PeerConnection::TakeMethod(std::uint16_t channel, std::string_view payload)
{
    if (Is<BasicPublish>(payload))
    {
        TakePublish(payload);
    }
    else if (Is<BasicAck>(payload))
    {
    }
    else if (Is<ConnectionTuneOk>(payload))
    {
        frameMax = Decode<ConnectionTuneOk>(payload).frameMax;
    }
    else if (payload.substr(0, 2) == std::string_view("\0\12", 2)) // a method of the class connection
    {
        closed = Is<ConnectionClose>(payload);
        Answer(0, ConnectionAnswer(payload));
    }
    else if (Is<ChannelOpen>(payload))
    {
        Answer(channel, Encode(ChannelOpenOk{}));
    }
    else if (Is<QueueDeclare>(payload))
    {
        const std::string asked = Decode<QueueDeclare>(payload).queue;
        Answer(channel, Encode(QueueDeclareOk{.queue = asked.empty() ? "made" : asked}));
    }
    else if (Is<QueueDelete>(payload))
    {
        Answer(channel, Encode(QueueDeleteOk{}));
    }
    else if (Is<BasicConsume>(payload))
    {
        repeated.reset();
        subscribers.push_back({channel, Decode<BasicConsume>(payload).consumerTag});
        Answer(channel, Encode(BasicConsumeOk{.consumerTag = subscribers.back().tag}));
    }
    else
    {
        Answer(channel, PlainAnswer(payload));
    }
}

void PeerConnection::TakePublish(std::string_view payload)
{
    constexpr std::size_t exchangeAt = 6; // behind the method's numbers and the ticket
    const std::string_view exchange = payload.substr(exchangeAt + 1, static_cast<unsigned char>(payload[exchangeAt]));
    if (exchange == "repeat" || exchange == "series")
    {
        const auto publish = Decode<BasicPublish>(payload);
        request = Request{exchange == "series", std::stoul(publish.routingKey), 0, {{}, {}, frameMax}};
    }
}

void PeerConnection::TakeContent(std::uint8_t type, std::string_view payload)
{
    if (type == headerFrame)
    {
        request->bodySize = DecodeHeader(payload).bodySize;
        request->message.header = payload;
    }
    else if (type == bodyFrame)
    {
        request->message.body += payload;
    }
    if (request->message.body.size() < request->bodySize)
    {
        return;
    }
    if (subscribers.empty())
    {
        throw std::runtime_error("nobody has subscribed to what is to be repeated");
    }
    Deliver(*request);
    request.reset();
}

void PeerConnection::Deliver(const Request& wanted)
{
    if (wanted.series)
    {
        deliveries = Deliveries::Parts(wanted.message, subscribers.front(), wanted.count);
        repeated.reset();
    }
    else if (repeated == wanted.message)
    {
        deliveries.Again(wanted.count);
    }
    else
    {
        deliveries = Deliveries::Copies(wanted.message, subscribers, wanted.count);
        repeated = wanted.message;
    }
}

void PeerConnection::Answer(std::uint16_t channel, std::string_view payload)
{
    answers += FrameBytes({methodFrame, channel, std::string(payload)});
}

} // namespace Bench
