// What the letters of the table mean.
#include "Expectation.hpp"

#include "ExpectationParts.hpp"
#include "values/RabbitMq.hpp"

namespace Faults
{

namespace
{

using Amqp::ErrorCode;

std::string Told(unsigned code, const std::string& text)
{
    return "told " + Describe(ErrorCode::ChannelClosed, code, text);
}

Expected Failed(const Operation& operation, std::size_t piece, int status)
{
    const Awaiting awaiting = operation.answer[piece].awaiting;
    Expected expected = Before(operation, piece);
    FollowFailure(expected, awaiting, status);
    if (awaiting == Awaiting::Goodbye)
    {
        Follow(expected, "", operation.goodbye);
    }
    else if (!ClosesSocket(awaiting))
    {
        Follow(expected, "", connectionOnly);
    }
    return expected;
}

Expected Unreadable(const Operation& operation, std::size_t piece, int status)
{
    Expected expected = Failed(operation, piece, status);
    const Awaiting awaiting = operation.answer[piece].awaiting;
    expected.probe = InLogin(awaiting) || awaiting == Awaiting::Goodbye ? Probe::None : Probe::Unreadable;
    if (expected.probe == Probe::Unreadable)
    {
        Follow(expected, ThrownByRun(status) + "; " + ThrownByCall(status));
        if (operation.name != "OpenChannel")
        {
            Follow(expected, ToldOfPublish(status) + "; returns");
        }
    }
    return expected;
}

void FollowClosedChannel(Expected& expected)
{
    expected.probe = Probe::ClosedChannel;
    Follow(expected, "throws " + Describe(ErrorCode::ChannelClosed, 504, "Channel is closed"));
}

Expected Refused(const Operation& operation, std::size_t piece)
{
    const Awaiting awaiting = operation.answer[piece].awaiting;
    Expected expected = Before(operation, piece);
    switch (awaiting)
    {
    case Awaiting::Open:
        Follow(expected, "throws " + Describe(ErrorCode::ChannelClosed, 404, "NOT_FOUND"), connectionOnly);
        return expected;
    case Awaiting::Reply:
        Follow(expected, Told(404, "NOT_FOUND"),
               operation.name == "OpenChannel" ? "0:channel.close-ok" : "1:channel.close-ok");
        Follow(expected, operation.refused);
        break;
    case Awaiting::Event:
        Follow(expected, Told(0, "Broker requested channel close") + "; run true");
        break;
    case Awaiting::ReturnedContent:
    case Awaiting::ReturnedBody:
        Follow(expected, Told(404, "NOT_FOUND") + "; run true", "1:channel.close-ok");
        break;
    default: // in the middle of a delivery, which is gone; the channel stays registered, and says its goodbye
        Follow(expected, "run false");
        FollowClosedChannel(expected);
        Follow(expected, "", channelAndConnection);
        return expected;
    }
    FollowClosedChannel(expected);
    Follow(expected, "", connectionOnly);
    return expected;
}

Expected Forced(const Operation& operation, std::size_t piece)
{
    const Awaiting awaiting = operation.answer[piece].awaiting;
    Expected expected = Before(operation, piece);
    const std::string thrown = "throws " + Describe(ErrorCode::ConnectionClosed, 541, "INTERNAL_ERROR");
    if (InLogin(awaiting))
    {
        Follow(expected, thrown);
    }
    else if (awaiting == Awaiting::Reply)
    {
        Follow(expected, thrown, operation.name == "OpenChannel" ? "0:connection.close-ok" : "1:connection.close-ok");
    }
    else
    {
        Follow(expected, "run false", "0:connection.close-ok");
    }
    if (awaiting == Awaiting::Goodbye)
    {
        expected.probe = Probe::OneMoreStep; // a destructor leaves it to the loop
    }
    Follow(expected, "", connectionOnly);
    return expected;
}

Expected ForcedOnOwnChannel(const Operation& operation, std::size_t piece)
{
    const Awaiting awaiting = operation.answer[piece].awaiting;
    Expected expected = Before(operation, piece);
    if (InReturn(awaiting))
    {
        Follow(expected, "throws " + Describe(ErrorCode::ConnectionClosed, 541, "INTERNAL_ERROR"),
               "1:connection.close-ok 0:connection.close");
    }
    else
    {
        Follow(expected, "run false", connectionOnly);
    }
    return expected;
}

// The first frame behind the message that this frame belongs to.
std::size_t NextMessage(const Operation& operation, std::size_t piece)
{
    while (operation.answer[piece++].seen.empty())
    {
    }
    return piece;
}

// The application ends the loop because of what came between the frames of a message. The message comes all the same.
Expected EndedBetween(const Operation& operation, std::size_t piece)
{
    Expected expected = Before(operation, piece);
    expected.probe = Probe::OneMoreStep;
    Follow(expected, "run false");
    FollowPieces(expected, operation, piece, NextMessage(operation, piece));
    Follow(expected, "", operation.goodbye);
    return expected;
}

// The same, but nothing is sent any more, and no channel is there to take a message back.
Expected ForcedBetween(const Operation& operation, std::size_t piece)
{
    Expected expected = Forced(operation, piece);
    expected.probe = Probe::OneMoreStep;
    const Piece& last = operation.answer[NextMessage(operation, piece) - 1];
    Follow(expected, InReturn(last.awaiting) ? "run true" : last.seen);
    return expected;
}

Expected Continued(const Operation& operation, std::size_t piece, const std::string& seen)
{
    Expected expected = Before(operation, piece);
    Follow(expected, seen);
    FollowPieces(expected, operation, piece, operation.answer.size());
    Follow(expected, "", operation.goodbye);
    expected.proceeds = true;
    return expected;
}

Expected Ended(const Operation& operation, std::size_t piece, const std::string& seen, const std::string& goodbye)
{
    Expected expected = Before(operation, piece);
    Follow(expected, seen, goodbye);
    return expected;
}

// What came in place of a returned message's content is handled by itself, on a channel that is not registered any
// more.
Expected WithoutContent(const Operation& operation, std::size_t piece, const std::string& seen)
{
    Expected expected = Failed(operation, piece, AMQP_STATUS_UNEXPECTED_STATE);
    expected.probe = Probe::OneMoreStep;
    Follow(expected, seen);
    return expected;
}

Expected WithoutBody(const Operation& operation, std::size_t piece)
{
    const bool returned = InReturn(operation.answer[piece].awaiting);
    Expected expected = Before(operation, piece);
    expected.probe = Probe::OneMoreStep;
    Follow(expected, returned ? "takes back  312; run true" : "handles ; run true", operation.answer.back().wire);
    Follow(expected, "run false", operation.goodbye);
    return expected;
}

// The number of the method that stands first in these octets.
std::string MethodNumber(const std::string& octets)
{
    Wire::Reader reader(std::string_view(octets).substr(7));
    return std::to_string(reader.Long());
}

} // namespace

Expected ExpectAt(const Operation& operation, std::size_t piece, char letter, const std::string& octets)
{
    switch (letter)
    {
    case 'N':
        return Continued(operation, piece, "");
    case 'S':
        return Continued(operation, piece, "run true");
    case 'I':
        return Continued(operation, piece, "throws invalid_argument");
    case 'V':
        return Continued(operation, piece, "throws out_of_range");
    case 'W':
        return Failed(operation, piece, AMQP_STATUS_WRONG_METHOD);
    case 'X':
        return WithoutContent(operation, piece, "run true");
    case 'x':
        return WithoutContent(operation, piece, "run false");
    case 'B':
        return Unreadable(operation, piece, AMQP_STATUS_BAD_AMQP_DATA);
    case 'M':
        return Unreadable(operation, piece, AMQP_STATUS_UNKNOWN_METHOD);
    case 'C':
        return Unreadable(operation, piece, AMQP_STATUS_UNKNOWN_CLASS);
    case 'T':
        return Failed(operation, piece, AMQP_STATUS_CONNECTION_CLOSED);
    case 'Z':
        return WithoutBody(operation, piece);
    case 'R':
        return Refused(operation, piece);
    case 'K':
        return Forced(operation, piece);
    case 'k':
        return ForcedBetween(operation, piece);
    case 'O':
        return ForcedOnOwnChannel(operation, piece);
    case 'E':
        return Ended(operation, piece, "run false", channelAndConnection);
    case 's':
        return Ended(operation, piece, "run true; run false", channelAndConnection);
    case 'i':
        return Ended(operation, piece, "throws invalid_argument; run false", channelAndConnection);
    case 'v':
        return Ended(operation, piece, "throws out_of_range; run false", channelAndConnection);
    case 'U':
        return Ended(operation, piece,
                     "throws " +
                         Describe(ErrorCode::Server, 2, "Unexpected Amqp method received " + MethodNumber(octets)),
                     connectionOnly);
    case 'A':
        return Ended(operation, piece, "run true; " + ThrownByRun(AMQP_STATUS_CONNECTION_CLOSED), connectionOnly);
    default:
        return EndedBetween(operation, piece);
    }
}

} // namespace Faults
