// Exchanges, queues and bindings: every field of every method.
#include <string>
#include <string_view>

#include "Messaging.hpp"
#include "TopologyCases.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::Channel;

// If a call has a name and two flags instead of three, the name must not become the first of three flags.
template <typename... Arguments>
concept DeclaresAQueue = requires(Channel& channel, Arguments&&... arguments)
{
    channel.DeclareQueue(arguments...);
};
static_assert(!DeclaresAQueue<const char (&)[7], bool, bool> && !DeclaresAQueue<const char*, bool, bool> &&
              !DeclaresAQueue<char*, bool, bool> && !DeclaresAQueue<std::string_view, bool, bool> &&
              !DeclaresAQueue<std::string, bool, bool>);
static_assert(DeclaresAQueue<bool, bool, bool> && DeclaresAQueue<int, int, int>);
static_assert(DeclaresAQueue<const char (&)[7]> && DeclaresAQueue<std::string_view> && DeclaresAQueue<std::string>);
static_assert(DeclaresAQueue<const char (&)[7], bool, bool, bool> && DeclaresAQueue<const char*, bool, bool, bool> &&
              DeclaresAQueue<std::string_view, bool, bool, bool> && DeclaresAQueue<std::string, bool, bool, bool>);

class TopologyDialogue : public testing::TestWithParam<Operation>
{
};

// Each flag alone, so that two that changed places are seen.
std::vector<Operation> EachFlagAlone()
{
    return {
        ExchangeCase("DeclareDurableExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::Direct, true, false, false); },
                     {.exchange = "e", .type = "direct", .durable = true}),
        ExchangeCase("DeclareInternalExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::Direct, false, true, false); },
                     {.exchange = "e", .type = "direct", .internal = true}),
        ExchangeCase("DeclareAutoDeleteExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::Direct, false, false, true); },
                     {.exchange = "e", .type = "direct", .autoDelete = true}),
        QueueCase("DeclareUnnamedDurableQueue", [](Channel& c) { c.DeclareQueue(true, false, false); },
                  {.durable = true}),
        QueueCase("DeclareUnnamedExclusiveQueue", [](Channel& c) { c.DeclareQueue(false, true, false); },
                  {.exclusive = true}),
        QueueCase("DeclareUnnamedAutoDeleteQueue", [](Channel& c) { c.DeclareQueue(false, false, true); },
                  {.autoDelete = true}),
        QueueCase("DeclareDurableQueue", [](Channel& c) { c.DeclareQueue("q", true, false, false); },
                  {.queue = "q", .durable = true}),
        QueueCase("DeclareExclusiveQueue", [](Channel& c) { c.DeclareQueue("q", false, true, false); },
                  {.queue = "q", .exclusive = true}),
        QueueCase("DeclareAutoDeleteQueue", [](Channel& c) { c.DeclareQueue("q", false, false, true); },
                  {.queue = "q", .autoDelete = true}),
        Case(
            "DestroyExchangeIfUnused", [](Channel& c) { c.DestroyExchange("e", true); },
            ExchangeDelete{.exchange = "e", .ifUnused = true}, ExchangeDeleteOk{}),
        Case(
            "DestroyQueueIfEmptySendsIfUnused0AndIfEmpty1", [](Channel& c) { c.DestroyQueue("q", true, false); },
            QueueDelete{.queue = "q", .ifUnused = false, .ifEmpty = true}, QueueDeleteOk{}),
        Case(
            "DestroyQueueIfUnusedSendsIfUnused1AndIfEmpty0", [](Channel& c) { c.DestroyQueue("q", false, true); },
            QueueDelete{.queue = "q", .ifUnused = true, .ifEmpty = false}, QueueDeleteOk{}),
    };
}

std::vector<Operation> EachExchangeType()
{
    return {
        ExchangeCase("DeclareDirectExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::ExchangeType(0), false, false, false); },
                     {.exchange = "e", .type = "direct"}),
        ExchangeCase("DeclareFanoutExchangeThatIsDurableAndAutoDeleteButNotInternal",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::ExchangeType(1), true, false, true); },
                     {.exchange = "e", .type = "fanout", .durable = true, .autoDelete = true, .internal = false}),
        ExchangeCase("DeclareTopicExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::ExchangeType(2), false, false, false); },
                     {.exchange = "e", .type = "topic"}),
        ExchangeCase("DeclareHeadersExchange",
                     [](Channel& c) { c.DeclareExchange("e", Amqp::ExchangeType(3), false, false, false); },
                     {.exchange = "e", .type = "headers"}),
    };
}

std::vector<Operation> EachUnusualName()
{
    const std::string longest(255, 'n');
    const std::string zeros("\0n\0", 3);
    return {
        QueueCase("PassiveDeclareQueueWithAnEmptyName", [](Channel& c) { c.DeclareQueue(""); }, {.passive = true}),
        QueueCase("DeclareQueueWithAnEmptyName", [](Channel& c) { c.DeclareQueue("", true, false, false); },
                  {.durable = true}),
        QueueCase("DeclareQueueWithEmbeddedZeroBytes", [=](Channel& c) { c.DeclareQueue(zeros, false, false, false); },
                  {.queue = zeros}),
        QueueCase("DeclareQueueWithANameOf255Bytes", [=](Channel& c) { c.DeclareQueue(longest, false, false, false); },
                  {.queue = longest}),
        ExchangeCase("PassiveDeclareExchangeWithANameOf255Bytes", [=](Channel& c) { c.DeclareExchange(longest); },
                     {.exchange = longest, .type = "", .passive = true}),
        Case(
            "BindQueueWithEmbeddedZeroBytesEverywhere", [=](Channel& c) { c.BindQueue(zeros, zeros, zeros); },
            QueueBind{.queue = zeros, .exchange = zeros, .routingKey = zeros}, QueueBindOk{}),
        Case(
            "BindExchangeWithNamesOf255BytesEverywhere", [=](Channel& c) { c.BindExchange(longest, longest, longest); },
            ExchangeBind{.destination = longest, .source = longest, .routingKey = longest}, ExchangeBindOk{}),
        Case(
            "BindQueueWithNamesThatAreNotZeroTerminated",
            [](Channel& c)
            {
                const std::string_view text = "queueexchangekey";
                c.BindQueue(text.substr(0, 5), text.substr(5, 8), text.substr(13, 2));
            },
            QueueBind{.queue = "queue", .exchange = "exchange", .routingKey = "ke"}, QueueBindOk{}),
    };
}

std::vector<Operation> EachTooLongName()
{
    const auto nothing = [](Dialogue&) {};
    return {
        {"PassiveDeclareExchange", [](Channel& c) { c.DeclareExchange(tooLong); }, nothing, nothing},
        {"DeclareExchange", [](Channel& c) { c.DeclareExchange(tooLong, Amqp::Topic, true, false, false); }, nothing,
         nothing},
        {"PassiveDeclareQueue", [](Channel& c) { c.DeclareQueue(tooLong); }, nothing, nothing},
        {"DeclareQueue", [](Channel& c) { c.DeclareQueue(tooLong, true, false, false); }, nothing, nothing},
        {"RoutingKeyOfBindQueue", [](Channel& c) { c.BindQueue("q", "e", tooLong); }, nothing, nothing},
        {"SourceOfUnbindExchange", [](Channel& c) { c.UnbindExchange("to", tooLong, "key"); }, nothing, nothing},
        {"DestroyQueue", [](Channel& c) { c.DestroyQueue(tooLong, false, false); }, nothing, nothing},
        {"PurgeQueue", [](Channel& c) { c.PurgeQueue(tooLong); }, nothing, nothing},
    };
}

class TopologyTooLongName : public testing::TestWithParam<Operation>
{
};

} // namespace

TEST_P(TopologyDialogue, SendsEachField)
{
    const Operation& operation = GetParam();
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            operation.expect(peer);
            operation.answer(peer);
        }));

    const auto channel = OpenChannel(Connect(broker));
    EXPECT_NO_THROW(operation.call(*channel));
}

INSTANTIATE_TEST_SUITE_P(Operations, TopologyDialogue, testing::ValuesIn(EachOperation()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Flags, TopologyDialogue, testing::ValuesIn(EachFlagAlone()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Types, TopologyDialogue, testing::ValuesIn(EachExchangeType()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Names, TopologyDialogue, testing::ValuesIn(EachUnusualName()), nameOfOperation);

TEST_P(TopologyTooLongName, IsThrownAsLibraryAndNothingIsWrittenAndTheDroppedChannelStaysUsable)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, QueuePurgeOk{});
        }));

    const auto channel = OpenChannel(Connect(broker));
    EXPECT_THAT(ErrorOf([&] { GetParam().call(*channel); }),
                IsError(Amqp::ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_BAD_AMQP_DATA)));
    EXPECT_NO_THROW(channel->PurgeQueue("q"));
}

INSTANTIATE_TEST_SUITE_P(Names, TopologyTooLongName, testing::ValuesIn(EachTooLongName()), nameOfOperation);

TEST(Topology, DeclareQueueSendsAnEmptyNameWithItsFlagsAndReturnsTheNameThatTheBrokerGenerated)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueueDeclare{.queue = "", .durable = true, .exclusive = false, .autoDelete = true});
            peer.Send(1, QueueDeclareOk{.queue = "amq.gen-1", .messageCount = 7, .consumerCount = 8});
        }));

    const auto channel = OpenChannel(Connect(broker));
    EXPECT_EQ(channel->DeclareQueue(true, false, true), "amq.gen-1");
}

TEST(Topology, DeclareQueueReturnsAGeneratedNameOfAnyBytes)
{
    const std::string name = std::string("\0\xFF", 2) + std::string(253, 'n');
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.Expect(1, QueueDeclare{});
            peer.Send(1, QueueDeclareOk{.queue = name});
        }));

    const auto channel = OpenChannel(Connect(broker));
    EXPECT_EQ(channel->DeclareQueue(false, false, false), name);
}

TEST(Topology, DeclareExchangeOfAnInvalidTypeThrowsWithoutTraffic)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, QueuePurgeOk{});
        }));
    const auto channel = OpenChannel(Connect(broker));

    for (const int type : {4, -1})
    {
        EXPECT_THAT([&] { channel->DeclareExchange("x", Amqp::ExchangeType(type), true, false, false); },
                    testing::ThrowsMessage<std::runtime_error>("Invalid exchange type"));
    }
    EXPECT_NO_THROW(channel->PurgeQueue("q")) << "the channel stays usable";
}

TEST(Topology, OperationsGoOutOnTheChannelsOwnNumber)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.Expect(2, QueuePurge{.queue = "second"});
            peer.Send(2, QueuePurgeOk{});
            peer.Expect(1, QueuePurge{.queue = "first"});
            peer.Send(1, QueuePurgeOk{});
            peer.CloseChannel(2);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);
    const auto first = OpenChannel(connection);
    const auto second = OpenChannel(connection);

    EXPECT_NO_THROW(second->PurgeQueue("second"));
    EXPECT_NO_THROW(first->PurgeQueue("first"));
}
