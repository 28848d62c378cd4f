#include "PrivateBroker.hpp"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

#include "support/BrokerAddress.hpp"

namespace
{

std::string Script(const std::string& arguments)
{
    // The script gives up by itself, but sooner.
    return Output("scripts/broker " + arguments,
                  "exec timeout --kill-after=5 120 '" AMQP_BROKER_SCRIPT "' " + arguments);
}

// Takes over "export NAME=value"; nothing in the values needs a shell.
void Export(const std::string& assignments)
{
    const std::string prefix = "export ";
    std::istringstream lines(assignments);
    for (std::string line; std::getline(lines, line);)
    {
        const std::size_t equals = line.find('=');
        if (line.rfind(prefix, 0) != 0 || equals == line.npos)
        {
            throw std::runtime_error("scripts/broker printed: " + line);
        }
        setenv(line.substr(prefix.size(), equals - prefix.size()).c_str(), line.substr(equals + 1).c_str(), 1);
    }
}

bool Lives(pid_t process)
{
    return kill(process, 0) == 0;
}

// Around all tests.
class Node : public testing::Environment
{
public:
    void SetUp() override
    {
        // Should the start fail, nobody is to mistake another broker for the private one.
        for (const char* const variable : {"AMQP_BROKER_DIR", "AMQP_BROKER_PID", "AMQP_HOST", "AMQP_PORT"})
        {
            unsetenv(variable);
        }
        Export(Script("start --owner " + std::to_string(getpid())));
    }

    void TearDown() override { Script("stop"); }
};

const testing::Environment* const node = testing::AddGlobalTestEnvironment(new Node);

// A signal stops the threads of a process one after the other.
bool StandsStill(pid_t process)
{
    namespace fs = std::filesystem;
    const auto stopped = [](const fs::directory_entry& thread)
    {
        std::ifstream file(thread.path() / "stat");
        const std::string stat{std::istreambuf_iterator<char>(file), {}};
        const std::size_t name = stat.rfind(") "); // which may hold anything itself
        return name == stat.npos || stat.compare(name + 2, 1, "T") == 0;
    };
    const fs::directory_iterator threads("/proc/" + std::to_string(process) + "/task");
    return std::all_of(begin(threads), end(threads), stopped);
}

} // namespace

void PrivateBroker::SetUp()
{
    ASSERT_NO_FATAL_FAILURE(Broker::SetUp());
    if (!Lives(Process()))
    {
        Restart(); // what came before failed
    }
}

void PrivateBroker::Terminate()
{
    kill(Process(), SIGTERM);
}

bool PrivateBroker::AwaitEnd()
{
    return Eventually([] { return !Lives(Process()); });
}

void PrivateBroker::Kill()
{
    kill(Process(), SIGKILL);
    ASSERT_TRUE(AwaitEnd());
}

void PrivateBroker::Restart()
{
    Export(Script("restart"));
}

pid_t PrivateBroker::Process()
{
    return BrokerProcess();
}

Frozen::Frozen(pid_t frozen, std::chrono::seconds limit) : process(frozen)
{
    kill(process, SIGSTOP);
    EXPECT_TRUE(Eventually([&] { return StandsStill(process); }));
    since = Clock::now();
    watchdog = std::thread(
        [this, limit]
        {
            std::unique_lock lock(mutex);
            overdue = !changed.wait_for(lock, limit, [this] { return thawed; });
            kill(process, SIGCONT);
        });
}

Frozen::~Frozen()
{
    Thaw();
}

Clock::time_point Frozen::Since() const
{
    return since;
}

bool Frozen::Thaw()
{
    {
        const std::lock_guard lock(mutex);
        thawed = true;
    }
    changed.notify_one();
    if (watchdog.joinable())
    {
        watchdog.join();
    }
    return !overdue;
}
