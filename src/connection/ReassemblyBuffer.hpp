// Joins the parts of a large body. Belongs to one subscription and holds the deliveries whose siblings are missing.
#pragma once

#include "connection/ReceivedEnvelope.hpp"

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <map>
#include <string>
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
        Complete   ///< The last one missing: the delivery now holds the whole body.
    };

    /// Takes in a delivery, given as rabbitmq-c read it and as `envelope` made of it.
    ///
    /// @throws std::bad_variant_access  the header that names the series holds no string.
    Result Take(const ReceivedEnvelope& received, const Envelope& envelope);

private:
    using Parts = std::map<std::uint64_t, ReceivedEnvelope>;

    static void Join(const Parts& parts, amqp_envelope_t& completing);

    std::unordered_map<std::string, Parts> series;
};

} // namespace Amqp
