// The callbacks of messages that the broker may send back, by the number that each message carries as its message id.
// One is kept until its message comes back: nobody says that it will not. Belongs to the connection's thread.
#pragma once

#include <amqp/AckStatus.hpp>

#include <cstdint>
#include <map>
#include <utility>

namespace Amqp
{

class Returns
{
public:
    /// The number of the next message with a callback, from 1 on.
    std::uint64_t NextNumber() { return ++sequence; }

    /// For the message with the number that was given last.
    void Add(PublishCallback&& callback) { byNumber.emplace_hint(byNumber.end(), sequence, std::move(callback)); }

    /// Null when no message with this number is waited for.
    const PublishCallback* Find(std::uint64_t number) const
    {
        const auto found = byNumber.find(number);
        return found == byNumber.end() ? nullptr : &found->second;
    }

    void Remove(std::uint64_t number) { byNumber.erase(number); }
    void Clear() { byNumber.clear(); }

private:
    std::uint64_t sequence = 0;
    std::map<std::uint64_t, PublishCallback> byNumber;
};

} // namespace Amqp
