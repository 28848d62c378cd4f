// A series for whose joined body there is no memory. Stands in for rabbitmq-c's allocation of bodies, so that one of
// a size of the test's choice fails; rabbitmq-c's own calls come here, too, and are served.
#include "ErrorsPage.hpp"
#include "Series.hpp"
#include "values/RabbitMq.hpp"

#include <cstdlib>

namespace
{

std::size_t refusedSize = SIZE_MAX;
int refusals = 0;

} // namespace

amqp_bytes_t AMQP_CALL amqp_bytes_malloc(std::size_t amount)
{
    if (amount == refusedSize)
    {
        ++refusals;
        return amqp_empty_bytes;
    }
    return {amount, std::malloc(amount)};
}

TEST(MultipartOutOfMemory, RaisesBadAllocAnswersNothingAndCompletesWhenThePartComesAgain)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Third(0));
            sender.DeliverAcked(Third(2));
            sender.Deliver(Third(1));
            sender.DeliverNacked(Third(0)); // the others are there still
            sender.DeliverNacked(Third(2));
            sender.DeliverAcked(Third(1)); // and the place of this one is free
        }));
    Receiver receiver(broker);
    receiver.Run(2);

    refusals = 0;
    refusedSize = 10;
    const auto caught = ErrorsPage::CaughtFrom([&] { receiver.connection->Run(); });
    refusedSize = SIZE_MAX;
    EXPECT_EQ(caught.first, "std::bad_alloc");
    EXPECT_TRUE(ErrorsPage::HasExceptionOfOtherLibrary(caught)) << caught.second;
    EXPECT_EQ(refusals, 1);
    EXPECT_TRUE(receiver.inbox.bodies.empty());
    receiver.Run(3);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("0123456789"));
}
