// What both sides send over TLS, and how the connection ends. A record may hold several frames, and a frame may take
// several records.
#include "Messaging.hpp"
#include "OverTls.hpp"
#include "support/RawClient.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int frameMaxOverTls = 4096;

// Plays the login and the opening of channel 1, and then the rest.
ScriptedBroker OnTlsChannel(ScriptedBroker::Script rest)
{
    return ScriptedBroker(
        [rest = std::move(rest)](Dialogue& peer)
        {
            peer.Login(LoginOver(/*tls*/ true));
            peer.OpenChannel(1);
            rest(peer);
        },
        {.tls = true});
}

void CloseAll(Dialogue& peer)
{
    peer.CloseChannel(1);
    peer.CloseConnection();
}

struct TlsClient
{
    explicit TlsClient(const ScriptedBroker& broker)
        : connection(LogIn(broker, {.frameMax = frameMaxOverTls}, /*tls*/ true)), channel(OpenChannel(connection))
    {
    }

    Inbox inbox;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

std::string BytesOf(std::uint64_t tag, const std::string& body)
{
    return DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, body, frameMaxOverTls);
}

// Bodies: empty, small, in one full frame, and in several frames, of which more than one fits a record.
const std::vector<std::string> bodiesOverTls = {
    "", "small", std::string(frameMaxOverTls - 8, 'f'), std::string(10'000, 'm'), std::string(1 << 20, 'l'), "last"};

// Runs a step for each body.
void ExpectDelivered(TlsClient& client, const std::vector<std::string>& bodies)
{
    client.channel->Subscribe("q", client.inbox.Handler(), Amqp::Explicit, false, false);
    for (std::size_t i = 0; i < bodies.size(); ++i)
    {
        ASSERT_EQ(client.connection->Run(), true);
    }
    EXPECT_TRUE(client.inbox.bodies == bodies);
}

// Plays the end of a connection, and returns the error that a step then throws.
Amqp::ErrorCode ErrorAfter(const ScriptedBroker::Script& end)
{
    ScriptedBroker broker = OnTlsChannel(end);
    const TlsClient client(broker);
    Amqp::ErrorCode error = ErrorOf([&] { client.connection->Run(); });

    EXPECT_TRUE(ErrorOf([&] { client.channel->PurgeQueue("q"); })) << "every use fails from then on";
    return error;
}

auto IsClosed()
{
    return IsError(Amqp::ErrorCode::Library, -AMQP_STATUS_CONNECTION_CLOSED,
                   amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED));
}

auto IsTlsError()
{
    return IsError(Amqp::ErrorCode::Ssl, -AMQP_STATUS_SSL_ERROR, amqp_error_string2(AMQP_STATUS_SSL_ERROR));
}

} // namespace

TEST(Tls, CarriesMessagesOfEverySize)
{
    ScriptedBroker broker = OnTlsChannel(
        [](Dialogue& peer)
        {
            for (const std::string& body : bodiesOverTls)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), body);
            }
            CloseAll(peer);
        });
    const TlsClient client(broker);

    for (const std::string& body : bodiesOverTls)
    {
        client.channel->Publish("", "q", body, 0, {});
    }
}

TEST(Tls, CarriesDeliveriesOfEverySizeAndTheirVerdicts)
{
    ScriptedBroker broker = OnTlsChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            for (std::uint64_t tag = 1; tag <= bodiesOverTls.size(); ++tag)
            {
                peer.SendBytes(BytesOf(tag, bodiesOverTls[static_cast<std::size_t>(tag) - 1]));
                peer.Expect(1, BasicAck{.deliveryTag = tag});
            }
            CloseAll(peer);
        });
    TlsClient client(broker);

    ExpectDelivered(client, bodiesOverTls);
}

// All deliveries arrive with the first read, so the socket does not show that more of them wait.
TEST(Tls, HandlesEveryDeliveryOfARecordAtOnce)
{
    const std::vector<std::string> bodies = {"one", "two", "three"};
    ScriptedBroker broker = OnTlsChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.SendBytes(BytesOf(1, bodies[0]) + BytesOf(2, bodies[1]) + BytesOf(3, bodies[2]));
            for (std::uint64_t tag = 1; tag <= bodies.size(); ++tag)
            {
                peer.Expect(1, BasicAck{.deliveryTag = tag});
            }
            CloseAll(peer);
        });
    TlsClient client(broker);
    const auto begin = Clock::now();

    ExpectDelivered(client, bodies);

    EXPECT_LT(Clock::now() - begin, consumeWait / 2);
}

TEST(Tls, JoinsADeliveryThatRecordsCut)
{
    const std::string body(std::size_t{3} * frameMaxOverTls, 'c');
    ScriptedBroker broker = OnTlsChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer);
            const std::string bytes = BytesOf(1, body);
            constexpr std::size_t slice = 97;
            for (std::size_t begin = 0; begin < bytes.size(); begin += slice)
            {
                peer.SendBytes(std::string_view(bytes).substr(begin, slice));
            }
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            CloseAll(peer);
        });
    TlsClient client(broker);

    ExpectDelivered(client, {body});
}

TEST(Tls, CarriesCallsAndKeepsTheDeliveriesBetween)
{
    ScriptedBroker broker = OnTlsChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.SendBytes(BytesOf(1, "parked") + FrameBytes({methodFrame, 1, Encode(QueuePurgeOk{})}));
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            CloseAll(peer);
        });
    TlsClient client(broker);
    client.channel->Subscribe("q", client.inbox.Handler(), Amqp::Explicit, false, false);

    client.channel->PurgeQueue("q");
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(client.inbox.bodies, testing::ElementsAre("parked"));
}

TEST(Tls, IsClosedWhenThePeerSaysSo)
{
    EXPECT_THAT(ErrorAfter([](Dialogue& peer) { peer.Abandon(); }), IsClosed());
    EXPECT_THAT(ErrorAfter(
                    [](Dialogue& peer)
                    {
                        peer.EndOutput();
                        peer.ReadToEnd();
                    }),
                IsClosed());
}

// Without close_notify, an attacker may have cut the connection: only TLS protects the end of a stream.
TEST(Tls, FailsWhenTheStreamEndsWithoutCloseNotify)
{
    EXPECT_THAT(ErrorAfter([](Dialogue& peer) { peer.Reset(); }), IsTlsError());
    EXPECT_THAT(ErrorAfter(
                    [](Dialogue& peer)
                    {
                        peer.CutOutput();
                        peer.ReadToEnd();
                    }),
                IsTlsError());
}

TEST(TlsBroker, ReportsAClientThatSpeaksPlainAmqp)
{
    ScriptedBroker broker([](Dialogue&) {}, {.tls = true});
    RawClient client(broker.Port());

    client.Send(std::string_view("AMQP\0\0\x09\x01", 8));

    EXPECT_THAT(broker.TakeFailure(),
                testing::AllOf(testing::HasSubstr("start TLS"), testing::HasSubstr("expected: a TLS handshake"),
                               testing::HasSubstr("wrong version number")));
}

TEST(TlsBroker, WaitsForTheHandshakeUntilTheDeadline)
{
    ScriptedBroker broker([](Dialogue&) {}, {.tls = true});
    broker.Deadline(50ms);
    const RawClient client(broker.Port());

    EXPECT_THAT(broker.TakeFailure(), testing::HasSubstr("not finished: waiting at step 1: start TLS"));
}
