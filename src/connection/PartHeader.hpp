// The headers that make a message a part of a series. The names are part of the wire format.
#pragma once

namespace Amqp::PartHeader
{

inline constexpr const char* flag = "x-vnd.zorat.multipart";        // boolean, true
inline constexpr const char* total = "x-vnd.zorat.multipart.total"; // unsigned 64-bit: number of parts
inline constexpr const char* index = "x-vnd.zorat.multipart.index"; // unsigned 64-bit: this part's, from 0
inline constexpr const char* hash = "x-vnd.zorat.multipart.hash";   // text: SHA-256 of the whole body, in hex

} // namespace Amqp::PartHeader
