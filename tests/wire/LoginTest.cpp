// From the protocol header to connection.open-ok: what the client says of itself and what it agrees to.
#include <string>
#include <tuple>

#include "LoginOptions.hpp"

namespace
{

// What the client asks for, what the broker proposes, and what tune-ok has to say.
struct Tuning
{
    const char* name;
    std::chrono::seconds heartbeat;
    int frameMax;
    ConnectionTune proposed;
    ConnectionTuneOk agreed;
};

void PrintTo(const Tuning& tuning, std::ostream* out)
{
    *out << tuning.name;
}

class LoginTuning : public testing::TestWithParam<Tuning>
{
};

} // namespace

TEST(Login, SendsTheProtocolHeaderFirst)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.ExpectProtocolHeader();
            peer.Send(0, ConnectionStart{});
            peer.Receive<ConnectionStartOk>(0);
            peer.Send(0, ConnectionTune{});
            peer.Expect(0, ConnectionTuneOk{});
            peer.Expect(0, ConnectionOpen{});
            peer.Send(0, ConnectionOpenOk{});
            peer.CloseConnection();
        });

    const auto connection = Connect(broker);
    EXPECT_TRUE(connection->Tags().Empty());
}

TEST(Login, SendsUserAndPasswordAsAPlainResponse)
{
    ScriptedBroker broker(LoginAndClose({.mechanism = "PLAIN", .response = std::string("\0alice\0s3cret word", 18)}));

    EXPECT_NO_THROW(LogIn(broker, {.user = "alice", .password = "s3cret word"}));
}

TEST(Login, SendsAnEmptyUserAndPasswordAsTwoZeroBytes)
{
    ScriptedBroker broker(LoginAndClose({.response = std::string(2, '\0')}));

    EXPECT_NO_THROW(LogIn(broker, {.user = "", .password = ""}));
}

TEST(Login, SendsEmptyTextsWhenTheViewsReferToNothing)
{
    ScriptedBroker broker(LoginAndClose({.response = std::string(2, '\0'), .virtualHost = ""}));

    EXPECT_NO_THROW(Amqp::Connection("127.0.0.1", broker.Port(), {}, {}, {}, {}, consumeWait, 0s, 131072));
}

TEST(Login, OpensTheVirtualHost)
{
    ScriptedBroker broker(LoginAndClose({.virtualHost = "orders/eu"}));

    EXPECT_NO_THROW(LogIn(broker, {.virtualHost = "orders/eu"}));
}

TEST(Login, OpensAVirtualHostOf255Bytes)
{
    const std::string longest(255, 'v');
    ScriptedBroker broker(LoginAndClose({.virtualHost = longest}));

    EXPECT_NO_THROW(LogIn(broker, {.virtualHost = longest}));
}

TEST_P(LoginTuning, SettlesWithTheBroker)
{
    const Tuning& tuning = GetParam();
    ScriptedBroker broker(LoginAndClose({.channelMax = tuning.proposed.channelMax,
                                         .frameMax = tuning.proposed.frameMax,
                                         .heartbeat = tuning.proposed.heartbeat,
                                         .tuneOk = tuning.agreed}));

    EXPECT_NO_THROW(LogIn(broker, {.heartbeat = tuning.heartbeat, .frameMax = tuning.frameMax}));
}

INSTANTIATE_TEST_SUITE_P(
    Login, LoginTuning,
    testing::Values(
        Tuning{"OnTheBrokersValues", 60s, 131072, {2047, 131072, 60}, {2047, 131072, 60}},
        Tuning{"OnTheBrokersChannelMaxSinceNoneIsAskedFor", 0s, 131072, {9, 131072, 0}, {9, 131072, 0}},
        Tuning{"OnAsManyChannelsAsThereAreWhenTheBrokerSetsNoLimit", 0s, 131072, {0, 131072, 0}, {65535, 131072, 0}},
        Tuning{"OnTheSmallerFrameMaxOfTheClient", 0s, 8192, {2047, 131072, 0}, {2047, 8192, 0}},
        Tuning{"OnTheSmallerFrameMaxOfTheBroker", 0s, 131072, {2047, 16384, 0}, {2047, 16384, 0}},
        Tuning{"OnTheClientsFrameMaxWhenTheBrokerSetsNoLimit", 0s, 8192, {2047, 0, 0}, {2047, 8192, 0}},
        Tuning{"OnTheSmallestLegalFrameMaxForZero", 0s, 0, {2047, 131072, 0}, {2047, 4096, 0}},
        Tuning{"OnTheSmallestLegalFrameMaxForLess", 0s, 4095, {2047, 131072, 0}, {2047, 4096, 0}},
        Tuning{"OnTheShorterHeartbeatOfTheClient", 20s, 131072, {2047, 131072, 60}, {2047, 131072, 20}},
        Tuning{"OnTheShorterHeartbeatOfTheBroker", 90s, 131072, {2047, 131072, 60}, {2047, 131072, 60}},
        Tuning{"OnTheClientsHeartbeatWhenTheBrokerHasNone", 90s, 131072, {2047, 131072, 0}, {2047, 131072, 90}},
        Tuning{"OnNoHeartbeatWhenTheClientWantsNone", 0s, 131072, {2047, 131072, 60}, {2047, 131072, 0}},
        Tuning{"OnTheLongestHeartbeat", 65535s, 131072, {2047, 131072, 65535}, {2047, 131072, 65535}}),
    [](const auto& instance) { return std::string(instance.param.name); });
