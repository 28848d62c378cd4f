#include "Ledger.hpp"

#include <iostream>
#include <string>

namespace
{

constexpr unsigned mostPrinted = 10;

} // namespace

Ledger::Ledger(std::size_t window) : slots(window) {}

bool Ledger::HasRoom() const
{
    const std::lock_guard lock(mutex);
    return slots[next % slots.size()].number == 0;
}

std::uint64_t Ledger::Open(const Digest& digest)
{
    const std::lock_guard lock(mutex);
    SlotOf(next) = {.number = next, .digest = digest};
    ++counts.published;
    return next++;
}

bool Ledger::PutBack(std::uint64_t number, unsigned requeues)
{
    const std::lock_guard lock(mutex);
    Slot& slot = SlotOf(number);
    if (slot.number != number || slot.putBack == requeues)
    {
        return false;
    }
    ++slot.putBack;
    ++counts.requeued;
    return true;
}

bool Ledger::Close(std::uint64_t number, End how, const Digest& digest)
{
    const Message message = PlanOf(number);
    const std::lock_guard lock(mutex);
    if (number == 0 || number >= next)
    {
        ++counts.wrong;
        Print("message " + std::to_string(number) + " was never published");
        return false;
    }
    Slot& slot = SlotOf(number);
    if (slot.number != number)
    {
        Doubled(number);
        return false;
    }
    slot.number = 0;
    ++(how == End::Received ? counts.received : counts.returned);

    const bool rightEnd = (message.queue == Queue::Nowhere) == (how == End::Returned);
    if (!rightEnd || slot.digest != digest)
    {
        ++counts.wrong;
        Print("message " + std::to_string(number) +
              (!rightEnd ? (how == End::Returned ? " came back although it was routed"
                                                 : " was delivered although it could not be routed")
                         : " has another body than was published"));
        return false;
    }
    counts.series += message.queue == Queue::Series ? 1 : 0;
    counts.nacked += message.nack ? 1 : 0;
    return true;
}

void Ledger::Count(std::uint64_t Counts::*which)
{
    const std::lock_guard lock(mutex);
    ++(counts.*which);
}

void Ledger::Wrong(std::string_view what)
{
    const std::lock_guard lock(mutex);
    ++counts.wrong;
    Print(what);
}

Counts Ledger::Snapshot() const
{
    const std::lock_guard lock(mutex);
    return counts;
}

void Ledger::PrintOpen() const
{
    const std::lock_guard lock(mutex);
    unsigned named = 0;
    for (const Slot& slot : slots)
    {
        if (slot.number != 0 && named++ < mostPrinted)
        {
            const Message message = PlanOf(slot.number);
            std::cerr << "soak: lost: message " << slot.number << " of " << message.size << " bytes, queue "
                      << static_cast<int>(message.queue) << ", put back " << slot.putBack << " of " << message.requeues
                      << " times\n";
        }
    }
}

void Ledger::Doubled(std::uint64_t number)
{
    ++counts.doubled;
    Print("message " + std::to_string(number) + " came again");
}

void Ledger::Print(std::string_view what)
{
    if (printed++ < mostPrinted)
    {
        std::cerr << "soak: " << what << '\n';
    }
}
