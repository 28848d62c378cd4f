// Joins the parts of large bodies. Each subscription owns one buffer, and the buffer owns the bodies of the parts that
// wait for the rest of their series. Belongs to the connection's thread.
#pragma once

#include "engine/Event.hpp"

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Amqp
{

class ReassemblyBuffer
{
public:
    enum class Result
    {
        Ordinary,  ///< The delivery is no part of a series.
        Stored,    ///< The buffer keeps the part until the rest of the series has arrived.
        Duplicate, ///< The buffer already has a part with this index, and has not kept the new one.
        Complete   ///< The last missing part has arrived: its envelope now shows the whole body.
    };

    /// Takes a delivery and the envelope that shows it. When the series is complete, joins its parts in `whole`, which
    /// the envelope then shows. If Take throws, the buffer has not kept the part; the broker may redeliver the part.
    ///
    /// @throws std::bad_variant_access  the header with the hash, which names the series, holds no string.
    /// @throws std::bad_alloc           there is no memory for the part or for the whole body.
    Result Take(Event& delivery, Envelope& envelope, Octets& whole);

private:
    using Parts = std::map<std::uint64_t, Octets>;

    static Octets Join(const Parts& parts, std::uint64_t index, std::string_view body);

    using Series = std::unordered_map<std::string, Parts>;
    std::unique_ptr<Series> series; // null until a part arrives: most consumers never receive one
};

} // namespace Amqp
