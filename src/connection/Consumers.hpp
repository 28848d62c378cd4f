// The consumers of one connection by their tags. Owns their subscriptions. Belongs to the connection's thread.
#pragma once

#include "connection/Subscription.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace Amqp
{

class Consumers
{
public:
    using Owned = std::unique_ptr<Subscription, Subscription::Forget>;

    /// A tag that is known keeps the subscription that it has.
    void Add(std::string_view tag, Owned subscription) { byTag.try_emplace(std::string(tag), std::move(subscription)); }

    /// Null when nobody has subscribed with this tag.
    Subscription* Find(std::string_view tag)
    {
        if (latest == nullptr || latest->first != tag) // mostly there is one
        {
            const auto found = byTag.find(tag);
            if (found == byTag.end())
            {
                return nullptr;
            }
            latest = &*found;
        }
        return latest->second.get();
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
        Owned taken = std::move(found->second);
        byTag.erase(found);
        return taken;
    }

    void Clear()
    {
        latest = nullptr;
        byTag.clear();
    }

private:
    // Finds a tag that is only viewed, without a copy.
    struct TextHash
    {
        using is_transparent = void;

        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    using Map = std::unordered_map<std::string, Owned, TextHash, std::equal_to<>>;

    Map byTag;
    const Map::value_type* latest = nullptr; // that was found
};

} // namespace Amqp
