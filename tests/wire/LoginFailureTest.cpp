// Logins that do not come to their end: refused, cut off, answered out of turn, or impossible from the start. Whatever
// happens, the constructor throws and leaves nothing behind.
#include <string>

#include "LoginOptions.hpp"
#include "support/EphemeralPort.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;
using Step = std::function<void(Dialogue&)>;

const Step header = [](Dialogue& peer) { peer.ExpectProtocolHeader(); };
const Step start = [](Dialogue& peer) { peer.Send(0, ConnectionStart{}); };
const Step startOk = [](Dialogue& peer) { peer.Receive<ConnectionStartOk>(0); };
const Step tune = [](Dialogue& peer) { peer.Send(0, ConnectionTune{}); };
const Step tuneOk = [](Dialogue& peer) { peer.Expect(0, ConnectionTuneOk{}); };
const Step open = [](Dialogue& peer) { peer.Expect(0, ConnectionOpen{}); };
const std::vector<Step> handshake = {header, start, startOk, tune, tuneOk, open};

void Play(Dialogue& peer, std::size_t steps)
{
    for (std::size_t i = 0; i < steps; ++i)
    {
        handshake.at(i)(peer);
    }
}

// The broker leads the handshake that far and then closes; the client says its own goodbye.
ScriptedBroker::Script RefuseAfter(std::size_t steps, ConnectionClose refusal)
{
    return [=](Dialogue& peer)
    {
        Play(peer, steps);
        peer.Send(0, refusal);
        peer.CloseConnection();
    };
}

std::string TextOf(int status)
{
    return amqp_error_string2(status);
}

// A client that gives up before its protocol header still says goodbye; a broker answers that with a header.
void RefuseStranger(Dialogue& peer)
{
    peer.Expect(0, ConnectionClose{});
    peer.SendBytes(std::string_view("AMQP\0\0\x09\x01", 8));
    peer.Abandon();
}

template <typename Action>
std::string RuntimeErrorOf(Action&& action)
{
    try
    {
        action();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "no std::runtime_error";
}

} // namespace

TEST(LoginFailure, ThrowsAnErrorThatConvertsToTrueForWrongCredentials)
{
    const std::string text = "ACCESS_REFUSED - Login was refused using authentication mechanism PLAIN. \xE2\x80\xA6";
    ScriptedBroker broker(RefuseAfter(3, {.replyCode = 403, .replyText = text}));

    const ErrorCode error = ErrorOf([&] { LogIn(broker, {.password = "guest"}); });

    EXPECT_TRUE(static_cast<bool>(error));
    EXPECT_THAT(error, IsError(ErrorCode::ConnectionClosed, 403, text));
}

TEST(LoginFailure, KeepsTheBrokersTextByteForByte)
{
    const std::string text("zero \0 and \xFF", 12);
    ScriptedBroker broker(RefuseAfter(3, {.replyCode = 403, .replyText = text}));

    EXPECT_EQ(ErrorOf([&] { LogIn(broker); }).message, text);
}

TEST(LoginFailure, ThrowsConnectionClosedForAnUnknownVirtualHost)
{
    const std::string text = "NOT_ALLOWED - vhost nowhere not found";
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            Play(peer, 5);
            peer.Expect(0, ConnectionOpen{.virtualHost = "nowhere"});
            peer.Send(0, ConnectionClose{.replyCode = 530, .replyText = text, .classId = 10, .methodId = 40});
            peer.CloseConnection();
        });

    EXPECT_THAT(ErrorOf([&] { LogIn(broker, {.virtualHost = "nowhere"}); }),
                IsError(ErrorCode::ConnectionClosed, 530, text));
}

TEST(LoginFailure, ThrowsLibraryWhenThePeerClosesAtAnyStepOfTheHandshake)
{
    for (std::size_t steps = 0; steps <= handshake.size(); ++steps)
    {
        SCOPED_TRACE("after step " + std::to_string(steps));
        ScriptedBroker broker(
            [=](Dialogue& peer)
            {
                Play(peer, steps);
                peer.Abandon();
            });

        const ErrorCode error = ErrorOf([&] { LogIn(broker); });
        EXPECT_EQ(error.category, ErrorCode::Library);
        EXPECT_EQ(error.code, 1);
        EXPECT_THAT(error.message, testing::AnyOf(TextOf(AMQP_STATUS_CONNECTION_CLOSED),
                                                  TextOf(AMQP_STATUS_SOCKET_ERROR), TextOf(AMQP_STATUS_SOCKET_CLOSED)));
    }
}

TEST(LoginFailure, ThrowsLibraryWhenThePeerClosesAtAnyByteOfConnectionStart)
{
    const std::string bytes =
        FrameBytes({methodFrame, 0, Encode(ConnectionStart{.serverProperties = DefaultServerProperties()})});
    for (std::size_t sent = 0; sent < bytes.size(); ++sent)
    {
        SCOPED_TRACE("after byte " + std::to_string(sent) + " of " + std::to_string(bytes.size()));
        ScriptedBroker broker(
            [&](Dialogue& peer)
            {
                peer.ExpectProtocolHeader();
                peer.SendBytes(std::string_view(bytes).substr(0, sent));
                peer.Abandon();
            });

        EXPECT_THAT(ErrorOf([&] { LogIn(broker); }),
                    IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_CONNECTION_CLOSED)));
    }
}

TEST(LoginFailure, ThrowsLibraryWhenThePeerAnswersWithAnUnexpectedMethod)
{
    for (const std::size_t steps : {1U, 3U})
    {
        SCOPED_TRACE("after step " + std::to_string(steps));
        ScriptedBroker broker(
            [=](Dialogue& peer)
            {
                Play(peer, steps);
                peer.Send(0, ConnectionBlocked{.reason = "low on memory"});
                peer.ExpectEnd();
            });

        EXPECT_THAT(ErrorOf([&] { LogIn(broker); }), IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_WRONG_METHOD)));
    }
}

// The last step is an ordinary call, which puts aside what is no answer to it.
TEST(LoginFailure, ThrowsLibraryWhenAnUnexpectedMethodTakesThePlaceOfOpenOk)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            Play(peer, 6);
            peer.Send(0, ConnectionBlocked{.reason = "low on memory"});
            peer.Abandon();
        });

    EXPECT_THAT(ErrorOf([&] { LogIn(broker); }), IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_CONNECTION_CLOSED)));
}

TEST(LoginFailure, ThrowsLibraryWhenThePeerSpeaksAnotherVersion)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.ExpectProtocolHeader();
            peer.Send(0, ConnectionStart{.versionMajor = 8, .versionMinor = 0});
            peer.ExpectEnd();
        });

    EXPECT_THAT(ErrorOf([&] { LogIn(broker); }),
                IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_INCOMPATIBLE_AMQP_VERSION)));
}

TEST(LoginFailure, ThrowsLibraryWhenTheHeartbeatIsOutOfRange)
{
    for (const auto heartbeat : {-1s, 65536s})
    {
        SCOPED_TRACE(heartbeat.count());
        ScriptedBroker broker(RefuseStranger);

        EXPECT_THAT(ErrorOf([&] { LogIn(broker, {.heartbeat = heartbeat}); }),
                    IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_INVALID_PARAMETER)));
    }
}

TEST(LoginFailure, ThrowsLibraryWhenFrameMaxIsNegative)
{
    ScriptedBroker broker(RefuseStranger);

    EXPECT_THAT(ErrorOf([&] { LogIn(broker, {.frameMax = -1}); }),
                IsError(ErrorCode::Library, 1, TextOf(AMQP_STATUS_INVALID_PARAMETER)));
}

TEST(LoginFailure, ThrowsRuntimeErrorWhenTheHostIsUnreachable)
{
    Amqp::Table properties;
    properties.Insert("application", "orders");

    EXPECT_EQ(RuntimeErrorOf(
                  [&] {
                      Amqp::Connection("127.0.0.1", UnusedPort(), "guest", "guest", "/", properties, consumeWait, 0s,
                                       131072);
                  }),
              "Unable to open a AMQP TCP socket");
}

TEST(LoginFailure, ThrowsRuntimeErrorWhenTheHostHasNoAddress)
{
    EXPECT_EQ(RuntimeErrorOf(
                  [] { Amqp::Connection("host.invalid", 5672, "guest", "guest", "/", {}, consumeWait, 0s, 131072); }),
              "Unable to open a AMQP TCP socket");
}

TEST(LoginFailure, ThrowsRuntimeErrorOverTlsWhenTheHostIsUnreachable)
{
    EXPECT_EQ(RuntimeErrorOf(
                  [] { Amqp::Connection("127.0.0.1", UnusedPort(), "identity", "/", {}, consumeWait, 0s, 131072); }),
              "Unable to open a AMQP SSL TCP socket");
}

TEST(LoginFailure, ThrowsRuntimeErrorOverTlsWhenThePeerSpeaksPlainAmqp)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.SendBytes(std::string_view("AMQP\0\0\x09\x01", 8));
            peer.Abandon();
        });

    EXPECT_EQ(RuntimeErrorOf(
                  [&] { Amqp::Connection("127.0.0.1", broker.Port(), "identity", "/", {}, consumeWait, 0s, 131072); }),
              "Unable to open a AMQP SSL TCP socket");
}

// The broker sees the client end the handshake, or what follows the handshake, depending on when the client checks the
// certificate.
TEST(LoginFailure, ThrowsRuntimeErrorOverTlsWhenNobodyVouchesForTheBroker)
{
    bool begun = false;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            begun = true;
            peer.ExpectEnd();
        },
        {.tls = true});

    EXPECT_EQ(RuntimeErrorOf(
                  [&] { Amqp::Connection("127.0.0.1", broker.Port(), "identity", "/", {}, consumeWait, 0s, 131072); }),
              "Unable to open a AMQP SSL TCP socket");

    const std::string failure = broker.TakeFailure();
    EXPECT_TRUE(begun ? failure.empty() : failure.find("alert") != std::string::npos) << failure;
}

TEST(LoginFailure, ThrowsLibraryForAPropertyKeyOf256BytesAndDoesNotConnect)
{
    Amqp::Table properties;
    properties.Insert(std::string(256, 'k'), true);
    ScriptedBroker broker(LoginAndClose({}));

    const ErrorCode error = ErrorOf([&] { LogIn(broker, {.properties = properties}); });

    EXPECT_EQ(error.category, ErrorCode::Library);
    EXPECT_EQ(error.message, TextOf(AMQP_STATUS_BAD_AMQP_DATA));
    EXPECT_NO_THROW(LogIn(broker)) << "the first to connect";
}

TEST(LoginFailure, ThrowsLibraryForPropertiesLargerThanAFrame)
{
    Amqp::Table properties;
    properties.Insert("text", std::string(200'000, 't'));
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            Play(peer, 2);
            peer.ExpectEnd();
        });

    const ErrorCode error = ErrorOf([&] { LogIn(broker, {.properties = properties}); });
    EXPECT_EQ(error.category, ErrorCode::Library);
    EXPECT_EQ(error.code, 1);
}

TEST(LoginFailure, ThrowsLibraryForAVirtualHostOf256Bytes)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            Play(peer, 5);
            peer.CloseConnection();
        });

    const ErrorCode error = ErrorOf([&] { LogIn(broker, {.virtualHost = std::string(256, 'v')}); });
    EXPECT_EQ(error.category, ErrorCode::Library);
    EXPECT_EQ(error.code, 1);
}
