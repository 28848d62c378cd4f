// The two clients of a case, their message, and where they publish it so that it is dropped.
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

    // For messages that must not come back: a queue that keeps one message at a time.
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
    std::string exchange = "amq.fanout"; // to which nothing is bound
    std::string key;
};

} // namespace Bench
