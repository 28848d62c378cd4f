// Owns the callbacks of messages that the broker may return. Each message carries the number of its callback as its
// message id. The broker never says that it has routed a message. So a callback is kept until the broker returns its
// message, and otherwise as long as the connection. Belongs to the connection's thread.
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
    /// Returns a new number for the next message with a callback. The first number is 1.
    std::uint64_t NextNumber() { return ++sequence; }

    /// Keeps the callback of the message whose number NextNumber returned last.
    void Add(PublishCallback&& callback) { byNumber.emplace_hint(byNumber.end(), sequence, std::move(callback)); }

    /// Returns the callback of the message with this number, or null if there is none.
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
