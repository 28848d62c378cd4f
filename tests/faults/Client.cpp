// Every way in which the library can speak to the application ends in a note.
#include "Client.hpp"

#include <stdexcept>
#include <thread>
#include <utility>
#include <variant>

namespace Faults
{

namespace
{

constexpr std::chrono::seconds consumeWait{20}; // longer than any case may take
constexpr int mostSteps = 20;

std::string Brief(std::string_view body)
{
    constexpr std::size_t shown = 20;
    return body.size() <= shown ? std::string(body) : std::to_string(body.size()) + " octets";
}

} // namespace

std::string Describe(Amqp::ErrorCode::Categories category, unsigned code, const std::string& text)
{
    static const char* const names[] = {"NoReply",       "Success", "Library", "Server",    "ConnectionClosed",
                                        "ChannelClosed", "Tcp",     "Ssl",     "Unexpected"};
    return std::string(names[category]) + "/" + std::to_string(code) + " \"" + text + "\"";
}

void Append(std::string& record, const std::string& text, const char* separator)
{
    if (!text.empty())
    {
        record += (record.empty() ? "" : separator) + text;
    }
}

Client::Client(std::uint16_t brokerPort, std::chrono::seconds interval, int frames)
    : port(brokerPort), heartbeat(interval), frameMax(frames)
{
}

void Client::Note(const std::string& text)
{
    Append(seen, text);
}

// What is thrown for a message alone leaves the connection usable; everything else ends the case.
template <typename Action>
void Client::Guard(Action&& action)
{
    try
    {
        action();
        return;
    }
    catch (const Amqp::ErrorCode& error)
    {
        Note("throws " + Describe(error.category, error.code, error.what()));
    }
    catch (const std::invalid_argument&)
    {
        Note("throws invalid_argument");
        return;
    }
    catch (const std::out_of_range&)
    {
        Note("throws out_of_range");
        return;
    }
    catch (const std::bad_variant_access&)
    {
        Note("throws bad_variant_access");
        return;
    }
    catch (const std::exception& error)
    {
        Note(std::string("throws ") + error.what());
    }
    stopped = true;
}

void Client::Connect()
{
    connection = std::make_shared<Amqp::Connection>("127.0.0.1", port, "guest", "guest", "/", Amqp::Table(),
                                                    consumeWait, heartbeat, frameMax);
}

void Client::OpenChannel()
{
    const auto told = [this](Amqp::ErrorCode&& error)
    {
        Note("told " + Describe(error.category, error.code, error.what()));
        stopped = true;
    };
    channels.push_back(std::make_shared<Amqp::Channel>(connection, told));
}

void Client::Ask(const std::function<std::string()>& action)
{
    Guard([&] { Note("gives " + action()); });
}

void Client::Call(const std::function<void()>& action)
{
    Guard(
        [&]
        {
            action();
            Note("returns");
        });
}

void Client::Step()
{
    Guard(
        [&]
        {
            const auto result = connection->Run();
            Note(!result ? "run empty" : *result ? "run true" : "run false");
            stopped = stopped || result == false;
        });
}

void Client::RunUntil(std::size_t wanted)
{
    for (int step = 0; step < mostSteps && !stopped && messages < wanted; ++step)
    {
        Step();
    }
}

void Client::RepeatUntilTold(const std::function<void()>& publish)
{
    const auto start = std::chrono::steady_clock::now();
    while (!stopped && std::chrono::steady_clock::now() - start < consumeWait)
    {
        Guard(publish);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

Amqp::DeliveryHandler Client::Handler(Amqp::Acknowledge verdict)
{
    return [this, verdict](const Amqp::Envelope& envelope)
    {
        Note("handles " + Brief(envelope.ViewBody(0, envelope.Size())));
        ++messages;
        return verdict;
    };
}

Amqp::PublishCallback Client::Callback()
{
    return [this](const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
    {
        Note("takes back " + Brief(envelope.ViewBody(0, envelope.Size())) + " " + std::to_string(status.replyCode));
        ++messages;
    };
}

void Client::CloseChannels()
{
    for (std::shared_ptr<Amqp::Channel>& channel : channels)
    {
        channel.reset();
    }
    channels.clear();
}

void Client::Destroy()
{
    CloseChannels();
    connection.reset();
}

} // namespace Faults
