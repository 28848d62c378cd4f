// Every operation with every fault.
#include <algorithm>
#include <string_view>
#include <utility>

#include "Expectation.hpp"
#include "ExpectationParts.hpp"
#include "Fault.hpp"

#include "values/RabbitMq.hpp"

namespace Faults
{

namespace
{

// An operation, its answer as octets, and the list that its cases go to.
class Maker
{
public:
    Maker(std::vector<Case>& cases, const Operation& made) : all(cases), operation(made)
    {
        for (const Piece& piece : operation.answer)
        {
            starts.push_back(answer.size());
            answer += Wire::FrameBytes(piece.frame);
        }
    }

    void Splits();
    void Losses();
    void LossesBehind();
    void Gone();
    void Intruders();
    void Damaged();
    void Silences();

private:
    Case New(const std::string& fault, Expected expected) const
    {
        Case made{.name = operation.name + ": " + fault, .operation = &operation, .sent = {}, .expected = {}};
        made.expected = std::move(expected);
        return made;
    }

    // Which frame of the answer that octet belongs to.
    std::size_t PieceAt(std::size_t offset) const
    {
        return static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), offset) - starts.begin()) - 1;
    }

    bool IsLastMessage(std::size_t piece) const;
    void Intrude(const Intrusion& intrusion, std::size_t piece, char letter);
    void Lose(const std::string& fault, std::size_t offset, Ending ending, int status);
    void FallSilent(std::size_t offset);
    void PublishToSilence(const std::string& fault, Ending ending);

    std::vector<Case>& all;
    const Operation& operation;
    std::string answer;
    std::vector<std::size_t> starts;
};

constexpr std::size_t messageFrames = 3;

Ending EndingOf(char letter)
{
    const std::string_view incomplete = "AT";
    const std::string_view unreadable = "BMC";
    return incomplete.find(letter) != std::string_view::npos   ? Ending::EndOutput
           : unreadable.find(letter) != std::string_view::npos ? Ending::Listening
                                                               : Ending::Obliging;
}

std::string At(std::size_t offset)
{
    return " at octet " + std::to_string(offset);
}

void Maker::Splits()
{
    for (std::size_t offset = 1; offset < answer.size(); offset += operation.stride)
    {
        Case made = New("in two pieces" + At(offset), ExpectSuccess(operation));
        made.sent = {answer.substr(0, offset), answer.substr(offset)};
        all.push_back(std::move(made));
    }
    Case made = New("octet by octet", ExpectSuccess(operation));
    for (const char octet : answer)
    {
        made.sent.emplace_back(1, octet);
    }
    all.push_back(std::move(made));
}

void Maker::Lose(const std::string& fault, std::size_t offset, Ending ending, int status)
{
    Case made = New(fault + At(offset), ExpectLoss(operation, PieceAt(offset), status));
    made.expected.wire.reset();
    made.sent = {answer.substr(0, offset)};
    made.ending = ending;
    all.push_back(std::move(made));
}

void Maker::Losses()
{
    for (std::size_t offset = 0; offset < answer.size(); offset += operation.stride)
    {
        Lose("closed", offset, Ending::Close, AMQP_STATUS_CONNECTION_CLOSED);
    }
    for (const std::size_t offset : {std::size_t{0}, std::size_t{1}, answer.size() / 2, answer.size() - 1})
    {
        // An acknowledgement on its way may run into the reset first, and leaves the run loop a mere end.
        if (Before(operation, PieceAt(offset)).wire->empty())
        {
            Lose("reset", offset, Ending::Reset, AMQP_STATUS_SOCKET_ERROR);
        }
    }
}

void Maker::LossesBehind()
{
    Case closed = New("closed" + At(answer.size()), ExpectLossBehind(operation, AMQP_STATUS_CONNECTION_CLOSED));
    closed.sent = {answer};
    closed.ending = Ending::EndOutput;
    all.push_back(std::move(closed));

    Case reset = New("reset" + At(answer.size()), ExpectLossBehind(operation, AMQP_STATUS_SOCKET_ERROR));
    reset.sent = {answer};
    reset.ending = Ending::Reset;
    reset.expected.wire.reset();
    all.push_back(std::move(reset));
}

void Maker::Gone()
{
    for (const bool reset : {false, true})
    {
        Case made = New(reset ? "reset before" : "closed before", ExpectGone(operation, reset));
        made.expected.wire.reset();
        made.ending = reset ? Ending::Reset : Ending::Close;
        made.gone = true;
        all.push_back(std::move(made));
    }
}

// Whether nothing of the answer is left after the message that this frame belongs to.
bool Maker::IsLastMessage(std::size_t piece) const
{
    for (std::size_t i = piece; i + 1 < starts.size(); ++i)
    {
        if (!operation.answer[i].seen.empty())
        {
            return false;
        }
    }
    return true;
}

void Maker::Intrude(const Intrusion& intrusion, std::size_t piece, char letter)
{
    // What swallows the content of a message, or leaves it incomplete, is played where the stream can end after it.
    const bool last = IsLastMessage(piece);
    if (letter == '.' || (letter == 'A' && !last) || (letter == 'Z' && starts.size() != messageFrames))
    {
        return;
    }
    if (letter == 'T' && !last)
    {
        letter = 'B'; // the next message comes in place of what is missing
    }
    Case made = New(intrusion.name + At(starts[piece]), ExpectAt(operation, piece, letter, intrusion.octets));
    const std::size_t rest = intrusion.replaces ? piece + 1 : piece;
    made.sent = {answer.substr(0, starts[piece]) + intrusion.octets +
                 (rest < starts.size() ? answer.substr(starts[rest]) : "")};
    made.ending = EndingOf(letter);
    all.push_back(std::move(made));
}

void Maker::Intruders()
{
    std::vector<Intrusion> intrusions = Intrusions(operation);
    for (Intrusion& garbage : Garbage(operation))
    {
        intrusions.push_back(std::move(garbage));
    }
    for (std::size_t piece = 0; piece < starts.size(); ++piece)
    {
        for (const Intrusion& intrusion : intrusions)
        {
            Intrude(intrusion, piece, Letter(intrusion.name, operation, piece));
        }
    }
}

void Maker::Damaged()
{
    for (std::size_t piece = 0; piece < starts.size(); ++piece)
    {
        for (const Intrusion& damage : Damages(operation.answer[piece]))
        {
            Intrude(damage, piece, damage.letter);
        }
    }
}

void Maker::FallSilent(std::size_t offset)
{
    Case made = New("silent" + At(offset), ExpectSilence(operation, PieceAt(offset)));
    made.sent = {answer.substr(0, offset)};
    made.ending = Ending::Listening;
    made.heartbeat = 1;
    all.push_back(std::move(made));
}

void Maker::PublishToSilence(const std::string& fault, Ending ending)
{
    Case made = New(fault, ExpectSilenceToPublish());
    made.expected.wire.reset();
    made.ending = ending;
    made.heartbeat = 1;
    made.publishUntilTold = true;
    all.push_back(std::move(made));
}

void Maker::Silences()
{
    const Awaiting first = operation.answer.front().awaiting;
    if (first == Awaiting::Start || first == Awaiting::Tune)
    {
        return; // before heartbeats are agreed
    }
    FallSilent(0);
    FallSilent(starts.back() + 3); // in the middle of a frame's own header
    FallSilent(answer.size() - 1);
    if (operation.publish)
    {
        PublishToSilence("silent while it publishes", Ending::Swallowing);
        PublishToSilence("deaf while it publishes", Ending::Deaf);
    }
}

} // namespace

void AddCases(std::vector<Case>& all, const Operation& operation)
{
    Maker maker(all, operation);
    maker.Splits();
    maker.Losses();
    maker.LossesBehind();
    if (operation.answer.front().awaiting > Awaiting::Open)
    {
        maker.Gone();
    }
    if (operation.ownFramesOnly)
    {
        maker.Intruders();
        maker.Damaged();
        maker.Silences();
    }
}

} // namespace Faults
