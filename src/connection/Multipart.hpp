// Cuts a large body into the parts of a series of messages. A PartSeries borrows the body: each part is a view, and no
// byte is copied. Belongs to the thread that publishes.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstddef>
#include <cstdint>

namespace Amqp
{

/// The parts of one body, in order. The envelope and its body must outlive the series.
class PartSeries
{
public:
    /// @param partSize  the size of the largest part in bytes: at least 1, and smaller than the body.
    PartSeries(const Envelope& whole, std::size_t partSize);

    /// Returns the next part, or null after the last part. The part is valid until the next call.
    const Envelope* Next();

private:
    const Envelope& whole;
    const std::uint64_t partSize;
    const std::uint64_t total;
    std::uint64_t index = 0;
    Envelope part;
};

} // namespace Amqp
