// Octets that cannot be read: rabbitmq-c stops in the middle of a frame, and nothing may be read after that. Every use
// repeats the error, and the goodbye is said without waiting for its answer.
#include "Messaging.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;

struct BadOctets
{
    std::string name;
    std::string octets;
    int status;
};

void PrintTo(const BadOctets& bad, std::ostream* out)
{
    *out << bad.name;
}

std::string WrongFrameEnd()
{
    std::string frame = FrameBytes({methodFrame, 1, Encode(ChannelFlow{})});
    frame.back() = 'E';
    return frame;
}

std::vector<BadOctets> EachKind()
{
    using namespace std::string_literals;
    return {
        {"WrongFrameEnd", WrongFrameEnd(), AMQP_STATUS_BAD_AMQP_DATA},
        {"FrameLargerThanAgreed", "\x03\x00\x01\x7F\xFF\xFF\xFF"s, AMQP_STATUS_BAD_AMQP_DATA},
        {"UnknownMethod", FrameBytes({methodFrame, 1, "\x00\x3C\x77\x77"s}), AMQP_STATUS_UNKNOWN_METHOD},
        {"UnknownClassOfAHeader", FrameBytes({headerFrame, 1, "\x77\x77"s + std::string(12, '\0')}),
         AMQP_STATUS_UNKNOWN_CLASS},
    };
}

class Unreadable : public testing::TestWithParam<BadOctets>
{
protected:
    // What a use of the connection throws when it awaits a reply.
    auto IsRepeated() const { return IsError(ErrorCode::Library, 1, amqp_error_string2(GetParam().status)); }

    // What the run loop throws.
    auto IsThrownByRun() const
    {
        return IsError(ErrorCode::Library, -GetParam().status, amqp_error_string2(GetParam().status));
    }
};

// The goodbye comes, and is not answered: a client that waited would find the end of its test's patience. More octets
// than rabbitmq-c has room for wait to be read by mistake.
void ExpectOneSidedGoodbye(Dialogue& peer)
{
    peer.SendBytes(std::string(200'000, 'x'));
    peer.Expect(0, ConnectionClose{});
    peer.Abandon();
}

} // namespace

TEST_P(Unreadable, InTheRunLoopIsRepeatedByEveryUse)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.SendBytes(GetParam().octets);
            ExpectOneSidedGoodbye(peer);
        });
    Client client(broker);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsRepeated());
    EXPECT_THAT(ErrorOf([&] { client.NewChannel(); }), IsRepeated());
    EXPECT_TRUE(client.noted.errors.empty());
    client.channel->Publish("", "q", "body", 0, {});
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsThrownByRun()));
}

TEST_P(Unreadable, AsAReplyIsRepeatedByEveryUse)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.SendBytes(GetParam().octets);
            ExpectOneSidedGoodbye(peer);
        });
    Client client(broker);

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsRepeated());

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsRepeated());
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
}

TEST_P(Unreadable, InPlaceOfAReturnedMessageIsRepeatedByEveryUse)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Send(1, BasicReturn{});
            peer.SendBytes(GetParam().octets);
            ExpectOneSidedGoodbye(peer);
        });
    Client client(broker);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsRepeated());

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
}

TEST_P(Unreadable, InContentThatIsSkippedIsThrownByTheNextUse)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Send(7, BasicReturn{});
            peer.SendBytes(GetParam().octets);
            ExpectOneSidedGoodbye(peer);
        });
    const Client client(broker);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
}

TEST_P(Unreadable, AsTheAnswerToClosingAChannelIsThrownByTheNextUse)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, ChannelClose{});
            peer.SendBytes(GetParam().octets);
            ExpectOneSidedGoodbye(peer);
        });
    Client client(broker);
    client.channel.reset();

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
}

TEST_P(Unreadable, DuringTheLoginIsThrown)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.ExpectProtocolHeader();
            peer.SendBytes(GetParam().octets);
            peer.SendBytes(std::string(200'000, 'x'));
            peer.ExpectEnd(); // rabbitmq-c has closed the socket itself
        });

    EXPECT_THAT(ErrorOf([&] { Connect(broker); }), IsRepeated());
}

// What ended the connection first does not hide that nothing may be read any more.
TEST_P(Unreadable, BehindAConnectionCloseIsNotReadOn)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            const Frame close{methodFrame, 1, Encode(ConnectionClose{.replyCode = 320, .replyText = "forced"})};
            const std::string good = FrameBytes({methodFrame, 1, Encode(ChannelFlow{})});
            peer.SendBytes(FrameBytes(close) + GetParam().octets + good + good);
            ExpectOneSidedGoodbye(peer);
        });
    const Client client(broker);
    EXPECT_EQ(client.connection->Run(), false);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsRepeated());
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsThrownByRun());
}

INSTANTIATE_TEST_SUITE_P(Each, Unreadable, testing::ValuesIn(EachKind()),
                         [](const auto& test) { return test.param.name; });
