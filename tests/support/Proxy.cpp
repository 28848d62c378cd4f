// One loop over non-blocking sockets. The lock is held except in poll: what a call of the test changes meanwhile is
// seen when poll has been woken.
#include "Proxy.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Wire
{

namespace
{

constexpr std::size_t mostHeld = 65536;        // of each way
constexpr std::chrono::milliseconds tick{5};   // how often a limited way is allowed more
constexpr std::chrono::milliseconds burst{20}; // how much of its time a limited way may save up

} // namespace

Proxy::Proxy(std::uint16_t server) : serverPort(server), wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (wake.Get() < 0)
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    thread = std::thread([this] { Work(); });
}

Proxy::~Proxy()
{
    Apply([this] { stopping = true; });
    thread.join();
}

std::uint16_t Proxy::Port() const
{
    return listener.Port();
}

template <typename Change>
void Proxy::Apply(Change change)
{
    const std::lock_guard lock(mutex);
    change();
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake.Get(), &one, sizeof one) == sizeof one); // fails only when it is woken anyway
}

void Proxy::Pause(Direction direction)
{
    Apply([&] { rules[direction].paused = true; });
}

void Proxy::Resume(Direction direction)
{
    Apply([&] { rules[direction].paused = false; });
}

void Proxy::Limit(Direction direction, std::size_t octets)
{
    Apply([&] { rules[direction].limit = octets; });
}

void Proxy::Swallow(Direction direction)
{
    Apply([&] { rules[direction].swallowing = true; });
}

void Proxy::Record(Direction direction)
{
    Apply([&] { rules[direction].recording = true; });
}

void Proxy::Close()
{
    Apply(
        [this]
        {
            for (Link& link : links)
            {
                CloseInOrder(link.socket[ToClient]);
                CloseInOrder(link.socket[ToServer]);
            }
            links.clear();
        });
}

void Proxy::Reset()
{
    Apply(
        [this]
        {
            for (Link& link : links)
            {
                CloseWithReset(link.socket[ToClient]);
                CloseWithReset(link.socket[ToServer]);
            }
            links.clear();
        });
}

std::size_t Proxy::Carried(Direction direction) const
{
    const std::lock_guard lock(mutex);
    return carried[direction];
}

std::string Proxy::Recorded(Direction direction) const
{
    const std::lock_guard lock(mutex);
    return recorded[direction];
}

void Proxy::Work()
{
    std::unique_lock lock(mutex);
    std::vector<pollfd> entries;
    while (!stopping)
    {
        const int wait = Watch(entries);
        lock.unlock();
        ::poll(entries.data(), entries.size(), wait);
        lock.lock();

        std::uint64_t count = 0;
        static_cast<void>(::read(wake.Get(), &count, sizeof count) == sizeof count);
        Accept();
        for (Link& link : links)
        {
            Move(link, ToServer);
            Move(link, ToClient);
            if (link.broken)
            {
                CloseWithReset(link.socket[ToClient]);
                CloseWithReset(link.socket[ToServer]);
            }
        }
        links.remove_if([](const Link& link)
                        { return link.broken || (link.way[ToServer].closed && link.way[ToClient].closed); });
    }
}

// What to wait for, and how long.
int Proxy::Watch(std::vector<pollfd>& entries) const
{
    int wait = -1;
    entries = {{wake.Get(), POLLIN, 0}, {listener.Socket(), POLLIN, 0}};
    for (const Link& link : links)
    {
        for (const Direction direction : {ToServer, ToClient})
        {
            const Way& way = link.way[direction];
            const Rule& rule = rules[direction];
            if (!rule.paused && !way.ended && way.held.size() < mostHeld)
            {
                entries.push_back({link.socket[1 - direction].Get(), POLLIN, 0});
            }
            if (!rule.paused && !way.held.empty())
            {
                if (rule.limit != 0)
                {
                    wait = static_cast<int>(tick.count());
                }
                else
                {
                    entries.push_back({link.socket[direction].Get(), POLLOUT, 0});
                }
            }
        }
    }
    return wait;
}

void Proxy::Accept()
{
    while (true)
    {
        Descriptor client(::accept4(listener.Socket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (client.Get() < 0)
        {
            return;
        }
        Descriptor server = ConnectTo(serverPort);
        if (server.Get() < 0)
        {
            CloseWithReset(client);
            continue;
        }
        SendAtOnce(client);
        SendAtOnce(server);
        Link& link = links.emplace_back();
        link.socket[ToServer] = std::move(server);
        link.socket[ToClient] = std::move(client);
    }
}

void Proxy::Move(Link& link, Direction direction)
{
    if (rules[direction].paused || link.broken)
    {
        return;
    }
    Read(link, direction);
    Write(link, direction);
    Way& way = link.way[direction];
    if (way.ended && way.held.empty() && !way.closed && !rules[direction].swallowing)
    {
        ::shutdown(link.socket[direction].Get(), SHUT_WR);
        way.closed = true;
    }
}

void Proxy::Read(Link& link, Direction direction)
{
    Way& way = link.way[direction];
    if (way.ended || way.held.size() >= mostHeld)
    {
        return;
    }
    char chunk[mostHeld];
    const ssize_t count = ::recv(link.socket[1 - direction].Get(), chunk, mostHeld - way.held.size(), 0);
    if (count > 0)
    {
        way.held.append(chunk, static_cast<std::size_t>(count));
    }
    else if (count == 0 || !WouldBlock(errno))
    {
        way.ended = true;
        link.broken = count < 0 && !rules[direction].swallowing;
    }
    if (rules[direction].swallowing)
    {
        way.held.clear();
    }
}

void Proxy::Write(Link& link, Direction direction)
{
    Way& way = link.way[direction];
    std::size_t most = way.held.size();
    if (const auto limit = static_cast<double>(rules[direction].limit); limit > 0)
    {
        const auto now = Clock::now();
        const std::chrono::duration<double> passed = now - std::exchange(way.refilled, now);
        way.allowance =
            std::min(way.allowance + limit * passed.count(), limit * std::chrono::duration<double>(burst).count() + 1);
        most = std::min(most, static_cast<std::size_t>(way.allowance));
    }
    if (most == 0)
    {
        return;
    }
    const ssize_t count = ::send(link.socket[direction].Get(), way.held.data(), most, MSG_NOSIGNAL);
    if (count < 0)
    {
        link.broken = !WouldBlock(errno);
        return;
    }
    if (rules[direction].recording)
    {
        recorded[direction].append(way.held, 0, static_cast<std::size_t>(count));
    }
    way.held.erase(0, static_cast<std::size_t>(count));
    way.allowance -= static_cast<double>(count);
    carried[direction] += static_cast<std::size_t>(count);
}

} // namespace Wire
