#include "Gate.hpp"

bool Gate::RestWanted() const
{
    const std::lock_guard lock(mutex);
    return restWanted;
}

bool Gate::Stopping() const
{
    const std::lock_guard lock(mutex);
    return stopping;
}

void Gate::Rest()
{
    std::unique_lock lock(mutex);
    ++resting;
    changed.notify_all();
    changed.wait(lock, [this] { return !restWanted || stopping; });
    --resting;
}

void Gate::Pause(std::chrono::milliseconds duration)
{
    std::unique_lock lock(mutex);
    changed.wait_for(lock, duration, [this] { return restWanted || stopping; });
}

void Gate::Finish(bool well)
{
    const std::lock_guard lock(mutex);
    ++finished;
    failed = failed || !well;
    changed.notify_all();
}

bool Gate::AwaitRest(int workers, std::chrono::seconds limit)
{
    std::unique_lock lock(mutex);
    restWanted = true;
    changed.notify_all();
    changed.wait_for(lock, limit, [&] { return resting == workers || failed; });
    return resting == workers && !failed;
}

bool Gate::AwaitFinish(int workers, std::chrono::seconds limit)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [&] { return finished == workers; });
}

bool Gate::AllWellFor(std::chrono::milliseconds duration)
{
    std::unique_lock lock(mutex);
    return !changed.wait_for(lock, duration, [this] { return failed; });
}

void Gate::Resume()
{
    const std::lock_guard lock(mutex);
    restWanted = false;
    changed.notify_all();
}

void Gate::Stop()
{
    const std::lock_guard lock(mutex);
    stopping = true;
    changed.notify_all();
}
