// The broker ends, politely or not, under clients that wait, that have messages at hand and that publish; then it
// starts again. What no handler had acknowledged is there, once, and marked; what was published is there up to some
// message.
#include "PrivateBroker.hpp"

using testing::ElementsAreArray;

namespace
{

constexpr int messages = 20;
constexpr int acknowledged = 5;
constexpr int checkpoint = 100; // published before anything happens, and known to have arrived

class BrokerEnd : public PrivateBroker
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(PrivateBroker::SetUp());
        work = Name("work");
        stream = Name("stream");
        Witness witness;
        witness.Declare(work);
        witness.Declare(stream);
        // A queue is on disk only some time after it was declared, confirmations notwithstanding.
        Control({"eval", "mnesia:sync_log()."});
        witness.Fill(work, 1, messages);

        idle = Connect();
        busy = Connect();
        channel = OpenChannel(busy);
        channel->Subscribe(work, inbox.Handler(), Amqp::Explicit, false, false);
        ASSERT_TRUE(RunUntil(*busy, inbox.Has(acknowledged)));
        channel->DeclareQueue(work); // the broker has the acknowledgements now
        publisher.emplace(Connect(), Publisher::Task{.queue = stream});
        ASSERT_TRUE(Eventually([&] { return witness.Ready(stream) >= checkpoint; }));
    }

    void TearDown() override
    {
        publisher.reset();
        channel.reset();
        busy.reset();
        idle.reset();
        PrivateBroker::TearDown();
    }

    // The messages that were at hand are handled, whose acknowledgements come to nothing; then the end is seen.
    Ending RunBusy()
    {
        Ending ending = RunToTheEnd(*busy);
        EXPECT_THAT(inbox.bodies, ElementsAreArray(Numbers(1, messages)));
        return ending;
    }

    // Without confirmations a publisher cannot know how far it got, but there is no gap and nothing twice; a new
    // connection of the library finds it.
    void ExpectTheBeginningOfTheStream(int atLeast)
    {
        Witness witness;
        const int kept = witness.Ready(stream);
        std::cout << "  published without an error: " << publisher->Published() << ", kept: " << kept << "\n";
        EXPECT_GE(kept, atLeast);
        EXPECT_LE(kept, publisher->Published() + 1);
        witness.Fill(stream, kept + 1, kept + 1);

        Inbox found;
        const auto connection = Connect();
        const auto consuming = OpenChannel(connection);
        consuming->DeclareQueue(stream);
        consuming->Subscribe(stream, found.Handler(), Amqp::Explicit, false, false);
        EXPECT_TRUE(RunUntil(*connection, found.Has(static_cast<std::size_t>(kept) + 1)));
        EXPECT_THAT(found.bodies, ElementsAreArray(Numbers(1, kept + 1)));
    }

    std::string work;
    std::string stream;
    Inbox inbox;
    std::shared_ptr<Amqp::Connection> idle;
    std::shared_ptr<Amqp::Connection> busy;
    std::shared_ptr<Amqp::Channel> channel;
    std::optional<Publisher> publisher;
};

} // namespace

TEST_F(BrokerEnd, PolitelyMakesRunFalseAndAPublishFailAndKeepsEverything)
{
    const auto begin = Clock::now();
    Terminate();
    const Ending waiting = RunToTheEnd(*idle);
    ASSERT_TRUE(AwaitEnd());
    const Ending handling = RunBusy();
    ASSERT_TRUE(publisher->AwaitEnd());

    EXPECT_EQ(Seen(waiting), "false");
    EXPECT_EQ(Seen(handling), "false");
    EXPECT_EQ(Seen(*publisher), socketError);
    ExpectWithin(soon, "stopped, waiting consumer", waiting.when - begin);
    ExpectWithin(soon, "stopped, publisher", publisher->when - begin);

    Restart();
    EXPECT_EQ(Summary(Witness().Take(work, messages - acknowledged)),
              Range(acknowledged + 1, messages, /*redelivered*/ true));
    ExpectTheBeginningOfTheStream(checkpoint);
}

TEST_F(BrokerEnd, BySigkillMakesRunThrowAndAPublishFailAndKeepsWhatWasConfirmed)
{
    const auto begin = Clock::now();
    Kill();
    const Ending waiting = RunToTheEnd(*idle);
    const Ending handling = RunBusy();
    ASSERT_TRUE(publisher->AwaitEnd());

    EXPECT_EQ(Seen(waiting), socketError);
    EXPECT_EQ(Seen(handling),
              "category 2, code 7: connection closed unexpectedly"); // its acknowledgements met the reset
    EXPECT_EQ(Seen(*publisher), socketError);
    ExpectWithin(soon, "killed, waiting consumer", waiting.when - begin);
    ExpectWithin(soon, "killed, publisher", publisher->when - begin);

    Restart();
    // Acknowledgements that were not on disk yet are forgotten, the later ones first: what comes again is marked.
    const std::vector<Taken> found = Witness().Take(work, messages - acknowledged);
    ASSERT_FALSE(found.empty());
    EXPECT_LE(found.front().number, acknowledged + 1);
    EXPECT_EQ(Summary(found), Range(found.front().number, messages, /*redelivered*/ true));
    ExpectTheBeginningOfTheStream(0);
}
