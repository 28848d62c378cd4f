// Uses of a consumer that end the process, each in a process of its own.
#include <chrono>
#include <csignal>

#include "Listening.hpp"

namespace
{

using Amqp::Consumer;

// What std::terminate says by the words of g++'s standard library, and of LLVM's.
constexpr auto terminated = "terminate called|terminating";

void ListenTwice()
{
    ScriptedBroker broker(WithBindings([](Dialogue&) {}, 0));
    Consumer consumer(Connect(broker), "ex", {}, "", {});
    consumer.MainBindingDone();
    consumer.MainBindingDone();
}

// One binding and one delivery, and then nothing until the client has gone.
void DeliverOnce(Dialogue& peer)
{
    peer.Login();
    AcceptOneBinding(peer);
    DeliverToTheFirst(peer, "");
    peer.ReadFrame();
}

void DestroyFromAHandler()
{
    Event started; // until then the thread is not the consumer's to join
    Event never;
    ScriptedBroker broker(&DeliverOnce);
    auto consumer = std::make_unique<Consumer>(Connect(broker), "ex", nullptr, "", nullptr);
    consumer->Bind(
        "x",
        [&](const Amqp::Envelope&)
        {
            static_cast<void>(started.Wait());
            consumer.reset();
            return Amqp::Ack;
        },
        false);
    consumer->MainBindingDone();
    started.Set();
    static_cast<void>(never.Wait());
}

void ThrowAnIntFromAHandler()
{
    Event never;
    ScriptedBroker broker(&DeliverOnce);
    Consumer consumer(Connect(broker), "ex", nullptr, "", nullptr);
    consumer.Bind(
        "x", [](const Amqp::Envelope&) -> Amqp::Acknowledge { throw 1; }, false);
    consumer.MainBindingDone();
    static_cast<void>(never.Wait());
}

class ConsumerDeathTest : public testing::Test
{
protected:
    // The process is started anew rather than forked, since threads do not survive a fork.
    ConsumerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

TEST_F(ConsumerDeathTest, MainBindingDoneTwiceTerminatesTheProcess)
{
    EXPECT_EXIT(ListenTwice(), testing::KilledBySignal(SIGABRT), terminated);
}

TEST_F(ConsumerDeathTest, AHandlerThatDestroysItsConsumerTerminatesTheProcess)
{
    const auto start = std::chrono::steady_clock::now();
    // Compilers differ in whether the deadlock error is named: it leaves a destructor.
    EXPECT_EXIT(DestroyFromAHandler(), testing::KilledBySignal(SIGABRT), terminated);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s) << "and does not wait for the broker first";
}

TEST_F(ConsumerDeathTest, AHandlerThatThrowsWhatIsNoExceptionTerminatesTheProcess)
{
    EXPECT_EXIT(ThrowAnIntFromAHandler(), testing::KilledBySignal(SIGABRT), terminated);
}
