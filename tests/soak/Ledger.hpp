// Keeps the messages that are under way, and counts what happened to the others. Any thread may call any function; one
// lock protects everything. The ledger allocates all its memory at the start, so that later growth is the library's.
#pragma once

#include "Plan.hpp"

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

struct Counts
{
    std::uint64_t published = 0;
    std::uint64_t received = 0; // published messages that the handler has finished with
    std::uint64_t returned = 0; // published messages that the broker returned to the callback
    std::uint64_t series = 0;   // received messages that were sent in parts
    std::uint64_t requeued = 0;
    std::uint64_t nacked = 0; // received messages that the handler rejected
    std::uint64_t kept = 0;   // routed messages with a callback: the library keeps an entry for each
    std::uint64_t refusals = 0;
    std::uint64_t channels = 0;
    std::uint64_t churnedConnections = 0;
    std::uint64_t doubled = 0;
    std::uint64_t wrong = 0;

    std::uint64_t Finished() const { return received + returned; }
    std::uint64_t Open() const { return published - Finished(); }
};

enum class End
{
    Received,
    Returned
};

class Ledger
{
public:
    /// Makes a ledger for messages whose numbers differ by less than `window`.
    explicit Ledger(std::size_t window);

    /// Returns whether the next message can be opened. If not, the publisher has to wait until the message that is
    /// `window` numbers older is closed.
    bool HasRoom() const;
    /// Opens the next message and returns its number. Call Open only if HasRoom returned true.
    std::uint64_t Open(const Digest& digest);

    /// Returns whether the handler has to requeue this delivery, and counts the requeue.
    bool PutBack(std::uint64_t number, unsigned requeues);
    /// Closes a message: it must not arrive again. If anything about the message is wrong, counts that and returns
    /// false.
    bool Close(std::uint64_t number, End how, const Digest& digest);

    void Count(std::uint64_t Counts::*which);
    /// Counts something that is wrong. Prints the first few at once.
    void Wrong(std::string_view what);

    Counts Snapshot() const;
    /// Prints some of the messages that are still open.
    void PrintOpen() const;

private:
    struct Slot
    {
        std::uint64_t number = 0; // 0: free
        unsigned putBack = 0;
        Digest digest{};
    };

    Slot& SlotOf(std::uint64_t number) { return slots[number % slots.size()]; }
    void Doubled(std::uint64_t number);
    void Print(std::string_view what);

    mutable std::mutex mutex;
    std::vector<Slot> slots;
    std::uint64_t next = 1;
    Counts counts;
    unsigned printed = 0;
};
