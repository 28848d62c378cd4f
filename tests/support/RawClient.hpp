// A client that sends the octets it is told to, for tests of the scripted broker itself. Owns its socket; one thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Content.hpp"
#include "Login.hpp"
#include "Stream.hpp"

namespace Wire
{

class RawClient
{
public:
    explicit RawClient(std::uint16_t port);

    void Send(std::string_view bytes);
    std::string Receive(std::size_t octets); // fewer when the stream ends or the deadline passes
    std::string ReceiveAll();                // up to the end of the stream
    void Close();                            // and reads on until the broker has closed, too

    template <typename Method>
    void Send(std::uint16_t channel, const Method& method)
    {
        Send(FrameBytes({methodFrame, channel, Encode(method)}));
    }

    // Header to connection.open, with the given tune-ok; leaves the answers of the broker read.
    void Login(const ConnectionTuneOk& tuneOk = {});

private:
    SharedDeadline deadline{defaultDeadline};
    Stream stream;
    std::string received;
};

} // namespace Wire
