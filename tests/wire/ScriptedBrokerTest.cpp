// Proves the scripted broker itself, with a client of raw octets and with the C client: what goes as written passes,
// and everything else is told with what was expected and what came. Scripts run on threads of the broker.
#include "support/ScriptedBroker.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include <amqp.h>
#include <amqp_framing.h>
#include <amqp_tcp_socket.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "support/EphemeralPort.hpp"
#include "support/RawClient.hpp"

namespace
{

using namespace Wire;
using namespace std::chrono_literals;

void ExpectAll(const std::string& text, std::initializer_list<std::string_view> parts)
{
    for (const std::string_view part : parts)
    {
        EXPECT_NE(text.find(part), std::string::npos) << "no \"" << part << "\" in:\n" << text;
    }
}

// Logs in and opens channel 1, lets the client do its part, closes, and gives the failure of the script. A deadline is
// given only where it is meant to pass.
std::string Play(const std::function<void(Dialogue&)>& rest, const std::function<void(RawClient&)>& act,
                 std::chrono::milliseconds deadline = defaultDeadline)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            rest(peer);
        });
    broker.Deadline(deadline);
    RawClient client(broker.Port());
    client.Login();
    client.Send(1, ChannelOpen{});
    act(client);
    client.Close();
    return broker.TakeFailure();
}

Fields EveryKind()
{
    return {{"t", Bool(true)},
            {"b", Int8(-128)},
            {"B", UInt8(255)},
            {"s", Int16(-2)},
            {"u", UInt16(65535)},
            {"I", Int32(std::numeric_limits<std::int32_t>::min())},
            {"i", UInt32(0xFFFFFFFF)},
            {"l", Int64(std::numeric_limits<std::int64_t>::min())},
            {"L", UInt64(std::numeric_limits<std::uint64_t>::max())},
            {"f", Float(1.5F)},
            {"d", Double(-0.1)},
            {"S", Text("text")},
            {"x", Binary(std::string_view("\0\xFF", 2))},
            {"A", List({Int8(1), List({}), Nested({{"v", Void()}})})},
            {"F", Nested({{"same", Int32(1)}, {"same", Int32(2)}})},
            {"D", Decimal(2, 314)},
            {"T", Timestamp(1234567890)},
            {"V", Void()}};
}

// Gives every field a value of its own.
struct Filler
{
    std::uint8_t next = 1;

    void Octet(std::string_view, std::uint8_t& value) { value = next++; }
    void Short(std::string_view, std::uint16_t& value) { value = static_cast<std::uint16_t>(0x0100 + next++); }
    void Long(std::string_view, std::uint32_t& value) { value = 0x01020300U + next++; }
    void LongLong(std::string_view, std::uint64_t& value) { value = 0x0102030405060700U + next++; }
    void Bit(std::string_view, bool& value) { value = next++ % 2 == 0; }
    void ShortString(std::string_view, std::string& value) { value = "short" + std::to_string(next++); }
    void LongString(std::string_view, std::string& value) { value = "long" + std::to_string(next++); }
    void Table(std::string_view, Fields& value) { value = EveryKind(); }
};

amqp_bytes_t Borrow(std::string& bytes)
{
    return {bytes.size(), bytes.data()};
}

// The C client reads the octets and writes them again: what it understood must be what was meant.
std::string ThroughTheCClient(std::string payload)
{
    Reader reader(payload);
    const std::uint32_t number = reader.Long();
    std::string fields(reader.Raw(reader.Left()));
    std::string again(fields.size() + 64, '\0');
    amqp_pool_t pool;
    init_amqp_pool(&pool, 4096);
    void* decoded = nullptr;
    int length = amqp_decode_method(number, &pool, Borrow(fields), &decoded);
    length = length < 0 ? length : amqp_encode_method(number, decoded, Borrow(again));
    empty_amqp_pool(&pool);
    return length < 0 ? "error " + std::to_string(length)
                      : payload.substr(0, 4) + again.substr(0, static_cast<std::size_t>(length));
}

template <typename Method>
void CheckRoundTrip()
{
    SCOPED_TRACE(Method::name);
    Method method;
    Filler filler;
    Method::Visit(method, filler);
    const std::string payload = Encode(method);
    EXPECT_EQ(Hex(Encode(Decode<Method>(payload))), Hex(payload));
    EXPECT_EQ(DescribePayload(payload), DescribeMethod(method));
    EXPECT_EQ(Hex(ThroughTheCClient(payload)), Hex(payload));
    EXPECT_THROW(Decode<Method>(payload + "x"), Malformed);
    EXPECT_THROW(Decode<Method>(payload.substr(0, payload.size() - 1)), Malformed);
}

template <typename... Method>
void CheckEach(const std::tuple<Method...>*)
{
    (CheckRoundTrip<Method>(), ...);
}

TEST(ScriptedBroker, EachMethodSurvivesTheRoundTripAndTheCClientReadsTheSame)
{
    CheckEach(static_cast<const AllMethods*>(nullptr));
}

TEST(ScriptedBroker, MethodsAreEncodedToTheOctetsOfTheProtocol)
{
    EXPECT_EQ(Hex(Encode(QueueDeclare{.queue = "q", .durable = true, .autoDelete = true})),
              "00 32 00 0a 00 00 01 71 0a 00 00 00 00");
    EXPECT_EQ(Hex(FrameBytes({heartbeatFrame, 0, ""})), "08 00 00 00 00 00 00 ce");
}

TEST(ScriptedBroker, EachFieldKindSurvivesTheRoundTrip)
{
    Fields fields = EveryKind();
    fields.emplace_back("", Bool(false));
    Writer writer;
    writer.Table(fields);
    EXPECT_EQ(Reader(writer.Bytes()).Table(), fields);
    EXPECT_EQ(Find(fields, "D")->scale, 2);
    EXPECT_EQ(Find(fields, "none"), nullptr);
}

TEST(ScriptedBroker, PropertiesSurviveTheRoundTripWhetherSetOrNot)
{
    const Properties all{"ct", "ce", EveryKind(), 2, 9, "ci", "rt", "ex", "mi", 7, "ty", "ui", "ai", "ki"};
    for (const Properties& properties : {all, Properties{}, Properties{.type = "t"}})
    {
        const std::string payload = EncodeHeader({42, properties});
        const ContentHeader again = DecodeHeader(payload);
        EXPECT_EQ(Hex(EncodeHeader(again)), Hex(payload));
        EXPECT_EQ(Describe(again.properties), Describe(properties));
    }
    EXPECT_EQ(Hex(EncodeHeader({5, {.contentType = "a", .deliveryMode = 2}})),
              "00 3c 00 00 00 00 00 00 00 00 00 05 90 00 01 61 02");
}

TEST(ScriptedBroker, BodiesAreSplitAtTheFrameMaximum)
{
    EXPECT_EQ(ContentFrames(1, {}, "", 16).size(), 1U);
    EXPECT_EQ(ContentFrames(1, {}, "12345678", 16).size(), 2U);
    const auto frames = ContentFrames(1, {}, "123456789", 16);
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[1].payload, "12345678");
    EXPECT_EQ(frames[2].payload, "9");
    EXPECT_EQ(ContentFrames(1, {}, "123456789", 0).size(), 2U);
}

TEST(ScriptedBroker, DialogueThatGoesAsWrittenPasses)
{
    const std::string failure = Play(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueueDeclare{.durable = true});
            peer.Send(1, QueueDeclareOk{.queue = "amq.gen-1"});
            peer.ExpectPublish(1, BasicPublish{.routingKey = "k"}, Properties{.deliveryMode = 2}, "hello");
            peer.CloseChannel(1);
            peer.CloseConnection();
            EXPECT_EQ(peer.Heartbeats(), 2U);
        },
        [](RawClient& client)
        {
            const std::string heartbeat = FrameBytes({heartbeatFrame, 0, ""});
            client.Send(heartbeat);
            client.Send(1, QueueDeclare{.durable = true});
            client.Send(1, BasicPublish{.routingKey = "k"});
            client.Send(FrameBytes(ContentFrames(1, {.deliveryMode = 2}, "hello")));
            client.Send(1, ChannelClose{});
            client.Send(0, ConnectionClose{});
            client.Send(heartbeat);
        });
    EXPECT_EQ(failure, "");
}

TEST(ScriptedBroker, WrongFieldIsTold)
{
    const std::string failure = Play([](Dialogue& peer) { peer.Expect(1, QueueDeclare{.durable = true}); },
                                     [](RawClient& client) { client.Send(1, QueueDeclare{.queue = "q"}); });
    ExpectAll(failure, {"connection 1: step 3: expect channel 1 queue.declare",
                        "expected: channel 1 queue.declare {ticket=0, queue=\"\", passive=false, durable=true, ",
                        "actual:   channel 1 queue.declare {ticket=0, queue=\"q\", passive=false, durable=false, ",
                        "part at octet 6: expected [00 02 00 00 00 00], actual [01 71 00 00 00 00 00]"});
}

TEST(ScriptedBroker, WrongChannelIsTold)
{
    const std::string failure = Play([](Dialogue& peer) { peer.Expect(1, BasicAck{.deliveryTag = 7}); },
                                     [](RawClient& client) { client.Send(2, BasicAck{.deliveryTag = 7}); });
    ExpectAll(failure, {"expected: channel 1 basic.ack {delivery-tag=7, multiple=false}",
                        "actual:   channel 2 basic.ack {delivery-tag=7, multiple=false}"});
}

TEST(ScriptedBroker, MissingStepIsToldWhenTheClientLeaves)
{
    const std::string failure = Play([](Dialogue& peer) { peer.CloseChannel(1); }, [](RawClient&) {});
    ExpectAll(failure, {"script not finished: waiting at step 3: close channel 1: expect channel 1 channel.close",
                        "expected: channel 1 channel.close {reply-code=200", "actual:   the end of the stream"});
}

TEST(ScriptedBroker, SilenceUntilTheDeadlineIsToldAndTheClientIsCutOff)
{
    const auto start = std::chrono::steady_clock::now();
    const std::string failure = Play([](Dialogue& peer) { peer.CloseChannel(1); },
                                     [](RawClient& client)
                                     {
                                         client.Send(std::string_view("\x01\x00", 2));
                                         client.ReceiveAll();
                                     },
                                     400ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, defaultDeadline);
    ExpectAll(failure, {"waiting at step 3", "nothing more before the deadline after the octets 01 00"});
}

TEST(ScriptedBroker, WhatComesAfterTheLastStepIsTold)
{
    const std::string frame = Play([](Dialogue&) {}, [](RawClient& client) { client.Send(1, ConfirmSelect{}); });
    ExpectAll(frame, {"step 3: after the last step", "expected: the end of the stream", "channel 1 confirm.select {"});
    const std::string octets = Play([](Dialogue&) {}, [](RawClient& client) { client.Send("abc"); });
    ExpectAll(octets, {"expected: the end of the stream", "actual:   octets 61 62 63"});
    const std::string nothing = Play([](Dialogue&) {}, [](RawClient& client) { client.ReceiveAll(); }, 400ms);
    ExpectAll(nothing, {"not finished: waiting at step 3: after the last step", "nothing more before the deadline"});
}

TEST(ScriptedBroker, WrongPropertiesAndWrongBodiesAreTold)
{
    const auto script = [](Dialogue& peer) { peer.ExpectContent(1, {.priority = std::uint8_t{1}}, "body"); };
    const auto publish = [&](const Properties& properties, std::string_view body)
    { return Play(script, [&](RawClient& client) { client.Send(FrameBytes(ContentFrames(1, properties, body))); }); };
    EXPECT_EQ(publish({.priority = std::uint8_t{1}}, "body"), "");
    ExpectAll(publish({.type = "t"}, "body"),
              {"header {body-size=4} {priority=1}", "header {body-size=4} {type=\"t\"}"});
    ExpectAll(publish({.priority = std::uint8_t{1}}, "bodY"),
              {"body of 4 octets \"body\"", "body of 4 octets \"bodY\"", "part at octet 3"});
}

TEST(ScriptedBroker, DamagedFramesAreTold)
{
    const auto script = [](Dialogue& peer) { peer.Expect(1, ConfirmSelect{}); };
    ExpectAll(Play(script,
                   [](RawClient& client) {
                       client.Send(FrameBytes({methodFrame, 1, "\x01\x02"}));
                   }),
              {"no method, octets 01 02"});
    ExpectAll(Play(script, [](RawClient& client) { client.Send(std::string_view("\x01\x00\x01\0\0\0\x01xy", 9)); }),
              {"a frame that ends with octet ce"});
    ExpectAll(Play(script, [](RawClient& client) { client.Send("HTTP/1.1 200 OK"); }), {"a frame of at most 131072"});
}

TEST(ScriptedBroker, ReceiveGivesTheFieldsAndRefusesAnotherMethod)
{
    const auto script = [](Dialogue& peer) { EXPECT_EQ(peer.Receive<BasicAck>(1).deliveryTag, 5U); };
    EXPECT_EQ(Play(script, [](RawClient& client) { client.Send(1, BasicAck{.deliveryTag = 5}); }), "");
    ExpectAll(Play(script, [](RawClient& client) { client.Send(1, BasicNack{}); }), {"basic.ack", "basic.nack {"});
}

TEST(ScriptedBroker, SilenceHeartbeatsAndEndAreSteps)
{
    const auto heartbeat = [](RawClient& client) { client.Send(FrameBytes({heartbeatFrame, 0, ""})); };
    EXPECT_EQ(Play([](Dialogue& peer) { peer.ExpectHeartbeat(); }, heartbeat), "");
    EXPECT_EQ(Play([](Dialogue& peer) { peer.ExpectEnd(); }, heartbeat), "");
    const auto silence = [](Dialogue& peer)
    {
        peer.ExpectSilence(30ms);
        peer.Abandon();
    };
    EXPECT_EQ(Play(silence, [](RawClient& client) { client.ReceiveAll(); }), "");
    ExpectAll(Play(silence, [](RawClient& client) { client.Send(1, BasicAck{}); }),
              {"expected: silence for 30 ms", "basic.ack {"});
    ExpectAll(Play(silence, [](RawClient&) {}), {"expected: silence for 30 ms", "actual:   the end of the stream"});
}

TEST(ScriptedBroker, ScriptMayReadToTheEndWhateverComes)
{
    const auto halfAFrame = [](RawClient& client)
    {
        client.Send(1, BasicAck{});
        client.Send(FrameBytes({bodyFrame, 1, "body"}).substr(0, 9));
    };
    EXPECT_EQ(Play([](Dialogue& peer) { peer.ReadToEnd(); }, halfAFrame), "");
    ExpectAll(Play(
                  [](Dialogue& peer)
                  {
                      peer.ReadFrame();
                      peer.ReadFrame();
                  },
                  halfAFrame),
              {"expected: a frame", "actual:   the end of the stream after the octets 03 00 01"});
}

TEST(ScriptedBroker, ScriptMayCutTheConnectionAndIgnoresTheRest)
{
    const auto talk = [](RawClient& client)
    {
        client.ReceiveAll();
        client.Send("whatever");
    };
    EXPECT_EQ(Play([](Dialogue& peer) { peer.Abandon(); }, talk), "");
    EXPECT_EQ(Play([](Dialogue& peer) { peer.Reset(); }, talk), "");
    const auto useless = [](Dialogue& peer)
    {
        peer.Abandon();
        peer.SendHeartbeat();
    };
    ExpectAll(Play(useless, talk), {"an open connection", "the script has closed it"});
}

TEST(ScriptedBroker, DeliveryCanBeCutAtEveryOctet)
{
    const std::string bytes = DeliveryBytes(1, {.consumerTag = "c"}, {.deliveryMode = 1}, "hello", 4096);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut)
    {
        ScriptedBroker broker(
            [&](Dialogue& peer)
            {
                peer.SendBytes(bytes.substr(0, cut));
                peer.Abandon();
            });
        RawClient client(broker.Port());
        EXPECT_EQ(Hex(client.ReceiveAll()), Hex(bytes.substr(0, cut)));
    }
}

TEST(ScriptedBroker, ExceptionOfTheScriptAndClientThatNeverComesAreTold)
{
    ExpectAll(Play([](Dialogue&) { throw std::runtime_error("own trouble"); }, [](RawClient&) {}),
              {"step 2", "exception: own trouble"});
    ScriptedBroker broker([](Dialogue&) {});
    broker.Deadline(50ms);
    ExpectAll(broker.TakeFailure(), {"connection 1: script not finished: nobody connected before the deadline"});
}

TEST(ScriptedBroker, FinishReportsToTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedBroker broker([](Dialogue& peer) { peer.ExpectProtocolHeader(); });
            RawClient client(broker.Port());
            client.Send("GET / HTTP/1.1");
        },
        "step 1: expect the protocol header\n  expected: 41 4d 51 50 00 00 09 01\n  actual:   47 45 54 20");
}

TEST(ScriptedBroker, ServesConnectionsAtOnceAndRefusesTheOneTooMany)
{
    ScriptedBroker broker({[](Dialogue& peer) { peer.SendBytes(peer.ReadFrame().payload); },
                           [](Dialogue& peer) { peer.SendBytes("second " + peer.ReadFrame().payload); }});
    RawClient first(broker.Port());
    RawClient second(broker.Port());
    second.Send(FrameBytes({bodyFrame, 1, "b"}));
    EXPECT_EQ(second.Receive(8), "second b");
    first.Send(FrameBytes({bodyFrame, 1, "a"}));
    EXPECT_EQ(first.Receive(1), "a");
    second.Close();
    first.Close();
    EXPECT_EQ(broker.TakeFailure(), "");
    EXPECT_THROW(RawClient{broker.Port()}, std::system_error);
    EXPECT_THROW(RawClient{UnusedPort()}, std::system_error);
}

TEST(ScriptedBroker, LeavesNoDescriptorsBehind)
{
    const auto count = []
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = count();
    EXPECT_EQ(Play([](Dialogue& peer) { peer.ExpectEnd(); }, [](RawClient&) {}), "");
    EXPECT_NE(Play([](Dialogue& peer) { peer.CloseChannel(1); }, [](RawClient&) {}), "");
    EXPECT_EQ(count(), before);
}

TEST(ScriptedBroker, LeadsTheCClientThroughAWholeConnection)
{
    const std::string body(10000, 'x');
    LoginSeen seen;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            seen = peer.Login({.frameMax = 4096, .tuneOk = ConnectionTuneOk{.channelMax = 2047, .frameMax = 4096}});
            peer.OpenChannel(1);
            peer.Expect(1, QueueDeclare{.durable = true, .autoDelete = true});
            peer.Send(1, QueueDeclareOk{.queue = "amq.gen-1"});
            peer.ExpectPublish(1, {.routingKey = "amq.gen-1", .mandatory = true}, {.contentType = "text/plain"}, body);
            peer.Expect(1, BasicConsume{.queue = "amq.gen-1"}); // no tag: the broker names it
            peer.Send(1, BasicConsumeOk{.consumerTag = "tag"});
            peer.Deliver(1, {.consumerTag = "tag", .routingKey = "amq.gen-1"}, {.headers = EveryKind()}, body);
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            peer.CloseChannel(1);
            peer.CloseConnection();
        });

    amqp_connection_state_t client = amqp_new_connection();
    ASSERT_EQ(amqp_socket_open(amqp_tcp_socket_new(client), "127.0.0.1", broker.Port()), 0);
    ASSERT_EQ(amqp_login(client, "/", 0, 131072, 0, AMQP_SASL_METHOD_PLAIN, "guest", "guest").reply_type,
              AMQP_RESPONSE_NORMAL);
    ASSERT_NE(amqp_channel_open(client, 1), nullptr);
    const auto* declared = amqp_queue_declare(client, 1, amqp_empty_bytes, 0, 1, 0, 1, amqp_empty_table);
    ASSERT_NE(declared, nullptr);
    std::string queue(static_cast<const char*>(declared->queue.bytes), declared->queue.len);
    std::string content = body;
    std::string type = "text/plain";
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG;
    properties.content_type = Borrow(type);
    EXPECT_EQ(amqp_basic_publish(client, 1, amqp_empty_bytes, Borrow(queue), 1, 0, &properties, Borrow(content)), 0);
    ASSERT_NE(amqp_basic_consume(client, 1, Borrow(queue), amqp_empty_bytes, 0, 0, 0, amqp_empty_table), nullptr);
    amqp_envelope_t envelope{};
    ASSERT_EQ(amqp_consume_message(client, &envelope, nullptr, 0).reply_type, AMQP_RESPONSE_NORMAL);
    EXPECT_EQ(envelope.message.body.len, body.size());
    EXPECT_EQ(envelope.message.properties.headers.num_entries, static_cast<int>(EveryKind().size()));
    EXPECT_EQ(amqp_basic_ack(client, 1, envelope.delivery_tag, 0), 0);
    amqp_destroy_envelope(&envelope);
    EXPECT_EQ(amqp_channel_close(client, 1, AMQP_REPLY_SUCCESS).reply_type, AMQP_RESPONSE_NORMAL);
    EXPECT_EQ(amqp_connection_close(client, AMQP_REPLY_SUCCESS).reply_type, AMQP_RESPONSE_NORMAL);
    amqp_destroy_connection(client);

    EXPECT_EQ(broker.TakeFailure(), "");
    EXPECT_EQ(seen.frameMax, 4096U);
    ASSERT_NE(Find(seen.clientProperties, "product"), nullptr);
    EXPECT_EQ(*Find(seen.clientProperties, "product"), Text("rabbitmq-c"));
}

} // namespace
