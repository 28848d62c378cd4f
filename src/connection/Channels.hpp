// The channels of one connection by number, and what has become of each. Does not own them. Belongs to the connection's
// thread.
#pragma once

#include <amqp/Channel.hpp>

#include <cstdint>
#include <vector>

namespace Amqp
{

class Channels
{
public:
    enum class State : std::uint8_t
    {
        /// Never opened.
        Unknown,
        Open,
        /// The broker has closed it, or was asked to: nothing may be sent on its number.
        Closed,
        /// An error has taken it out of the registry; the broker may still have it open.
        Dropped
    };

    /// The number of the next channel. Numbers are not reused.
    std::uint16_t NextNumber() { return ++lastNumber; }

    void Add(std::uint16_t number, Channel& channel)
    {
        Entry& entry = At(number);
        entry.state = State::Open;
        if (entry.channel == nullptr)
        {
            entry.channel = &channel;
        }
    }

    /// The channel that hears of what arrives for this number; null when none is registered.
    Channel* Find(std::uint16_t number) const { return number < entries.size() ? entries[number].channel : nullptr; }

    bool IsClosed(std::uint16_t number) const
    {
        return number < entries.size() && entries[number].state == State::Closed;
    }

    /// Nothing may be sent on the number from now on; its channel still hears of what arrives.
    void Close(std::uint16_t number) { At(number).state = State::Closed; }

    /// Its channel hears of nothing more through the registry.
    void Drop(std::uint16_t number)
    {
        if (number < entries.size())
        {
            Drop(entries[number]);
        }
    }
    void DropAll()
    {
        for (Entry& entry : entries)
        {
            Drop(entry);
        }
    }

private:
    struct Entry
    {
        Channel* channel = nullptr;
        State state = State::Unknown;
    };

    static void Drop(Entry& entry)
    {
        entry.channel = nullptr;
        if (entry.state == State::Open)
        {
            entry.state = State::Dropped;
        }
    }

    Entry& At(std::uint16_t number)
    {
        if (entries.size() <= number)
        {
            entries.resize(number + std::size_t{1});
        }
        return entries[number];
    }

    std::vector<Entry> entries; // by number
    std::uint16_t lastNumber = 0;
};

} // namespace Amqp
