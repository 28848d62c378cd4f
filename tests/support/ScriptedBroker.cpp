// Threads of the broker, and the way failures take from them to the test.
#include "ScriptedBroker.hpp"

#include <exception>
#include <utility>

#include <gtest/gtest.h>

namespace Wire
{

ScriptedBroker::ScriptedBroker(Script script, BrokerOptions chosen)
    : ScriptedBroker(std::vector<Script>{std::move(script)}, chosen)
{
}

ScriptedBroker::ScriptedBroker(std::vector<Script> all, BrokerOptions chosen)
    : scripts(std::move(all)), options(chosen), port(listener.Port()), acceptor([this] { AcceptAll(); })
{
}

ScriptedBroker::~ScriptedBroker()
{
    Finish();
}

std::uint16_t ScriptedBroker::Port() const
{
    return port;
}

void ScriptedBroker::Deadline(std::chrono::milliseconds limit)
{
    deadline.store(limit);
}

void ScriptedBroker::Finish()
{
    const std::string text = TakeFailure();
    if (!text.empty())
    {
        ADD_FAILURE() << text;
    }
}

std::string ScriptedBroker::TakeFailure()
{
    if (acceptor.joinable())
    {
        acceptor.join();
    }
    const std::lock_guard lock(mutex);
    return std::exchange(failures, {});
}

void ScriptedBroker::AcceptAll()
{
    std::vector<std::thread> served;
    for (std::size_t index = 0; index < scripts.size(); ++index)
    {
        Descriptor socket = listener.Accept(deadline);
        if (socket.Get() < 0)
        {
            Fail(index, "script not finished: nobody connected before the deadline");
            break;
        }
        served.emplace_back([this, index, peer = std::move(socket)]() mutable { Serve(index, std::move(peer)); });
    }
    // A client that connects once more is refused at once, instead of waiting for a script that does not exist.
    listener.Close();
    for (std::thread& thread : served)
    {
        thread.join();
    }
}

void ScriptedBroker::Serve(std::size_t index, Descriptor socket)
{
    Dialogue peer(Stream(std::move(socket), deadline));
    try
    {
        if (options.tls)
        {
            peer.StartTls();
        }
        scripts[index](peer);
        peer.AwaitEnd();
    }
    catch (const ScriptFailure& failure)
    {
        Fail(index, failure.what());
    }
    catch (const std::exception& failure)
    {
        Fail(index, peer.Where() + "\n  exception: " + failure.what());
    }
}

void ScriptedBroker::Fail(std::size_t index, const std::string& text)
{
    const std::lock_guard lock(mutex);
    failures.append(failures.empty() ? "" : "\n").append("connection ").append(std::to_string(index + 1));
    failures.append(": ").append(text);
}

} // namespace Wire
