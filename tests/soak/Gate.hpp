// Lets the main thread direct the workers: to rest and to stop. Memory is measured while they rest, because no message
// is then under way. Any thread may call any function; one lock protects everything. Every wait has a limit, except a
// worker's rest, which the main thread ends.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

class Gate
{
public:
    // For workers.
    bool RestWanted() const;
    bool Stopping() const;
    /// Reports that this worker is at rest. Waits until the main thread calls Resume or Stop.
    void Rest();
    /// Waits for the duration, or until the main thread wants the workers to rest or stop.
    void Pause(std::chrono::milliseconds duration);
    /// Reports that this worker has ended. Call Finish last.
    void Finish(bool well);

    // For the main thread.
    /// Asks the workers to rest, and waits until so many rest. Returns false if the time is over, or a worker failed.
    bool AwaitRest(int workers, std::chrono::seconds limit);
    /// Waits until so many workers have ended. Returns false if the time is over.
    bool AwaitFinish(int workers, std::chrono::seconds limit);
    /// Waits for the duration. Returns false as soon as a worker has failed.
    bool AllWellFor(std::chrono::milliseconds duration);
    void Resume();
    void Stop();

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool restWanted = false;
    bool stopping = false;
    bool failed = false;
    int resting = 0;
    int finished = 0;
};
