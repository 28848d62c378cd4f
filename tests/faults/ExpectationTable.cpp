// What has to come of every frame that does not belong into the answer.
#include "Expectation.hpp"

#include <map>

namespace Faults
{

namespace
{

// One letter for each of what the library can be waiting for:
//   the login's Start, Tune and Open; a Reply; a Goodbye; an Event of the run loop; the content and the body of a
//   delivery; the content and the body of a returned message
//
//   N  nothing: as if it had not come             .  not played
//   W  the login fails with "wrong method"        S  one more step of the run loop, which gives true
//   B  bad data: nothing is read any more         E  Run gives false
//   M  unknown method: likewise                   l  the same; a step more gives the message
//   C  unknown class: likewise                    U  Run throws "Unexpected Amqp method"
//   R  the broker refuses, and closes a channel   A  the content of the message is taken for that of the method
//   K  the broker closes the connection           s  a step that gives true, and the message's content alone: false
//   k  the same; a step more gives the message    i  the same instead of the step that gives true
//   O  the same, on the channel's own number      v  likewise
//   X  "unexpected state" is thrown, and a step   I  Run throws std::invalid_argument
//      more gives true                            V  Run throws std::out_of_range
//   x  the same, but false
//
// What stands in no table, since it damages the frame of the answer itself:
//
//   T  the message has not come whole when the stream ends
//   Z  the message comes without its body, and the body alone: false
const std::map<std::string, std::string> table = {
    {"heartbeat", "BNNNNNNNNN"}, // the first eight octets of all may be a protocol header's: rabbitmq-c misses
                                 // the end of a frame that is not longer
    {"three heartbeats", "BNNNNNNNNN"},
    {"blocked", "WWNNNSSSSS"},
    {"unblocked", "WWNNNSSSSS"},
    {"wrong method", "WWNNNUUBXB"},
    {"wrong method, other channel", "WWNNNSSSSS"},
    {"channel.close", "WWRRNRRRRR"},
    {"channel.close, other channel", "WWNNNSSSSS"},
    {"connection.close", "WKKKKKkkkk"},
    {"connection.close, own channel", "WWNNNOOOOO"},
    {"connection.close, other channel", "WWNNNSSSSS"},
    {"basic.cancel", "WWNNNUUBXB"},
    {"basic.cancel, unknown consumer", "WWNNNUUBXB"},
    {"basic.ack", "WWNNNSABXB"},
    {"basic.ack, other channel", "WWNNNSSSSS"},
    {"basic.ack with content", "WWNNNSsBXB"},
    {"basic.ack with content, other channel", "WWNNNSSSSS"},
    {"delivery for an unknown tag", "WWNNNSUBXB"},
    {"delivery on another channel", "WWNNNSSSSS"},
    {"return on another channel", "WWNNNSSSSS"},
    {"get-ok on another channel", "WWNNNSSSSS"},
    {"return without id", "WWNNNIiBXB"},
    {"return with a malformed id", "WWNNNIiBXB"},
    {"return with an empty id", "WWNNNIiBXB"},
    {"return with an overflowing id", "WWNNNVvBXB"},
    {"return with an unknown id", "WWNNNSsBXB"},
    {"header", "WWNNNEBBBB"},
    {"body", "WWNNNEEBxB"},
    {"empty body", "BWNNNEENxN"},
    {"header, other channel", "WWNNNEllll"},
    {"body, other channel", "WWNNNEllll"},
    {"unknown class", "MMMMMMMMMM"},
    {"unknown method", "MMMMMMMMMM"},
    {"unknown method, other channel", "MMMMMMMMMM"},
    {"unknown content class", "CCCCCCCCCC"},
};

const std::string anyGarbage = "BBBBBBBBBB";
const std::string anyUnknownType = "NNNNNNNNNN";

} // namespace

char Letter(const std::string& intrusion, const Operation& operation, std::size_t piece)
{
    const auto column = static_cast<std::size_t>(operation.answer[piece].awaiting);
    const auto found = table.find(intrusion);
    if (found != table.end())
    {
        const char letter = found->second.at(column);
        // A connection that closes has no step left that could find out.
        const bool ends = operation.answer[piece].awaiting == Awaiting::Goodbye && operation.channel == 0;
        return ends && letter == 'K' ? 'N' : letter;
    }
    return intrusion.starts_with("frame of unknown type") ? anyUnknownType.at(column) : anyGarbage.at(column);
}

} // namespace Faults
