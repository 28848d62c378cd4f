// The peer's end of a case, the application's, and the comparison of what they saw with what is expected.
#include "Runner.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <optional>

#include "Client.hpp"
#include "support/ScriptedBroker.hpp"

namespace Faults
{

using namespace Wire;

namespace
{

// For every wait of the peer, and for each half of the application's part. A case is over in a millisecond, one with
// heartbeats in three seconds.
constexpr std::chrono::seconds deadline{15};

class Peer
{
public:
    explicit Peer(const Case& case_) : played(case_) {}

    void Play(Dialogue& dialogue);
    void Finish() { finished.set_value(); }
    bool AwaitGone() { return gone.get_future().wait_for(deadline) == std::future_status::ready; }
    const std::string& Wire() const { return wire; }

private:
    void End(Dialogue& dialogue);
    void Listen(Dialogue& dialogue);
    static void Answer(Dialogue& dialogue, const Frame& frame);

    const Case& played;
    std::promise<void> gone;
    std::promise<void> finished; // the application is
    std::string wire;
};

// A frame by its channel and the name of its method.
std::string Name(const Frame& frame)
{
    const std::string text =
        frame.type == methodFrame ? DescribePayload(frame.payload) : "frame " + std::to_string(frame.type);
    return std::to_string(frame.channel) + ":" + text.substr(0, text.find(" {"));
}

// A client that has gone takes no answer, and needs none.
void Peer::Answer(Dialogue& dialogue, const Frame& frame)
{
    const std::string name = Name(frame);
    try
    {
        if (name.ends_with(":channel.close"))
        {
            dialogue.Send(frame.channel, ChannelCloseOk{});
        }
        else if (name.ends_with(":connection.close"))
        {
            dialogue.Send(frame.channel, ConnectionCloseOk{});
        }
    }
    catch (const ScriptFailure&)
    {
        return;
    }
}

void Peer::Listen(Dialogue& dialogue)
{
    while (const std::optional<Frame> frame = dialogue.ReadFrameOrEnd())
    {
        Append(wire, Name(*frame), " ");
        if (played.ending == Ending::Obliging)
        {
            Answer(dialogue, *frame);
        }
    }
}

void Peer::End(Dialogue& dialogue)
{
    switch (played.ending)
    {
    case Ending::Close:
        dialogue.Abandon();
        return;
    case Ending::Reset:
        dialogue.Reset();
        return;
    case Ending::Deaf:
        finished.get_future().wait_for(2 * deadline);
        dialogue.Abandon();
        return;
    case Ending::Swallowing:
        dialogue.ReadToEnd();
        return;
    case Ending::EndOutput:
        dialogue.EndOutput();
        break;
    default:
        break;
    }
    Listen(dialogue);
}

void Peer::Play(Dialogue& dialogue)
{
    const Operation& operation = *played.operation;
    operation.prepare(dialogue, played.heartbeat);
    if (played.gone)
    {
        End(dialogue);
        gone.set_value();
        return;
    }
    if (!played.publishUntilTold)
    {
        operation.request(dialogue);
    }
    for (const std::string& octets : played.sent)
    {
        dialogue.SendBytes(octets);
    }
    if (played.expected.proceeds && operation.proceed)
    {
        operation.proceed(dialogue);
    }
    End(dialogue);
}

void ProbeClient(Client& client, Probe probe)
{
    switch (probe)
    {
    case Probe::None:
        return;
    case Probe::OneMoreStep:
        client.Step();
        return;
    case Probe::Unreadable:
        client.Step();
        if (!client.HasChannel())
        {
            client.Call([&] { client.OpenChannel(); });
            return;
        }
        client.Call([&] { client.First().PurgeQueue("later"); });
        client.Call([&] { client.First().Publish("", "later", "body", 0, {}); });
        return;
    case Probe::ClosedChannel:
        client.Call([&] { client.First().PurgeQueue("later"); });
        return;
    }
}

void PlayClient(const Case& played, Peer& peer, Client& client)
{
    const Operation& operation = *played.operation;
    try
    {
        operation.setUp(client);
    }
    catch (const std::exception& error)
    {
        client.Note(std::string("set-up fails: ") + error.what());
        return;
    }
    if (played.gone && !peer.AwaitGone())
    {
        client.Note("the peer does not go");
        return;
    }
    if (played.publishUntilTold)
    {
        client.RepeatUntilTold([&] { operation.publish(client); });
    }
    else
    {
        operation.act(client);
    }
    ProbeClient(client, played.expected.probe);
}

void Compare(std::string& failure, const char* what, const std::string& expected, const std::string& actual)
{
    if (expected != actual)
    {
        Append(failure, std::string(what) + ": expected [" + expected + "], actual [" + actual + "]");
    }
}

void CompareTime(std::string& failure, const char* what, std::chrono::steady_clock::time_point start)
{
    const auto passed = std::chrono::steady_clock::now() - start;
    if (passed >= deadline)
    {
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
        Append(failure, std::string(what) + " took " + std::to_string(milliseconds) + " ms");
    }
}

} // namespace

std::string Run(const Case& played)
{
    std::string failure;
    Peer peer(played);
    ScriptedBroker broker([&peer](Dialogue& dialogue) { peer.Play(dialogue); });
    broker.Deadline(deadline);

    Client client(broker.Port(), std::chrono::seconds(played.heartbeat), played.operation->frameMax);
    const auto start = std::chrono::steady_clock::now();
    PlayClient(played, peer, client);
    CompareTime(failure, "operation", start);
    const auto end = std::chrono::steady_clock::now();
    client.Destroy();
    CompareTime(failure, "teardown", end);
    peer.Finish();
    std::string script = broker.TakeFailure();

    const auto& otherwise = played.expected.otherwise;
    if (std::find(otherwise.begin(), otherwise.end(), client.Seen()) == otherwise.end())
    {
        Compare(failure, "seen", played.expected.seen, client.Seen());
    }
    if (played.expected.wire)
    {
        Compare(failure, "wire", *played.expected.wire, peer.Wire());
    }
    std::replace(script.begin(), script.end(), '\n', ' ');
    Append(failure, script);
    return failure.empty() ? failure : played.name + ": " + failure;
}

} // namespace Faults
