// What ends the listening thread of a consumer, and who receives the error; and in which order a consumer is destroyed.
#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "Listening.hpp"

namespace
{

using Amqp::Consumer;
using Amqp::Envelope;
using Amqp::ErrorCode;

// A step of the loop that waits without limit: only a loop that ended by itself can be joined.
constexpr std::chrono::microseconds forever = 0us;

struct Custom : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// What onException was given, and on which thread.
struct Caught
{
    std::atomic<int> times = 0;
    std::string text{};
    const std::type_info* type = nullptr;
    std::optional<ErrorCode> error{};
    std::thread::id thread{};
    Event event{};

    auto Sink()
    {
        return [this](const std::exception& exception)
        {
            text = exception.what();
            type = &typeid(exception);
            thread = std::this_thread::get_id();
            if (const auto* const code = dynamic_cast<const ErrorCode*>(&exception))
            {
                error = *code;
            }
            if (++times == 1)
            {
                event.Set();
            }
        };
    }
};

} // namespace

TEST(ConsumerEnd, ComesWhenTheBrokerClosesTheConnection)
{
    Event closed;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            AcceptOneBinding(peer);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(0, ConnectionCloseOk{});
            closed.Set();
            peer.CloseConnection();
        });
    Log log;
    Caught caught;
    {
        Consumer consumer(Connect(broker, {}, forever), "ex", log.Sink(), "", caught.Sink());
        consumer.Bind("x", Ignore, false);
        consumer.MainBindingDone();
        ASSERT_TRUE(closed.Wait());
    }

    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("RabbitMQ: Binding x", "RabbitMQ: Listening...", "RabbitMQ: Stop listening..."));
    EXPECT_EQ(caught.times, 0);
}

TEST(ConsumerEnd, GivesAnExceptionOfItsThreadOnceToOnExceptionAsItIsAndIsStillJoined)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            AcceptOneBinding(peer);
            peer.Abandon();
        });
    Log log;
    Caught caught;
    {
        Consumer consumer(Connect(broker, {}, forever), "ex", log.Sink(), "", caught.Sink());
        consumer.Bind("x", Ignore, false);
        consumer.MainBindingDone();
        ASSERT_TRUE(caught.event.Wait());
    }

    EXPECT_EQ(caught.times, 1);
    EXPECT_NE(caught.thread, std::this_thread::get_id());
    EXPECT_EQ(*caught.type, typeid(ErrorCode));
    ASSERT_TRUE(caught.error);
    EXPECT_EQ(caught.error->category, ErrorCode::Library);
    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ: Binding x", "RabbitMQ: Listening...",
                                                  "RabbitMQ: Exception " + caught.text, "RabbitMQ: Stop listening..."));
    EXPECT_THAT(log.OnThisThread(), testing::ElementsAre(true, false, false, true));
}

TEST(ConsumerEnd, GivesAnExceptionOfAHandlerToOnExceptionWithItsType)
{
    ScriptedBroker broker(WithBindings(
        [](Dialogue& peer)
        {
            AcceptOneBinding(peer);
            DeliverToTheFirst(peer, "one");
            DeliverToTheFirst(peer, "two, which is not handled any more");
        },
        1));
    Caught caught;
    Consumer consumer(Connect(broker, {}, forever), "ex", {}, "", caught.Sink());
    consumer.Bind(
        "x", [](const Envelope&) -> Amqp::Acknowledge { throw Custom("handler failed"); }, false);

    consumer.MainBindingDone();
    ASSERT_TRUE(caught.event.Wait());

    EXPECT_EQ(*caught.type, typeid(Custom));
    EXPECT_EQ(caught.text, "handler failed");
    EXPECT_EQ(caught.times, 1);
}

TEST(ConsumerEnd, DropsAnExceptionThatNobodyWants)
{
    Log log;
    {
        ScriptedBroker broker(
            [](Dialogue& peer)
            {
                peer.Login();
                AcceptOneBinding(peer);
                DeliverToTheFirst(peer, "one");
                peer.CloseChannel(1);
                peer.CloseConnection();
            });
        Event failing;
        Consumer consumer(Connect(broker, {}, forever), "ex", log.Sink(), "", {});
        consumer.Bind(
            "x",
            [&](const Envelope&) -> Amqp::Acknowledge
            {
                failing.Set();
                throw Custom("handler failed");
            },
            false);
        consumer.MainBindingDone();
        ASSERT_TRUE(failing.Wait());
    }

    EXPECT_THAT(log.Lines(), testing::Contains("RabbitMQ: Exception handler failed"));
}

TEST(ConsumerEnd, DestroysTheExceptionCallbackBeforeTheChannelsAndTheLogAfterThem)
{
    Log order;
    const auto noting = [&](const char* what) // notes its own destruction
    { return std::shared_ptr<void>(nullptr, [what, note = order.Sink()](void*) { note(what); }); };
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            AcceptBinding(peer, 1, "x", "x", "x");
            AcceptBinding(peer, 2, "y", "y", "y");
            for (const std::uint16_t channel : {std::uint16_t{1}, std::uint16_t{2}})
            {
                peer.Expect(channel, ChannelClose{});
                order.Sink()("channel " + std::to_string(channel));
                peer.Send(channel, ChannelCloseOk{});
            }
            peer.Expect(0, ConnectionClose{});
            order.Sink()("connection");
            peer.Send(0, ConnectionCloseOk{});
        });
    {
        Consumer consumer(
            Connect(broker), "ex", [kept = noting("log")](std::string_view) {}, "",
            [kept = noting("exception callback")](const std::exception&) {});
        consumer.Bind("x", Ignore, false);
        consumer.Bind("y", Ignore, false);
    }

    EXPECT_THAT(order.Lines(),
                testing::ElementsAre("exception callback", "channel 1", "channel 2", "log", "connection"));
}
