#include "Play.hpp"

#include "Fuzz.hpp"
#include "Handshake.hpp"

#include <algorithm>
#include <utility>

namespace Fuzz
{

namespace
{

using Amqp::Event;

void Check(const Event& event, const Expected& expected)
{
    Require(event.kind == expected.kind, "the kind of an event");
    Require(event.channel == expected.channel, "the channel of an event");
    if (event.kind != Event::Kind::Stray)
    {
        Require(event.method.id == expected.id, "the method of an event");
        Require(EncodedMethod(event.method) == expected.method, "the fields of a method");
    }
    Require((event.properties != nullptr) == expected.properties.has_value(), "whether there are properties");
    if (event.properties != nullptr)
    {
        Require(EncodedProperties(*event.properties) == *expected.properties, "the properties of a message");
    }
    Require(!expected.body || event.body == *expected.body, "the body of a message");
}

std::string WithLogin(std::string_view octets)
{
    return LoginReplies() + std::string(octets);
}

} // namespace

Play::Play(std::string_view early) : broker(WithLogin(early), FedSocket::Then::GoesOn)
{
    model.Receive(early);
    session.OpenTcp("127.0.0.1", 1);
    const auto reply = session.LogIn({"/", std::chrono::seconds(0), frameMax, AMQP_SASL_METHOD_PLAIN, "guest", "guest"},
                                     Amqp::Table());
    Require(reply.reply_type == AMQP_RESPONSE_NORMAL, "the login");
}

void Play::Send(std::string_view octets)
{
    pending.append(octets);
    const std::size_t count = pending.size() - std::min(std::exchange(late, 0), pending.size());
    const std::size_t sent = broker.Add(std::string_view(pending).substr(0, count));
    model.Receive(std::string_view(pending).substr(0, sent));
    pending.erase(0, sent);
}

void Play::End()
{
    do
    {
        Send({});
        TakeAll();
    } while (!pending.empty() && model.Failure() == AMQP_STATUS_OK);
    broker.End();
    model.EndStream();
    TakeAll();
    Require(model.Failure() != AMQP_STATUS_OK, "the stream has ended");
    Require(!Next(), "nothing comes after the end");
    while (!held.empty())
    {
        Drop(held.size() / 2);
    }
}

bool Play::Hold(Held&& taken, int status, int expectedStatus)
{
    Require(status == expectedStatus,
            "a status is " + std::to_string(status) + " instead of " + std::to_string(expectedStatus));
    if (status != AMQP_STATUS_OK)
    {
        Require(session.Failure() == model.Failure(), "what the session failed of");
        Require(status == AMQP_STATUS_TIMEOUT ? !inbound.HasMore() || !parked.empty() : status == model.Failure(),
                "there is no more, or nothing ever comes again");
        return false;
    }
    Check(taken.event, taken.expected);
    held.push_back(std::move(taken));
    return true;
}

// Calls `take` again while Inbound is busy: Inbound has then returned before it has read everything.
template <typename Take>
int Play::Persist(Take take) const
{
    int status = take();
    while (status == AMQP_STATUS_TIMEOUT && inbound.IsBusy())
    {
        status = take();
    }
    return status;
}

bool Play::Next()
{
    Require(inbound.HasParked() == !parked.empty(), "whether something is parked");
    if (parked.empty())
    {
        return NextUnparked();
    }
    Require(inbound.HasMore(), "what is parked needs no wait");
    Held next{{}, std::move(parked.front())};
    parked.pop_front();
    const int status = inbound.Next(next.event);
    return Hold(std::move(next), status, AMQP_STATUS_OK);
}

bool Play::NextUnparked()
{
    Require(inbound.HasMore() || model.Ready() == nullptr, "what came in place of content needs no wait");
    Held next;
    const int status =
        Persist([&] { return parked.empty() ? inbound.Next(next.event) : inbound.NextUnparked(next.event); });
    const int expected = model.NextUnparked(next.expected);
    return Hold(std::move(next), status, expected);
}

// Inbound decides how many events one TakeIn parks, but must park some. Checks all parked events and parks them again.
void Play::TakeIn()
{
    bool more = true;
    while (more)
    {
        const int status = Persist([&] { return inbound.TakeIn(); });
        const std::size_t before = parked.size();
        std::deque<Event> events;
        while (inbound.HasParked())
        {
            Require(inbound.Next(events.emplace_back()) == AMQP_STATUS_OK, "what is parked is given");
        }
        Require(events.size() >= before, "what was parked is parked still");
        while (parked.size() < events.size())
        {
            Require(model.NextUnparked(parked.emplace_back()) == AMQP_STATUS_OK, "no more is parked than comes");
        }
        for (std::size_t i = 0; i < events.size(); ++i)
        {
            Check(events[i], parked[i]);
            Require(inbound.Park(std::move(events[i])), "there is memory to park an event");
        }
        Expected none;
        more = status == AMQP_STATUS_TIMEOUT && events.size() > before;
        Require(more || model.NextUnparked(none) == status, "nothing is parked when nothing comes");
    }
}

void Play::TakeAll()
{
    constexpr std::size_t few = 3;
    while (Next())
    {
        if (held.size() > few)
        {
            Drop(held.size() - few);
        }
    }
}

void Play::Park(std::size_t index)
{
    Held chosen = std::move(held[index]);
    held.erase(held.begin() + static_cast<std::ptrdiff_t>(index));
    Require(inbound.Park(std::move(chosen.event)), "there is memory to park an event");
    parked.push_back(std::move(chosen.expected));
}

void Play::TakeParkedClose(std::size_t index)
{
    const Expected any = parked.empty() ? Expected() : parked[index % parked.size()];
    const auto id = any.id == AMQP_CONNECTION_CLOSE_METHOD ? any.id : AMQP_CHANNEL_CLOSE_METHOD;
    const auto isWanted = [&any, id](const Expected& waiting)
    { return waiting.kind == Event::Kind::Method && waiting.channel == any.channel && waiting.id == id; };
    const auto found = std::find_if(parked.begin(), parked.end(), isWanted);
    Held taken;
    Require(inbound.TakeParkedClose(taken.event, any.channel, id) == (found != parked.end()),
            "whether such a close is parked");
    if (found != parked.end())
    {
        taken.expected = std::move(*found);
        parked.erase(found);
        Hold(std::move(taken), AMQP_STATUS_OK, AMQP_STATUS_OK);
    }
}

void Play::TakeClose(std::size_t argument)
{
    const Expected* const next = parked.empty() ? model.Ready() : &parked.front();
    const auto channel = static_cast<std::uint16_t>(next == nullptr ? argument : next->channel);
    const bool expected = next != nullptr && next->kind == Event::Kind::Method &&
                          (next->id == AMQP_CHANNEL_CLOSE_METHOD || next->id == AMQP_CONNECTION_CLOSE_METHOD);
    Event other;
    Require(!inbound.TakeClose(other, static_cast<std::uint16_t>(channel + 1)), "a close is taken by its channel only");
    Held taken;
    Require(inbound.TakeClose(taken.event, channel) == expected, "whether a close comes next");
    if (!expected)
    {
        return;
    }
    if (parked.empty())
    {
        model.NextUnparked(taken.expected);
    }
    else
    {
        taken.expected = std::move(parked.front());
        parked.pop_front();
    }
    Hold(std::move(taken), AMQP_STATUS_OK, AMQP_STATUS_OK);
}

void Play::Keep(Held& kept)
{
    Require(kept.event.Keep(spare, scratch), "there is memory to keep an event");
    Check(kept.event, kept.expected);
}

void Play::TakeBody(Held& shorn)
{
    const Amqp::Octets body = shorn.event.TakeBody();
    Require(!shorn.expected.body || body.View() == *shorn.expected.body, "the body that was taken");
    shorn.expected.body.reset();
}

void Play::Drop(std::size_t index)
{
    Check(held[index].event, held[index].expected);
    held.erase(held.begin() + static_cast<std::ptrdiff_t>(index));
}

void Play::Do(Command command, std::size_t argument)
{
    const std::size_t index = held.empty() ? 0 : argument % held.size();
    switch (command)
    {
    case Command::NextUnparked:
        NextUnparked();
        return;
    case Command::TakeIn:
        TakeIn();
        return;
    case Command::TakeParkedClose:
        TakeParkedClose(argument);
        return;
    case Command::TakeClose:
        TakeClose(argument);
        return;
    case Command::SendLate:
        late = argument * argument;
        return;
    case Command::Fail:
        session.Fail(AMQP_STATUS_SOCKET_ERROR);
        model.Fail(AMQP_STATUS_SOCKET_ERROR);
        return;
    case Command::Leave:
        left = true;
        return;
    case Command::GiveUpPeer:
        session.GiveUpPeer();
        model.Fail(AMQP_STATUS_HEARTBEAT_TIMEOUT);
        model.EndStream(); // the socket is shut: what had arrived can be read, and nothing after it
        return;
    default:
        break;
    }
    if (held.empty() || command == Command::Next)
    {
        Next();
        return;
    }
    switch (command)
    {
    case Command::Park:
        Park(index);
        break;
    case Command::Keep:
        Keep(held[index]);
        break;
    case Command::TakeBody:
        TakeBody(held[index]);
        break;
    case Command::Move:
        std::swap(held[index], held.back());
        break;
    default:
        Drop(index);
    }
}

} // namespace Fuzz
