// How much memory a body of 256 MiB in parts of 1 MiB takes: sending copies none of it, receiving copies it once.
// Unsubscribing releases parts that wait before it cancels the consumer.
#include "AllocationCount.hpp"
#include "support/NumberedBody.hpp"
#include "wire/Series.hpp"

#include <cstdlib>
#include <iostream>

namespace
{

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;
constexpr std::size_t partSize = mebibyte;
constexpr std::size_t partCount = 256;

// The SHA-256 of the body.
constexpr std::string_view bodyHash = "dd35184592035e35706106862e5f431a5a1f9868354055b970e2d4bb6f18ba05";

const std::string& Body()
{
    static const std::string body = Wire::NumberedBody(partSize * partCount);
    return body;
}

std::string_view Part(std::size_t index)
{
    return std::string_view(Body()).substr(index * partSize, partSize);
}

void Report(const char* what, const AllocationCount& count)
{
    std::cout << what << ' ' << Body().size() / mebibyte << " MiB in parts of " << partSize / mebibyte
              << " MiB: " << count.total << " bytes allocated in all, " << count.peak << " at a time\n";
}

} // namespace

TEST(AllocationCount, SeesOperatorNewAndMallocOfThisThreadOnly)
{
    CountFromZero();
    std::thread(
        []
        {
            void* volatile elsewhere = std::malloc(100 * mebibyte); // volatile, or the compiler does without
            std::free(elsewhere);
        })
        .join();
    EXPECT_LT(Allocated().total, mebibyte);

    void* volatile body = operator new(10 * mebibyte);
    void* volatile more = std::malloc(20 * mebibyte);
    EXPECT_GE(Allocated().live, std::int64_t{30 * mebibyte});
    std::free(more);
    operator delete(body);

    EXPECT_LT(Allocated().live, std::int64_t{mebibyte});
    EXPECT_GE(Allocated().peak, std::int64_t{30 * mebibyte});
    EXPECT_GE(Allocated().total, 30 * mebibyte);
}

TEST(MultipartMemory, SendingAllocatesLessThanAMebibyteInAll)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            for (std::size_t index = 0; index < partCount; ++index)
            {
                Properties properties = PlainProperties();
                properties.headers = PartHeaders(index, partCount, bodyHash);
                peer.ExpectPublish(1, {.routingKey = "q"}, properties, Part(index));
            }
        }));
    broker.Deadline(60s);
    const Client client(broker);
    const std::string& body = Body();

    CountFromZero();
    client.channel->Publish("", "q", body, partSize, {});
    const AllocationCount count = Allocated();

    Report("sending", count);
    EXPECT_LT(count.total, mebibyte);
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(MultipartMemory, ReceivingTakesLessThanTwiceTheBodyAnd16MebibytesAtATime)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            for (std::size_t index = partCount; index-- > 0;)
            {
                sender.DeliverAcked(
                    {.headers = PartHeaders(index, partCount, bodyHash), .body = std::string(Part(index))});
            }
        }));
    broker.Deadline(60s);
    const std::string& body = Body();
    const Client client(broker);
    bool right = false;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            right = envelope.ViewBody(0, envelope.Size()) == body;
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    CountFromZero();
    for (std::size_t step = 0; step < partCount; ++step)
    {
        ASSERT_EQ(client.connection->Run(60s), std::optional(true));
    }
    const AllocationCount count = Allocated();

    Report("receiving", count);
    EXPECT_TRUE(right) << "the joined body is not the one that was sent";
    EXPECT_LT(count.peak, std::int64_t{2 * partSize * partCount + 16 * mebibyte});
    EXPECT_LT(count.total, 2 * partSize * partCount + 16 * mebibyte) << "a byte was copied more than once";
    EXPECT_GT(count.peak, std::int64_t{2 * partSize * partCount}) << "less than the parts and the body: miscounted";
    // rabbitmq-c keeps the frames of one message until the next step.
    EXPECT_LT(count.live, std::int64_t{2 * partSize}) << "not released after the handler";
}

TEST(MultipartMemory, UnsubscribingReleasesWaitingPartsBeforeItSendsTheCancel)
{
    constexpr std::size_t waiting = 16;
    const AllocationCount& ofTheClient = FiguresOfThisThread();
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            Sender sender(peer);
            for (std::size_t index = 0; index < waiting; ++index)
            {
                sender.DeliverAcked(
                    {.headers = PartHeaders(index, partCount, bodyHash), .body = std::string(Part(index))});
            }
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            EXPECT_LT(ofTheClient.live, std::int64_t{4 * partSize});
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
        }));
    const Client client(broker);
    const std::string tag = client.channel->Subscribe("q", &Ignore, Amqp::Explicit, false, false);
    CountFromZero();
    for (std::size_t step = 0; step < waiting; ++step)
    {
        ASSERT_EQ(client.connection->Run(60s), std::optional(true));
    }
    EXPECT_GE(Allocated().live, std::int64_t{waiting * partSize});

    client.channel->Unsubscribe(tag);
}

TEST(MultipartMemory, UnsubscribingInTheHandlerReleasesWaitingPartsAtOnce)
{
    constexpr std::size_t waiting = 16;
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            Sender sender(peer);
            for (std::size_t index = 0; index < waiting; ++index)
            {
                sender.DeliverAcked(
                    {.headers = PartHeaders(index, partCount, bodyHash), .body = std::string(Part(index))});
            }
            sender.Deliver({.headers = {}, .body = "the last one"});
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
            peer.Expect(1, BasicAck{.deliveryTag = waiting + 1});
        }));
    const Client client(broker);
    std::int64_t left = 0;
    const std::string tag = client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            client.channel->Unsubscribe("1/1");
            left = Allocated().live;
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);
    CountFromZero();
    for (std::size_t step = 0; step < waiting; ++step)
    {
        ASSERT_EQ(client.connection->Run(60s), std::optional(true));
    }
    EXPECT_GE(Allocated().live, std::int64_t{waiting * partSize});

    EXPECT_EQ(client.connection->Run(), std::optional(true));

    EXPECT_GT(left, 0) << "the handler was not called";
    EXPECT_LT(left, std::int64_t{4 * partSize});
}
