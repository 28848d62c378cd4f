// What a poll loop is to do, put in by any thread. The event is readable when there is something.
#pragma once

#include <functional>
#include <mutex>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

struct Inbox
{
    using Task = std::function<void()>;

    const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

    Inbox() = default;
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;
    ~Inbox() { close(event); }

    void Put(Task task)
    {
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(task));
        eventfd_write(event, 1);
    }
    // On the loop's thread. What a task throws comes out of here.
    void DoAll()
    {
        for (const Task& task : Take())
        {
            task();
        }
    }

private:
    std::vector<Task> Take()
    {
        const std::lock_guard lock(mutex);
        eventfd_t count = 0;
        eventfd_read(event, &count);
        return std::exchange(tasks, {});
    }

    std::mutex mutex;
    std::vector<Task> tasks;
};
