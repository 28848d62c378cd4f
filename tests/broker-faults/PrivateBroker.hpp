// A RabbitMQ of this process's own, to be stopped, killed, frozen and starved. All tests of the process share it; it
// runs when one begins. It ends with the process, however that ends. The process's environment names it, so that what
// uses a broker uses this one.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include <sys/types.h>

#include "Faults.hpp"

class PrivateBroker : public Broker
{
protected:
    void SetUp() override;

    // Politely; returns at once, AwaitEnd says when it has happened.
    static void Terminate();
    static bool AwaitEnd();

    static void Kill(); // and waits for the end
    static void Restart();

    static pid_t Process();
};

// As long as this lives the process stands still, from the end of the constructor on; a process that nobody thaws goes
// on after the limit, so that a test that hangs ends and can say so.
class Frozen
{
public:
    Frozen(pid_t process, std::chrono::seconds limit);
    ~Frozen();
    Frozen(const Frozen&) = delete;
    Frozen& operator=(const Frozen&) = delete;

    Clock::time_point Since() const;
    bool Thaw(); // false when the limit had passed

private:
    const pid_t process;
    Clock::time_point since;
    std::mutex mutex;
    std::condition_variable changed;
    bool thawed = false;
    bool overdue = false;
    std::thread watchdog;
};
