// The parts of a series can be joined, but there is no memory for the envelope. The file replaces operator new: on the
// test's thread, an allocation of a chosen size fails, and all others succeed.
#include "Series.hpp"

#include <cstdlib>
#include <new>

namespace
{

// A string of this length has a block of its own, of a size that nothing else allocates.
constexpr std::size_t watchedLength = 200;

thread_local bool watched = false;
thread_local int watchedBlocks = 0;
thread_local int refusedBlock = 0; // counted from 1; 0 is none

// Some standard libraries round up a string's size.
bool IsRefused(std::size_t size)
{
    return watched && size > watchedLength && size <= watchedLength + 8 && ++watchedBlocks == refusedBlock;
}

// While an object exists, counts the blocks of that size, and refuses the block with the given number.
class RefusedBlock
{
public:
    explicit RefusedBlock(int number)
    {
        watchedBlocks = 0;
        refusedBlock = number;
        watched = true;
    }
    ~RefusedBlock() { watched = false; }
    RefusedBlock(const RefusedBlock&) = delete;
    RefusedBlock& operator=(const RefusedBlock&) = delete;

    int Blocks() const { return watchedBlocks; }
};

// Delivers one of the three parts of "0123456789". The middle part arrives last, and has the envelope's properties.
void DeliverThird(Dialogue& peer, std::size_t index, std::uint64_t deliveryTag)
{
    const Message part = Third(index);
    Properties properties{.headers = part.headers};
    if (index == 1)
    {
        properties.correlationId = std::string(watchedLength, 'c');
    }
    peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = deliveryTag}, properties, part.body);
}

void DeliverAckedThird(Dialogue& peer, std::size_t index, std::uint64_t deliveryTag)
{
    DeliverThird(peer, index, deliveryTag);
    peer.Expect(1, BasicAck{.deliveryTag = deliveryTag});
}

// A client whose handler ends the watch: the handler's copies are not the library's.
struct UnwatchedReceiver : Client
{
    explicit UnwatchedReceiver(const ScriptedBroker& broker) : Client(broker)
    {
        channel->Subscribe(
            "q",
            [this](const Amqp::Envelope& envelope)
            {
                watched = false;
                inbox.Note(envelope);
                return Amqp::Ack;
            },
            Amqp::Explicit, false, false);
    }

    void TakeTheFirstTwo() const
    {
        EXPECT_EQ(connection->Run(), true);
        EXPECT_EQ(connection->Run(), true);
    }

    Inbox inbox;
};

// Returns how many of these blocks the library allocates for the last part.
int BlocksOfTheLastPart()
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverAckedThird(peer, 0, 1);
            DeliverAckedThird(peer, 2, 2);
            DeliverAckedThird(peer, 1, 3);
        }));
    const UnwatchedReceiver receiver(broker);
    receiver.TakeTheFirstTwo();
    const RefusedBlock none(0);
    EXPECT_EQ(receiver.connection->Run(), true);
    return none.Blocks();
}

} // namespace

void* operator new(std::size_t size)
{
    void* const block = IsRefused(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
    return block != nullptr ? block : throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

TEST(MultipartEnvelopeMemory, LosesNothingWhicheverBlockOfTheEnvelopeIsRefused)
{
    const int blocks = BlocksOfTheLastPart();
    EXPECT_GT(blocks, 0);

    for (int number = 1; number <= blocks; ++number)
    {
        ScriptedBroker broker(OnConsumer(
            [](Dialogue& peer)
            {
                DeliverAckedThird(peer, 0, 1);
                DeliverAckedThird(peer, 2, 2);
                DeliverThird(peer, 1, 3); // the library sends no verdict on this delivery
                DeliverAckedThird(peer, 1, 4);
            }));
        const UnwatchedReceiver receiver(broker);
        receiver.TakeTheFirstTwo();

        {
            const RefusedBlock refused(number);
            EXPECT_THROW(receiver.connection->Run(), std::bad_alloc);
        }
        EXPECT_TRUE(receiver.inbox.bodies.empty());
        EXPECT_EQ(receiver.connection->Run(), true);

        EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789")) << "block " << number << " was refused";
    }
}
