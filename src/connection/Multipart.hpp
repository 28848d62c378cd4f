// Sending a large body as a series of messages: the slices are views, no byte of the body is copied.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstddef>
#include <cstdint>

namespace Amqp
{

/// The parts of one body, in order. The body must outlive the series.
class PartSeries
{
public:
    /// @param partSize  the largest part in bytes; not 0, and smaller than the body.
    PartSeries(const Envelope& whole, std::size_t partSize);

    /// The next part, or null after the last one. Valid until the next call.
    const Envelope* Next();

private:
    const Envelope& whole;
    const std::uint64_t partSize;
    const std::uint64_t total;
    std::uint64_t index = 0;
    Envelope part;
};

} // namespace Amqp
