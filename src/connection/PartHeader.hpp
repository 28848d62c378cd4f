// The headers that mark a message as a part of a series. The names belong to the wire format: do not change them.
// Any thread may read these constants.
#pragma once

namespace Amqp::PartHeader
{

inline constexpr const char* flag = "x-vnd.zorat.multipart";        // boolean, true
inline constexpr const char* total = "x-vnd.zorat.multipart.total"; // unsigned 64-bit: the number of parts
inline constexpr const char* index = "x-vnd.zorat.multipart.index"; // unsigned 64-bit: the index of this part, from 0
inline constexpr const char* hash = "x-vnd.zorat.multipart.hash";   // string: SHA-256 of the whole body, in hex

} // namespace Amqp::PartHeader
