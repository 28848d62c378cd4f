// What many calls that await a reply leave behind when the run loop is not run between them.
#include "AllocationCount.hpp"
#include "wire/Messaging.hpp"

#include <iostream>

namespace
{

constexpr int calls = 4000;
const std::string longest(255, 'q'); // 1 MB of names in all

void AcceptQueue(Dialogue& peer)
{
    peer.Expect(1, QueueDeclare{});
    peer.Send(1, QueueDeclareOk{.queue = longest});
}

} // namespace

TEST(TopologyMemory, DoesNotGrowWithTheNumberOfCallsWithoutARun)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            for (int call = 0; call <= calls; ++call)
            {
                AcceptQueue(peer);
            }
        }));
    const Client client(broker);
    ASSERT_EQ(client.channel->DeclareQueue(false, false, false), longest); // makes what is made once

    CountFromZero();
    for (int call = 0; call < calls; ++call)
    {
        ASSERT_EQ(client.channel->DeclareQueue(false, false, false), longest);
    }
    const AllocationCount count = Allocated();

    std::cout << calls << " calls: " << count.live << " bytes left, " << count.peak << " at a time\n";
    EXPECT_LT(count.peak, 64 * 1024);
}
