// A connection that is lost in the middle of a delivery, at each of its octets: an error, and never a crash or a leak.
#include "Messaging.hpp"

namespace
{

using Cut = void (Dialogue::*)();

constexpr std::uint32_t frameMax = 4096;

const Properties properties{.contentType = "text/plain",
                            .headers = Fields{{"array", List({Int32(1), Text("two")})},
                                              {"table", Nested({{"inner", Binary("bytes")}})},
                                              {"text", Text("value")}},
                            .correlationId = "correlation"};

struct Outcome
{
    std::size_t errors = 0;
    std::size_t delivered = 0;

    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << outcome.errors << " errors, " << outcome.delivered << " delivered";
}

// A delivery whose body takes two frames of the smallest frame_max there is.
std::string OneMessage()
{
    const std::string body(frameMax - 8 + 12, 'b');
    return DeliveryBytes(1, {.consumerTag = "1/1", .exchange = "x", .routingKey = "k"}, properties, body, frameMax);
}

// One connection that sends the beginning of the message and is cut.
void RunUntilCut(const std::string& beginning, Cut cut, Outcome& outcome)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptConsumer(peer);
            peer.SendBytes(beginning);
            (peer.*cut)();
        });
    const Client client(broker, frameMax);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);
    try
    {
        EXPECT_EQ(client.connection->Run(), true);
    }
    catch (const Amqp::ErrorCode&)
    {
        ++outcome.errors;
    }
    outcome.delivered += inbox.bodies.size();
}

// Cuts at every offset short of the whole message; none may be left out, and none may deliver.
void ExpectErrorAtEveryOffset(Cut cut)
{
    const std::string message = OneMessage();
    Outcome outcome;
    for (std::size_t offset = 0; offset < message.size(); ++offset)
    {
        RunUntilCut(message.substr(0, offset), cut, outcome);
    }
    testing::Test::RecordProperty("offsets", std::to_string(message.size()));
    EXPECT_GT(message.size(), frameMax);
    EXPECT_EQ(outcome, (Outcome{.errors = message.size(), .delivered = 0}));
}

} // namespace

TEST(CutDelivery, ThrowsAtEveryOffsetWhenThePeerCloses)
{
    ExpectErrorAtEveryOffset(&Dialogue::Abandon);
}

TEST(CutDelivery, ThrowsAtEveryOffsetWhenThePeerResets)
{
    ExpectErrorAtEveryOffset(&Dialogue::Reset);
}

TEST(CutDelivery, DeliversTheMessageThatIsCompleteAtItsLastOctet)
{
    Outcome outcome;
    RunUntilCut(OneMessage(), &Dialogue::Abandon, outcome);

    EXPECT_EQ(outcome, (Outcome{.errors = 0, .delivered = 1}));
}
