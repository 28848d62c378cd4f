// Usage: soak MINUTES [--no-memory]
//
// Starts a publisher, a consumer and the churn of channels, each with a connection and a thread of its own. The main
// thread watches that they make progress, and measures memory while they rest. scripts/soak runs this program.
#include "Churn.hpp"
#include "Consumer.hpp"
#include "Publisher.hpp"
#include "Report.hpp"

#include <charconv>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <thread>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t window = 20000; // how many messages may be under way
constexpr std::uint64_t warmUp = 50000;
constexpr auto reportInterval = 10s;
constexpr auto stallLimit = 60s; // a busy machine may pause for a second or two; after this time work has stopped
constexpr auto drainLimit = 10s;
constexpr int restingWorkers = 2;
constexpr int workers = 3;

struct Options
{
    double minutes = 0;
    bool memory = true;
};

std::optional<Options> Parse(int count, char** arguments)
{
    constexpr double mostMinutes = 7 * 24 * 60;
    Options options;
    const std::string_view minutes = count > 1 ? arguments[1] : "";
    const char* const end = minutes.data() + minutes.size();
    const auto [last, error] = std::from_chars(minutes.data(), end, options.minutes, std::chars_format::fixed);
    options.memory = count == 2;
    const bool right = count == 2 || (count == 3 && arguments[2] == std::string_view("--no-memory"));
    if (error != std::errc() || last != end || !right || !(options.minutes > 0) || options.minutes > mostMinutes)
    {
        return {};
    }
    return options;
}

class Soak
{
public:
    bool Run(const Options& options);

private:
    void Start(std::function<void(Gate&)> work);
    template <typename Enough>
    bool WatchUntil(Enough enough);
    std::optional<Moment> MeasureAtRest();
    bool Work(const Options& options);
    void AwaitEmpty();

    Ledger ledger{window};
    Gate gate;
    Report report;
    std::optional<Moment> start, end;
    std::vector<std::thread> threads;
};

void Soak::Start(std::function<void(Gate&)> work)
{
    threads.emplace_back(
        [this, work = std::move(work)]
        {
            bool well = false;
            try
            {
                work(gate);
                well = true;
            }
            catch (const std::exception& error)
            {
                ledger.Wrong(error.what());
            }
            gate.Finish(well);
        });
}

// Watches the workers until `enough` returns true. Returns false if a worker fails, or no message ends for too long.
template <typename Enough>
bool Soak::WatchUntil(Enough enough)
{
    auto lastReport = Clock::now();
    auto lastProgress = lastReport;
    std::uint64_t finished = ledger.Snapshot().Finished();
    while (!enough())
    {
        if (!gate.AllWellFor(100ms))
        {
            return false;
        }
        const auto now = Clock::now();
        const Counts counts = ledger.Snapshot();
        if (counts.Finished() != finished)
        {
            finished = counts.Finished();
            lastProgress = now;
        }
        else if (now - lastProgress > stallLimit)
        {
            ledger.Wrong("no progress");
            return false;
        }
        if (now - lastReport >= reportInterval)
        {
            report.Progress(counts);
            lastReport = now;
        }
    }
    return true;
}

std::optional<Moment> Soak::MeasureAtRest()
{
    if (!gate.AwaitRest(restingWorkers, stallLimit))
    {
        ledger.Wrong("the work does not come to rest");
        return {};
    }
    return Moment{ledger.Snapshot(), Memory::Trimmed()};
}

bool Soak::Work(const Options& options)
{
    if (options.memory)
    {
        if (!WatchUntil([this] { return ledger.Snapshot().Finished() >= warmUp; }) || !(start = MeasureAtRest()))
        {
            return false;
        }
        gate.Resume();
    }
    const auto until = Clock::now() + std::chrono::duration<double>(options.minutes * 60);
    if (!WatchUntil([&] { return Clock::now() >= until; }))
    {
        return false;
    }
    end = MeasureAtRest();
    return end.has_value();
}

// Waits, after a failure, for the messages that are under way: they are not lost.
void Soak::AwaitEmpty()
{
    gate.AwaitRest(restingWorkers, 0s);
    const auto until = Clock::now() + drainLimit;
    while (ledger.Snapshot().Open() > 0 && Clock::now() < until)
    {
        std::this_thread::sleep_for(100ms);
    }
}

bool Soak::Run(const Options& options)
{
    const Names names;
    Consumer consumer(ledger, names); // first, because the consumer declares the queues
    Publisher publisher(ledger, names);
    Churn churn(ledger, names);
    Start([&](Gate& held) { consumer.Run(held); });
    Start([&](Gate& held) { publisher.Run(held); });
    Start([&](Gate& held) { churn.Run(held); });

    const bool worked = Work(options);
    if (!worked)
    {
        AwaitEmpty();
    }
    gate.Stop();
    const bool finished = gate.AwaitFinish(workers, stallLimit);
    if (!finished)
    {
        ledger.Wrong("a thread does not end");
    }
    ledger.PrintOpen();
    const bool well = Report::Summary(ledger.Snapshot(), start, end) && worked;
    if (!finished)
    {
        std::_Exit(EXIT_FAILURE); // there is no way to end a thread that is stuck
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    return well;
}

} // namespace

int main(int count, char** arguments)
{
    const auto options = Parse(count, arguments);
    if (!options)
    {
        std::cerr << "Usage: soak MINUTES [--no-memory]\n";
        return 2;
    }
    try
    {
        Memory::Prepare();
        return Soak().Run(*options) ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    catch (const std::exception& error)
    {
        std::cerr << "soak: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
