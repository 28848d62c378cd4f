// Connections whose set-up fails before anything is sent, and a login over TLS. The file replaces functions of
// rabbitmq-c, so that they fail when a test wants it. It is an executable of its own, because all other tests need the
// real functions.
#include "ClientSocket.hpp"
#include "Messaging.hpp"
#include "OverTls.hpp"
#include "support/EphemeralPort.hpp"
#include "values/RabbitMq.hpp"

#include <dlfcn.h>
#include <stdexcept>

namespace
{

bool noConnection = false;
bool noTcpSocket = false;

template <typename Function>
Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// True as long as it lives.
class During
{
public:
    explicit During(bool& condition) : flag(condition) { flag = true; }
    During(const During&) = delete;
    During& operator=(const During&) = delete;
    ~During() { flag = false; }

private:
    bool& flag;
};

// Connects in both ways to a port on which nobody listens.
void ExpectBothRefused(const std::string& tcpText, const std::string& tlsText)
{
    EXPECT_THAT([] { Amqp::Connection("127.0.0.1", UnusedPort(), "guest", "guest", "/", {}, consumeWait, 0s, 131072); },
                testing::ThrowsMessage<std::runtime_error>(tcpText));
    EXPECT_THAT([] { LogInOverTls(UnusedPort(), {}); }, testing::ThrowsMessage<std::runtime_error>(tlsText));
}

} // namespace

amqp_connection_state_t AMQP_CALL amqp_new_connection()
{
    return noConnection ? nullptr : Real<decltype(amqp_new_connection)>("amqp_new_connection")();
}

amqp_socket_t* AMQP_CALL amqp_tcp_socket_new(amqp_connection_state_t state)
{
    return noTcpSocket ? nullptr : Real<decltype(amqp_tcp_socket_new)>("amqp_tcp_socket_new")(state);
}

TEST(Setup, RaisesARuntimeErrorWhenRabbitMqCGivesNoConnection)
{
    const During during(noConnection);

    ExpectBothRefused("Unable to instanciate new AMQP logical connection",
                      "Unable to instanciate new AMQP logical connection");
}

TEST(Setup, RaisesARuntimeErrorWhenRabbitMqCGivesNoTcpSocket)
{
    const During during(noTcpSocket);

    ExpectBothRefused("Unable to instanciate new AMQP TCP connection", "Unable to open a AMQP SSL TCP socket");
}

TEST(Setup, RaisesARuntimeErrorWhenRabbitMqCGivesNoTlsSocket)
{
    const During during(OverTls::noSocket);

    ExpectBothRefused("Unable to open a AMQP TCP socket", "Unable to instanciate new AMQP SSL TCP connection");
}

TEST(Setup, LogsInOverTlsWithTheIdentityAndTheVirtualHost)
{
    ScriptedBroker broker(LoginAndClose({.mechanism = "EXTERNAL", .response = "CN=orders", .virtualHost = "orders/eu"}),
                          {.tls = true});

    EXPECT_NO_THROW(LogInOverTls(broker.Port(), {.user = "CN=orders", .virtualHost = "orders/eu"}));
}

// A batch does nothing then, and a message goes out at once.
TEST(Setup, GathersNothingOverTls)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login(LoginOver(/*tls*/ true));
            peer.OpenChannel(1);
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
            peer.CloseChannel(1);
            peer.CloseConnection();
        },
        {.tls = true});
    const auto channel = OpenChannel(LogIn(broker, {}, /*tls*/ true));

    const Amqp::Batch batch(*channel);
    EXPECT_FALSE(batch.Gathers());
    channel->Publish("", "q", "body", 0, {});

    EXPECT_EQ(HeldBack(SocketTo(broker.Port())), 0);
    EXPECT_FALSE(IsCorked(SocketTo(broker.Port())));
}
