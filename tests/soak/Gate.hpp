// How the main thread leads the workers: to rest, with nothing under way, so that memory can be compared between two
// such moments, and to their end. One lock; no wait is without a limit but a worker's rest, which the main thread ends.
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
    /// Says that this worker is at rest, and waits until it may go on or is to stop.
    void Rest();
    /// Waits so long, or until a rest or the end is wanted.
    void Pause(std::chrono::milliseconds duration);
    /// The last thing a worker does.
    void Finish(bool well);

    // For the main thread. False when the time is over, or a worker has failed.
    bool AwaitRest(int workers, std::chrono::seconds limit);
    bool AwaitFinish(int workers, std::chrono::seconds limit);
    /// Waits so long; false at once when a worker has failed.
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
