// The consumers of one connection by their tags. Owns their subscriptions. Belongs to the connection's thread.
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

    /// A tag that is known keeps the subscription that it has.
    void Add(Owned subscription) { byTag.insert(std::move(subscription)); }

    /// Null when nobody has subscribed with this tag.
    Subscription* Find(std::string_view tag)
    {
        if (latest == nullptr || latest->tag != tag) // most connections have one consumer
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

    /// Takes the subscription out; empty when there was none.
    Owned Take(std::string_view tag)
    {
        const auto found = byTag.find(tag);
        if (found == byTag.end())
        {
            return nullptr;
        }
        latest = nullptr;
        return std::move(byTag.extract(found).value());
    }

    void Clear()
    {
        latest = nullptr;
        byTag.clear();
    }

private:
    static std::string_view TagOf(std::string_view tag) { return tag; }
    static std::string_view TagOf(const Owned& subscription) { return subscription->tag; }

    // Finds a tag that is only viewed, without a copy. Not noexcept: the set then keeps each hash, and looks at no tag
    // but the one it finds.
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
    Subscription* latest = nullptr; // that was found
};

} // namespace Amqp
