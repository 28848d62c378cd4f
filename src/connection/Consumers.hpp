// Owns the subscriptions of one connection, and finds them by their consumer tags. Belongs to the connection's thread.
#pragma once

#include "connection/Subscription.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace Amqp
{

class Consumers
{
public:
    using Owned = std::unique_ptr<Subscription, Subscription::Forget>;

    /// Adds a subscription. If the tag is already in use, keeps the old subscription and destroys the new one.
    void Add(Owned subscription) { byTag.insert(std::move(subscription)); }

    /// Returns the subscription with this tag, or null if there is none.
    Subscription* Find(std::string_view tag)
    {
        // Most connections have one consumer, so the latest result is usually the right one.
        if (latest == nullptr || latest->tag != tag)
        {
            const auto found = byTag.find(tag);
            if (found == byTag.end())
            {
                return nullptr;
            }
            latest = found->get();
        }
        return latest;
    }

    /// Removes and returns the subscription with this tag. Returns null if there is none.
    Owned Take(std::string_view tag)
    {
        const auto found = byTag.find(tag);
        if (found == byTag.end())
        {
            return nullptr;
        }
        latest = nullptr;
        Owned taken = std::move(byTag.extract(found).value());
        return taken;
    }

    void Clear()
    {
        latest = nullptr;
        byTag.clear();
    }

private:
    static std::string_view TagOf(std::string_view tag) { return tag; }
    static std::string_view TagOf(const Owned& subscription) { return subscription->tag; }

    // Lets the set find a std::string_view without copying it into a std::string. The call operator is not noexcept:
    // the set then stores each hash, and compares strings only where the hashes are equal.
    struct Hash
    {
        using is_transparent = void;

        template <typename Tagged>
        std::size_t operator()(const Tagged& tagged) const
        {
            return std::hash<std::string_view>()(TagOf(tagged));
        }
    };
    struct Equal
    {
        using is_transparent = void;

        template <typename One, typename Other>
        bool operator()(const One& one, const Other& other) const
        {
            return TagOf(one) == TagOf(other);
        }
    };

    std::unordered_set<Owned, Hash, Equal> byTag;
    Subscription* latest = nullptr; // the result of the latest successful search
};

} // namespace Amqp
