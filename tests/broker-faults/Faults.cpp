#include "Faults.hpp"

#include <algorithm>
#include <iostream>
#include <utility>

namespace
{

std::string Description(const Amqp::ErrorCode& error)
{
    return "category " + std::to_string(error.category) + ", code " + std::to_string(error.code) + ": " + error.what();
}

} // namespace

void ExpectWithin(std::chrono::milliseconds bound, std::string_view what, Clock::duration duration)
{
    const auto rounded = std::chrono::duration_cast<std::chrono::milliseconds>(duration);
    std::cout << "  " << what << ": " << rounded.count() << " ms\n";
    EXPECT_LE(rounded.count(), bound.count()) << what;
}

std::vector<std::string> Numbers(int first, int last)
{
    std::vector<std::string> numbers;
    for (int number = first; number <= last; ++number)
    {
        numbers.push_back(std::to_string(number));
    }
    return numbers;
}

std::string Range(int first, int last, bool redelivered)
{
    const std::string numbers =
        first == last ? std::to_string(first) : std::to_string(first) + "-" + std::to_string(last);
    return numbers + (redelivered ? " again" : "");
}

std::string Summary(const std::vector<Taken>& taken)
{
    std::string all;
    for (std::size_t begin = 0, end = 0; begin < taken.size(); begin = end)
    {
        const auto [number, redelivered] = taken[begin];
        int next = number;
        while (end < taken.size() && taken[end].number == next && taken[end].redelivered == redelivered)
        {
            ++next;
            ++end;
        }
        all += (all.empty() ? "" : ", ") + Range(number, next - 1, redelivered);
    }
    return all;
}

std::string Seen(const Ending& ending)
{
    if (ending.thrown)
    {
        return Description(*ending.thrown);
    }
    return !ending.result ? "empty" : *ending.result ? "true" : "false";
}

Ending RunToTheEnd(const Amqp::Connection& connection)
{
    Ending ending;
    const auto limit = Clock::now() + longestWait;
    try
    {
        while ((ending.result = connection.Run()).value_or(true) && Clock::now() < limit)
        {
        }
    }
    catch (const Amqp::ErrorCode& error)
    {
        ending.thrown = error;
    }
    ending.when = Clock::now();
    return ending;
}

Publisher::Publisher(std::shared_ptr<Amqp::Connection> owned, Task work)
    : connection(std::move(owned)), task(std::move(work)), thread([this] { Work(); })
{
}

Publisher::~Publisher()
{
    Stop();
    thread.join();
}

int Publisher::Published() const
{
    return published;
}

bool Publisher::Ended() const
{
    return ended;
}

void Publisher::Stop()
{
    stopping = true;
}

bool Publisher::AwaitEnd()
{
    return Eventually([this] { return Ended(); });
}

std::string Seen(const Publisher& publisher)
{
    std::string all;
    for (const Amqp::ErrorCode& error : publisher.noted)
    {
        all += (all.empty() ? "" : "; ") + Description(error);
    }
    return publisher.thrown ? all + "thrown: " + Description(*publisher.thrown) : all;
}

void Publisher::Work()
{
    try
    {
        Amqp::Channel channel(connection,
                              [this](Amqp::ErrorCode&& error)
                              {
                                  when = Clock::now();
                                  noted.push_back(std::move(error));
                              });
        PublishAll(channel);
    }
    catch (const Amqp::ErrorCode& error)
    {
        when = Clock::now();
        thrown = error;
    }
    ended = true;
}

void Publisher::PublishAll(Amqp::Channel& channel)
{
    for (int number = 1; number <= task.most && !stopping; ++number)
    {
        std::string body = std::to_string(number);
        if (body.size() < task.size)
        {
            body += ' ';
            body.resize(task.size, 'x');
        }
        Amqp::Envelope message;
        message.SetBody(body.data(), body.size());
        message.DeliveryMode(task.persistent ? Amqp::MetaData::Persistent : Amqp::MetaData::NonPersistent);
        const auto begin = Clock::now();
        channel.Publish("", task.queue, message, 0, {});
        longest = std::max(longest, Clock::now() - begin);
        if (!noted.empty())
        {
            return;
        }
        published = number;
        std::this_thread::sleep_for(task.pause);
    }
}
