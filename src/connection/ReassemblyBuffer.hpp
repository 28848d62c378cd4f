// Joins the parts of a large body. Belongs to one subscription and holds the bodies of parts whose siblings are
// missing.
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
        Ordinary,  ///< No part of a series.
        Stored,    ///< Kept until its siblings have come.
        Duplicate, ///< Its sibling with the same index is here already; not kept.
        Complete   ///< The last one missing: its envelope now shows the whole body.
    };

    /// Takes in a delivery, and the envelope made of it; a whole body is put into `whole`. When something is thrown,
    /// nothing has changed, and the part may come again.
    ///
    /// @throws std::bad_variant_access  the header that names the series holds no string.
    /// @throws std::bad_alloc           there is no memory for the body, the part's or the whole one.
    Result Take(Event& delivery, Envelope& envelope, Octets& whole);

private:
    using Parts = std::map<std::uint64_t, Octets>;

    static Octets Join(const Parts& parts, std::uint64_t index, std::string_view body);

    using Series = std::unordered_map<std::string, Parts>;
    std::unique_ptr<Series> series; // null until a part arrives: most consumers never receive one
};

} // namespace Amqp
