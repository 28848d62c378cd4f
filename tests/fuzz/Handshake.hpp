// The frames that a broker sends until a client is logged in, and its replies to the client's first calls. Plain
// functions without state.
#pragma once

#include <cstdint>
#include <string>

#include "Session.hpp"
#include "support/Content.hpp"
#include "support/Methods.hpp"

namespace Fuzz
{

template <typename Method>
std::string Reply(std::uint16_t channel, const Method& method)
{
    return Wire::FrameBytes(Wire::Frame{Wire::methodFrame, channel, Wire::Encode(method)});
}

inline std::string LoginReplies()
{
    return Reply(0, Wire::ConnectionStart{}) + Reply(0, Wire::ConnectionTune{.frameMax = frameMax}) +
           Reply(0, Wire::ConnectionOpenOk{});
}

// Returns the replies to the calls that the constructor of Listening makes.
inline std::string ListeningReplies()
{
    return Reply(1, Wire::ChannelOpenOk{}) + Reply(2, Wire::ChannelOpenOk{}) +
           Reply(1, Wire::BasicConsumeOk{.consumerTag = "1/1"}) + Reply(2, Wire::BasicConsumeOk{.consumerTag = "2/1"});
}

// A longer input would not fit the socket at once, and would not find more.
constexpr std::size_t longestInput = 32768;

} // namespace Fuzz
