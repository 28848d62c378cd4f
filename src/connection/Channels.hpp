// The registry of one connection's channels: the channel of each number, and its state. Does not own the channels.
// Belongs to the connection's thread.
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
        /// No channel was opened with this number.
        Unknown,
        Open,
        /// The broker closed the channel, or the destructor of Channel did. Nothing more may be sent on its number.
        Closed,
        /// An error removed the channel from the registry. The broker may still have the channel open.
        Dropped
    };

    /// Returns the number for the next channel. Numbers are not reused.
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

    /// Returns the channel that is registered under this number, or null if there is none.
    Channel* Find(std::uint16_t number) const { return number < entries.size() ? entries[number].channel : nullptr; }

    bool IsClosed(std::uint16_t number) const
    {
        return number < entries.size() && entries[number].state == State::Closed;
    }

    /// Notes that nothing more may be sent on the number. The channel stays registered until Drop.
    void Close(std::uint16_t number) { At(number).state = State::Closed; }

    /// Removes the channel from the registry: Run no longer reports errors or returned messages to it.
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

    std::vector<Entry> entries; // indexed by channel number
    std::uint16_t lastNumber = 0;
};

} // namespace Amqp
