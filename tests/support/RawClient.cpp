// Connects, then speaks through the same kind of stream as the broker.
#include "RawClient.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

namespace Wire
{

namespace
{

Descriptor Connect(std::uint16_t port)
{
    Descriptor socket = ConnectTo(port);
    if (socket.Get() < 0)
    {
        throw std::system_error(errno, std::generic_category(), "connect on loopback");
    }
    return socket;
}

} // namespace

RawClient::RawClient(std::uint16_t port) : stream(Connect(port), deadline) {}

void RawClient::Send(std::string_view bytes)
{
    stream.Send(bytes);
}

std::string RawClient::Receive(std::size_t octets)
{
    while (received.size() < octets && stream.Receive(received) == Stream::Outcome::Ready)
    {
    }
    std::string taken = received.substr(0, octets);
    received.erase(0, taken.size());
    return taken;
}

std::string RawClient::ReceiveAll()
{
    while (stream.Receive(received) == Stream::Outcome::Ready)
    {
    }
    return std::exchange(received, {});
}

void RawClient::Close()
{
    stream.EndOutput();
    ReceiveAll();
}

void RawClient::Login(const ConnectionTuneOk& tuneOk)
{
    const LoginScript script;
    Send(std::string_view("AMQP\0\0\x09\x01", 8));
    Send(0, ConnectionStartOk{.response = script.response});
    Send(0, tuneOk);
    Send(0, ConnectionOpen{});
    const ConnectionStart start{.serverProperties = script.serverProperties};
    Receive(FrameBytes({{methodFrame, 0, Encode(start)},
                        {methodFrame, 0, Encode(ConnectionTune{})},
                        {methodFrame, 0, Encode(ConnectionOpenOk{})}})
                .size());
}

} // namespace Wire
