// Owns the two clients of a case and their message, and says where to publish so that the message is dropped. Used by
// the main thread.
#pragma once

#include "Messages.hpp"
#include "Site.hpp"

#include <string>

namespace Bench
{

struct Pair
{
    explicit Pair(const Site& site, const Kind& kind = {100, Dress::Plain})
        : library(site), bare(site.address), message(kind)
    {
    }

    // Routes the messages to a queue that keeps only the latest message, so that the broker returns none.
    void RouteSomewhere()
    {
        amqp_table_entry_t limit{ToBytes("x-max-length"), {AMQP_FIELD_KIND_I32, {}}};
        limit.value.value.i32 = 1;
        key = bare.DeclareQueue({1, &limit});
        exchange.clear();
    }

    Client library;
    BareClient bare;
    Message message;
    std::string exchange = "amq.fanout"; // no queue is bound to it
    std::string key;
};

} // namespace Bench
