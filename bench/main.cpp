// Compares the library with rabbitmq-c alone, case by case; see scripts/bench. The main thread runs everything except
// the peer.
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

constexpr std::size_t mebi = std::size_t{1024} * 1024;

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

void RunLibrary(const Case& wanted, const Site& site, std::size_t count)
{
    const Sides sides = wanted.prepare(site);
    sides.library.run(count);
    if (sides.library.after)
    {
        sides.library.after();
    }
}

// Makes the sides anew for each round, or runs all rounds with the same sides, as the case wants.
Comparison Measure(const Case& wanted, const Site& site, Effort effort)
{
    effort.settings = wanted.manySettings ? std::min(effort.settings, wanted.mostRounds) : 1;
    effort.rounds = wanted.manySettings ? 1 : std::min(effort.rounds, wanted.mostRounds);
    return Compare([&] { return wanted.prepare(site); }, effort, wanted.count);
}

std::string Title(const Case& one)
{
    return one.group + " " + one.name;
}

// Returns the case whose title is the wanted string. If there is none, returns all cases whose title contains the
// string.
std::vector<Case> Wanted(const Options& options)
{
    std::vector<Case> cases = AllCases(options.quick);
    const bool exact =
        std::any_of(cases.begin(), cases.end(), [&](const Case& one) { return Title(one) == options.only; });
    std::erase_if(cases, [&](const Case& one)
                  { return exact ? Title(one) != options.only : Title(one).find(options.only) == std::string::npos; });
    return cases;
}

void MeasureAll(const Options& options, const Site& peer)
{
    const Effort onPeer = options.quick ? Effort{5, 5, 0.01} : Effort{211, 105, 0.02};
    const Effort onBroker = options.quick ? Effort{3, 3, 0.01} : Effort{9, 9, 0.03};
    const auto broker = options.withBroker ? std::optional(Site{BrokerOfTheEnvironment(), true}) : std::nullopt;
    Report report(options.output);
    for (const Case& wanted : Wanted(options))
    {
        std::optional<Comparison> brokers;
        if (broker && !(options.quick && wanted.longOnBroker))
        {
            brokers = Measure(wanted, *broker, onBroker);
        }
        report.Add(wanted, Measure(wanted, peer, onPeer), brokers);
    }
    report.Finish();
}

void Work(const Options& options, const Site& peer)
{
    if (options.count == 0)
    {
        MeasureAll(options, peer);
        return;
    }
    for (const Case& wanted : Wanted(options))
    {
        RunLibrary(wanted, peer, options.count);
    }
}

Site PeerAt(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
    {
        throw std::runtime_error("not ADDRESS:PORT: " + text);
    }
    const auto port = static_cast<unsigned short>(std::stoi(text.substr(colon + 1)));
    return {{.host = text.substr(0, colon), .port = port}, false};
}

// Serves as the peer of another bench program, perhaps on another machine, until the standard input ends.
void Serve(const std::string& address)
{
    const Peer peer(address);
    std::cout << address << ':' << peer.Port() << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}

// Stops malloc from releasing the memory of large bodies to the system. Otherwise malloc may release the memory and ask
// for it again with every message. Chance decides which of the two sides would suffer.
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
        Work(options, PeerAt(options.peer));
        return;
    }
    const PeerProcess peer;
    Work(options, {{.port = peer.Port()}, false});
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
