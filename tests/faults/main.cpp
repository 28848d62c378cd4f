// Runs all cases in a few threads, those that wait for heartbeats in more. With an argument only those whose name
// contains it, as in `fault-matrix "DeliveryAuto: heartbeat"`; -l lists the names instead.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <unistd.h>

#include "Fault.hpp"
#include "Runner.hpp"

namespace
{

using Faults::Case;

constexpr unsigned quickThreads = 4;
constexpr unsigned waitingThreads = 24; // which do next to nothing

// A crash may come some time after the case that brought it about, but the case that runs is a beginning. The
// sanitizers have reports of their own.
thread_local const char* runningHere = "no case";

extern "C" void NameTheCase(int /*signal*/)
{
    constexpr std::string_view begin = "crashed in ";
    static_cast<void>(::write(STDOUT_FILENO, begin.data(), begin.size()) +
                      ::write(STDOUT_FILENO, runningHere, std::strlen(runningHere)) + ::write(STDOUT_FILENO, "\n", 1));
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

void NameTheCaseOfACrash()
{
    if (sanitized)
    {
        return;
    }
    struct sigaction action
    {
    };
    action.sa_handler = &NameTheCase;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // the second time the signal does what it always does
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE})
    {
        ::sigaction(signal, &action, nullptr);
    }
}

// Enough to see what is wrong: a library that hangs would keep each case to its deadline.
constexpr std::size_t mostFailures = 100;

// No case takes that long, since its peer closes before, unless the library does not even notice that.
constexpr std::chrono::seconds stuck{120};

class Matrix
{
public:
    void Play(const std::vector<Case>& cases, unsigned count);
    void Finish();

    std::size_t Played() const { return played; }
    std::size_t Failures() const { return failures; }

private:
    using Clock = std::chrono::steady_clock;

    void Work(const std::vector<Case>& cases, std::atomic<std::size_t>& next);
    const Case* Begin(const std::vector<Case>& cases, std::atomic<std::size_t>& next);
    void End(const Case& each, const std::string& failure);
    void EndIfStuck();

    std::vector<std::thread> threads;
    std::mutex mutex; // of all that follows
    std::condition_variable finished;
    std::size_t working = 0;
    std::map<const Case*, Clock::time_point> running;
    std::size_t played = 0;
    std::size_t failures = 0;
};

void Matrix::Play(const std::vector<Case>& cases, unsigned count)
{
    const auto next = std::make_shared<std::atomic<std::size_t>>(0);
    const std::lock_guard lock(mutex);
    for (unsigned i = 0; i < count; ++i)
    {
        ++working;
        threads.emplace_back([this, &cases, next] { Work(cases, *next); });
    }
}

void Matrix::Work(const std::vector<Case>& cases, std::atomic<std::size_t>& next)
{
    while (const Case* const each = Begin(cases, next))
    {
        runningHere = each->name.c_str();
        End(*each, Faults::Run(*each));
    }
    const std::lock_guard lock(mutex);
    --working;
    finished.notify_one();
}

const Case* Matrix::Begin(const std::vector<Case>& cases, std::atomic<std::size_t>& next)
{
    const std::size_t at = next++;
    const std::lock_guard lock(mutex);
    if (at >= cases.size() || failures >= mostFailures)
    {
        return nullptr;
    }
    running.emplace(&cases[at], Clock::now());
    return &cases[at];
}

void Matrix::End(const Case& each, const std::string& failure)
{
    const std::lock_guard lock(mutex);
    running.erase(&each);
    ++played;
    if (!failure.empty())
    {
        ++failures;
        std::printf("%s\n", failure.c_str());
        std::fflush(stdout);
    }
}

// Such a case cannot be ended from here, but named.
void Matrix::EndIfStuck()
{
    for (const auto& [each, start] : running)
    {
        if (Clock::now() - start > stuck)
        {
            std::printf("%s: does not end\n", each->name.c_str());
            std::fflush(stdout);
            std::_Exit(1);
        }
    }
}

void Matrix::Finish()
{
    std::unique_lock lock(mutex);
    while (!finished.wait_for(lock, std::chrono::seconds(1), [this] { return working == 0; }))
    {
        EndIfStuck();
    }
    lock.unlock();
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

std::vector<Case> AllCases(const std::vector<Faults::Operation>& operations)
{
    std::vector<Case> all;
    for (const Faults::Operation& operation : operations)
    {
        Faults::AddCases(all, operation);
    }
    return all;
}

} // namespace

int main(int count, char** arguments)
{
    NameTheCaseOfACrash();
    const std::string wanted = count > 1 ? arguments[1] : "";
    const std::vector<Faults::Operation> operations = Faults::AllOperations();
    std::vector<Case> quick = AllCases(operations);
    if (wanted == "-l")
    {
        for (const Case& each : quick)
        {
            std::printf("%s\n", each.name.c_str());
        }
        return 0;
    }
    std::erase_if(quick, [&](const Case& each) { return each.name.find(wanted) == std::string::npos; });
    const auto waits = [](const Case& each) { return each.heartbeat != 0; };
    std::vector<Case> waiting;
    std::copy_if(quick.begin(), quick.end(), std::back_inserter(waiting), waits);
    std::erase_if(quick, waits);

    Matrix matrix;
    matrix.Play(waiting, waitingThreads);
    matrix.Play(quick, quickThreads);
    matrix.Finish();
    const std::size_t played = matrix.Played();
    const std::size_t failed = matrix.Failures();
    std::printf("fault matrix: %zu cases\n", played);
    if (failed != 0)
    {
        std::printf("%zu failed%s\n", failed, failed >= mostFailures ? ", and the rest was left out" : "");
    }
    return failed == 0 && played != 0 ? 0 : 1;
}
