// Every message that is under way, and what has become of the others. Publisher and consumer write into it, each from
// its thread; everything is under one lock. All memory is taken at the start, so that it does not blur the figures.
#pragma once

#include "Plan.hpp"

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

struct Counts
{
    std::uint64_t published = 0;
    std::uint64_t received = 0; // of those published: taken by a handler
    std::uint64_t returned = 0; // of those published: handed to the callback
    std::uint64_t series = 0;   // of those received
    std::uint64_t requeued = 0;
    std::uint64_t nacked = 0; // of those received
    std::uint64_t kept = 0;   // routed with a callback: what the table of pending returns holds
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
    /// No message is opened while one that was opened `window` numbers earlier is still under way.
    explicit Ledger(std::size_t window);

    /// Opens the next message; false when there are too many under way, and the publisher has to wait.
    bool HasRoom() const;
    std::uint64_t Open(const Digest& digest);

    /// Whether this delivery is to be put back; counts it then.
    bool PutBack(std::uint64_t number, unsigned requeues);
    /// The last that may be heard of a message. False when it was wrong in any way, which is counted then.
    bool Close(std::uint64_t number, End how, const Digest& digest);

    void Count(std::uint64_t Counts::*which);
    /// Something that is not as it should be. The first few are printed at once.
    void Wrong(std::string_view what);

    Counts Snapshot() const;
    /// Names some of the messages that are still open.
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
