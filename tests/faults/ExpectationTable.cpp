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
//   B  bad data: nothing is read any more         L  the same after the message
//   M  unknown method: likewise                   l  after the message a step that gives false
//   C  unknown class: likewise                    f  after the message the broker's closing of the connection
//   R  the broker refuses, and closes a channel   E  Run gives false
//   K  the broker closes the connection           U  Run throws "Unexpected Amqp method"
//   O  the same, on the channel's own number      A  the content of the message is taken for that of the method
//   X  the call throws "unexpected state"         s  a step that gives true, and the message's content alone: false
//   I  Run throws std::invalid_argument           i  the same instead of the step that gives true
//   V  Run throws std::out_of_range               v  likewise
//
// What stands in no table, since it damages the frame of the answer itself:
//
//   H  no memory: nothing is read any more        T  the message has not come whole when the stream ends
//   Z  the message comes without its body, and the body alone: false
const std::map<std::string, std::string> table = {
    {"heartbeat", "BNNNNNNNNN"}, // the first eight octets of all may be a protocol header's: rabbitmq-c misses
                                 // the end of a frame that is not longer
    {"three heartbeats", "BNNNNNNNNN"},
    {"blocked", "WWNNNSLLLL"},
    {"unblocked", "WWNNNSLLLL"},
    {"wrong method", "WWNNNUUBXB"},
    {"wrong method, other channel", "WWNNNSLLLL"},
    {"channel.close", "WWRRNRRRRR"},
    {"channel.close, other channel", "WWNNNSLLLL"},
    {"connection.close", "WKKKNKffff"},
    {"connection.close, own channel", "WWNNNOOOOO"},
    {"connection.close, other channel", "WWNNNSLLLL"},
    {"basic.cancel", "WWNNNUUBXB"},
    {"basic.cancel, unknown consumer", "WWNNNUUBXB"},
    {"basic.ack", "WWNNNSABXB"},
    {"basic.ack, other channel", "WWNNNSLLLL"},
    {"delivery for an unknown tag", "WWNNNSUBXB"},
    {"delivery on another channel", "WWNNNSLLLL"},
    {"return on another channel", "WWNNNSLLLL"},
    {"get-ok on another channel", "WWNNNSLLLL"},
    {"return without id", "WWNNNIiBXB"},
    {"return with a malformed id", "WWNNNIiBXB"},
    {"return with an empty id", "WWNNNIiBXB"},
    {"return with an overflowing id", "WWNNNVvBXB"},
    {"return with an unknown id", "WWNNNSsBXB"},
    {"header", "WWNNNEBBBB"},
    {"body", "WWNNNEEBXB"},
    {"empty body", "BWNNNEENXN"},
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
    // A content is read after it, whatever follows: a close is taken for it, on its channel.
    if (intrusion == "basic.ack" && operation.answer[piece].awaiting == Awaiting::Event && operation.answer.size() == 1)
    {
        return operation.answer[piece].frame.channel == operation.channel ? 'A' : 'S';
    }
    const auto found = table.find(intrusion);
    if (found != table.end())
    {
        return found->second.at(column);
    }
    return intrusion.starts_with("frame of unknown type") ? anyUnknownType.at(column) : anyGarbage.at(column);
}

} // namespace Faults
