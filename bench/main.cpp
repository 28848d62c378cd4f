// Compares the library with rabbitmq-c alone, case by case; see scripts/bench.
#include "Cases.hpp"
#include "Options.hpp"
#include "Peer.hpp"
#include "PeerProcess.hpp"
#include "Processors.hpp"
#include "Report.hpp"

#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <limits>
#include <malloc.h>
#include <memory>
#include <stdexcept>

namespace
{

using namespace Bench;

constexpr std::size_t mebi = 1024 * 1024;

std::vector<Case> AllCases(bool quick)
{
    std::vector<Case> all;
    for (auto cases : {PublishCases(), BatchCases(), ConsumeCases(), NumberCases(),
                       MultipartCases(quick ? 64 * mebi : 1024 * mebi), FullFrameCases(), CallCases()})
    {
        std::move(cases.begin(), cases.end(), std::back_inserter(all));
    }
    return all;
}

Comparison Measure(const Case& wanted, const Site& site, Effort effort)
{
    const Sides sides = wanted.prepare(site);
    effort.rounds = std::min(effort.rounds, wanted.mostRounds);
    return Compare(sides.library, sides.bare, effort, wanted.count);
}

void MeasureAll(const Options& options, const Site& peer)
{
    const Effort onPeer = options.quick ? Effort{5, 0.01} : Effort{25, 0.04};
    const Effort onBroker = options.quick ? Effort{3, 0.01} : Effort{9, 0.04};
    const auto broker = options.withBroker ? std::optional(BrokerOfTheEnvironment()) : std::nullopt;
    Report report(options.output);
    for (Case wanted : AllCases(options.quick))
    {
        if (options.count != 0)
        {
            wanted.count = wanted.count == 0 ? options.count : wanted.count;
            wanted.mostRounds = 1;
        }
        if ((wanted.group + " " + wanted.name).find(options.only) == std::string::npos)
        {
            continue;
        }
        std::optional<Comparison> brokers;
        if (broker && wanted.onBroker)
        {
            brokers = Measure(wanted, *broker, onBroker);
        }
        report.Add(wanted, Measure(wanted, peer, onPeer), brokers);
    }
    report.Finish();
}

Site PeerAt(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
    {
        throw std::runtime_error("not ADDRESS:PORT: " + text);
    }
    return {text.substr(0, colon),
            static_cast<unsigned short>(std::stoi(text.substr(colon + 1))),
            "guest",
            "guest",
            "/",
            false};
}

// For another such program, on another machine say, until the standard input ends.
void Serve(const std::string& address)
{
    const Peer peer(address);
    std::cout << address << ':' << peer.Port() << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}

// Otherwise it depends on what lies where whether malloc gives a large body's memory back to the system, and takes it
// again, with every message, and which of the two sides is so unlucky.
void KeepMemory()
{
    constexpr int limit = 64 * 1024 * 1024;
    mallopt(M_TRIM_THRESHOLD, limit);
    mallopt(M_MMAP_THRESHOLD, limit);
}

void Start(const Options& options)
{
    StayOnProcessor(Processor::Client);
    KeepMemory();
    if (!options.serve.empty())
    {
        Serve(options.serve);
        return;
    }
    if (!options.peer.empty())
    {
        MeasureAll(options, PeerAt(options.peer));
        return;
    }
    const PeerProcess peer;
    MeasureAll(options, {"127.0.0.1", peer.Port(), "guest", "guest", "/", false});
}

} // namespace

int main(int count, char** arguments)
{
    try
    {
        Start(ParseOptions(count, arguments));
        return 0;
    }
    catch (const std::exception& error)
    {
        std::cerr << "bench: " << error.what() << '\n';
        return 1;
    }
}
