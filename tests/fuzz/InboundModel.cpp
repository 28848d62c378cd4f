#include "InboundModel.hpp"

#include "Fuzz.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace Fuzz
{

namespace
{

using Kind = Amqp::Event::Kind;

constexpr std::size_t frameHead = 7;    // type, channel and size
constexpr std::size_t headerFixed = 12; // class, weight and body size of a content header

bool CarriesContent(amqp_method_number_t id)
{
    return id == AMQP_BASIC_DELIVER_METHOD || id == AMQP_BASIC_RETURN_METHOD || id == AMQP_BASIC_GET_OK_METHOD;
}

bool EndsChannel(amqp_method_number_t id)
{
    return id == AMQP_CHANNEL_CLOSE_METHOD || id == AMQP_CHANNEL_CLOSE_OK_METHOD || id == AMQP_CONNECTION_CLOSE_METHOD;
}

bool IsUnreadable(int status)
{
    return status == AMQP_STATUS_BAD_AMQP_DATA || status == AMQP_STATUS_UNKNOWN_CLASS ||
           status == AMQP_STATUS_UNKNOWN_METHOD;
}

amqp_bytes_t Rest(Wire::Reader& reader, std::string& octets)
{
    octets = reader.Raw(reader.Left());
    return {octets.size(), octets.data()};
}

// Returns what rabbitmq-c writes. The room is large enough for everything that rabbitmq-c can read from one frame.
template <typename Write>
std::string Encoded(Write write)
{
    static std::vector<char> room(std::size_t{2} << 16);
    const int size = write(Wire::AsBytes(room));
    Require(size >= 0, "what was decoded can be encoded");
    return {room.data(), static_cast<std::size_t>(size)};
}

} // namespace

std::string EncodedMethod(const amqp_method_t& method)
{
    return Encoded([&](amqp_bytes_t room) { return amqp_encode_method(method.id, method.decoded, room); });
}

std::string EncodedProperties(const amqp_basic_properties_t& properties)
{
    amqp_basic_properties_t copy = properties;
    return Encoded([&](amqp_bytes_t room) { return amqp_encode_properties(AMQP_BASIC_CLASS, &copy, room); });
}

int InboundModel::NextUnparked(Expected& event)
{
    while (ready.empty() && IsReadable())
    {
        Wire::Frame frame;
        int status = TakeFrame(frame);
        if (status == AMQP_STATUS_TIMEOUT && failure == AMQP_STATUS_OK)
        {
            return status;
        }
        status = status == AMQP_STATUS_OK ? Take(frame) : status;
        if (status != AMQP_STATUS_OK)
        {
            Fail(status);
            break;
        }
    }
    if (!ready.empty())
    {
        event = std::move(ready.front());
        ready.pop_front();
        return AMQP_STATUS_OK;
    }
    return GiveUp(event) ? AMQP_STATUS_OK : failure;
}

int InboundModel::Fail(int status)
{
    if (failure == AMQP_STATUS_OK || (IsUnreadable(status) && !IsUnreadable(failure)))
    {
        failure = status;
    }
    return failure;
}

bool InboundModel::IsReadable() const
{
    return !IsUnreadable(failure);
}

int InboundModel::TakeFrame(Wire::Frame& frame)
{
    const int nothing = ended ? AMQP_STATUS_CONNECTION_CLOSED : AMQP_STATUS_TIMEOUT;
    Wire::Reader reader(std::string_view(received).substr(done));
    if (reader.Left() < frameHead)
    {
        return nothing;
    }
    frame.type = reader.Octet();
    frame.channel = reader.Short();
    const std::size_t length = reader.Long();
    if (length + Wire::frameOverhead > frameMax)
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    if (reader.Left() < length + 1)
    {
        return nothing;
    }
    frame.payload = reader.Raw(length);
    done += length + Wire::frameOverhead;
    return reader.Octet() == Wire::frameEnd ? AMQP_STATUS_OK : AMQP_STATUS_BAD_AMQP_DATA;
}

int InboundModel::Take(const Wire::Frame& frame)
{
    switch (frame.type)
    {
    case Wire::methodFrame:
        return TakeMethod(frame);
    case Wire::headerFrame:
        return TakeHeader(frame);
    case Wire::bodyFrame:
        return TakeBody(frame);
    default:
        return AMQP_STATUS_OK;
    }
}

int InboundModel::TakeMethod(const Wire::Frame& frame)
{
    Wire::Reader reader(frame.payload);
    if (reader.Left() < sizeof(amqp_method_number_t))
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    amqp_method_t method{};
    method.id = reader.Long();
    std::string fields;
    const int status = amqp_decode_method(method.id, &pool.raw, Rest(reader, fields), &method.decoded);
    if (status != AMQP_STATUS_OK)
    {
        return status;
    }

    Channel& channel = channels[frame.channel];
    if (channel.open && channel.open->hasHeader && !EndsChannel(method.id))
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    const bool carries = CarriesContent(method.id) && frame.channel != 0;
    channel.contentMayFollow = method.id == AMQP_BASIC_ACK_METHOD || (CarriesContent(method.id) && frame.channel == 0);
    const bool again = channel.open && channel.open->message.id == method.id && method.id == AMQP_BASIC_DELIVER_METHOD;
    Interrupt(channel, Kind::Broken);
    Expected event{Kind::Method, frame.channel, method.id, EncodedMethod(method)};
    if (carries && !again)
    {
        channel.open = Open{std::move(event)};
    }
    else
    {
        ready.push_back(std::move(event));
    }
    return AMQP_STATUS_OK;
}

int InboundModel::TakeHeader(const Wire::Frame& frame)
{
    Wire::Reader reader(frame.payload);
    if (reader.Left() < headerFixed)
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    const std::uint16_t classId = reader.Short();
    reader.Short();
    const std::uint64_t bodySize = reader.LongLong();
    std::string octets;
    void* properties = nullptr;
    const int status = amqp_decode_properties(classId, &pool.raw, Rest(reader, octets), &properties);
    if (status != AMQP_STATUS_OK)
    {
        return status;
    }

    Channel& channel = channels[frame.channel];
    if (!channel.open && std::exchange(channel.contentMayFollow, false))
    {
        channel.open = Open{.unwanted = true};
    }
    if (!channel.open)
    {
        ready.push_back({Kind::Stray, frame.channel});
        return AMQP_STATUS_OK;
    }
    Open& open = *channel.open;
    if (open.hasHeader || classId != AMQP_BASIC_CLASS)
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    open.hasHeader = true;
    open.message.properties = EncodedProperties(*static_cast<const amqp_basic_properties_t*>(properties));
    open.missing = bodySize;
    CompleteWhenWhole(channel);
    return AMQP_STATUS_OK;
}

int InboundModel::TakeBody(const Wire::Frame& frame)
{
    Channel& channel = channels[frame.channel];
    if (!channel.open || !channel.open->hasHeader)
    {
        Interrupt(channel, Kind::Broken);
        ready.push_back({Kind::Stray, frame.channel});
        return AMQP_STATUS_OK;
    }
    Open& open = *channel.open;
    if (frame.payload.size() > open.missing)
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    open.message.body->append(frame.payload);
    open.missing -= frame.payload.size();
    CompleteWhenWhole(channel);
    return AMQP_STATUS_OK;
}

void InboundModel::Interrupt(Channel& channel, Kind kind)
{
    if (channel.open && !channel.open->unwanted)
    {
        ready.push_back(std::move(channel.open->message));
        ready.back().kind = kind;
    }
    channel.open.reset();
}

void InboundModel::CompleteWhenWhole(Channel& channel)
{
    if (channel.open->missing == 0)
    {
        Interrupt(channel, Kind::Message);
    }
}

// Gives up the unfinished message with the lowest channel number. Returns false if no message is unfinished.
bool InboundModel::GiveUp(Expected& event)
{
    for (auto& [number, channel] : channels)
    {
        Interrupt(channel, Kind::Lost);
        if (!ready.empty())
        {
            event = std::move(ready.front());
            ready.pop_front();
            return true;
        }
    }
    return false;
}

} // namespace Fuzz
