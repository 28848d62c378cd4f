// Arguments that the library cannot send or wait for. The error is thrown as an error of the connection: nothing is
// sent, and every channel is dropped. The connection stays usable.
#include "Messaging.hpp"
#include "values/RabbitMq.hpp"

namespace
{

struct BadArgument
{
    std::string name;
    std::function<void(Client&)> use;
    std::uint16_t code;
    int status;
};

void PrintTo(const BadArgument& bad, std::ostream* out)
{
    *out << bad.name;
}

std::vector<BadArgument> EachBadArgument()
{
    constexpr int text = AMQP_STATUS_BAD_AMQP_DATA;
    constexpr int wait = AMQP_STATUS_INVALID_PARAMETER;
    return {
        {"TextOfDeclareQueue", [](Client& c) { c.channel->DeclareQueue(tooLong); }, 1, text},
        {"TextOfBindQueue", [](Client& c) { c.channel->BindQueue("q", "e", tooLong); }, 1, text},
        {"TextOfSubscribe", [](Client& c) { c.channel->Subscribe(tooLong, Ignore, Amqp::Auto, false, false); }, 1,
         text},
        {"TextOfSubscribeRpc",
         [](Client& c) { c.channel->SubscribeRpc(tooLong, "q", Ignore, Amqp::Auto, false, false); }, 1, text},
        {"WaitOfMinusAMicrosecond", [](Client& c) { c.connection->Run(-1us); }, -wait, wait},
        {"WaitOfMinusTwoSeconds", [](Client& c) { c.connection->Run(-2s); }, -wait, wait},
    };
}

class RefusedArgument : public testing::TestWithParam<BadArgument>
{
};

INSTANTIATE_TEST_SUITE_P(Each, RefusedArgument, testing::ValuesIn(EachBadArgument()),
                         [](const auto& each) { return each.param.name; });

} // namespace

TEST_P(RefusedArgument, IsThrownSendsNothingAndDropsEveryChannel)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.OpenChannel(3); // the first frame after the error
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "not reported"});
            peer.Send(2, ChannelClose{.replyCode = 406, .replyText = "not reported"});
            peer.CloseChannel(3);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto second = client.NewChannel();

    EXPECT_THAT(ErrorOf([&] { GetParam().use(client); }),
                IsError(Amqp::ErrorCode::Library, GetParam().code, amqp_error_string2(GetParam().status)));

    const auto third = client.NewChannel();
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_TRUE(client.noted.errors.empty());
}

// The broker closes dropped channels together with the connection.
TEST_P(RefusedArgument, LeavesNoChannelForItsDestructorToClose)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto second = client.NewChannel();

    EXPECT_THROW(GetParam().use(client), Amqp::ErrorCode);
}
