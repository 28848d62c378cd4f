// C++17 also: programs of the pages are linked with it.
#include "BrokerAddress.hpp"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace
{

[[noreturn]] void Refuse(const std::string& what)
{
    throw std::runtime_error(what + "; \"scripts/broker run -- COMMAND\" starts a broker and sets it");
}

std::string Text(const char* name)
{
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0')
    {
        Refuse(std::string(name) + " is not set");
    }
    return value;
}

// From 1 to the greatest that the type has.
template <typename Number>
Number Positive(const char* name)
{
    constexpr Number most = std::numeric_limits<Number>::max();
    const std::string text = Text(name);
    const char* const end = text.data() + text.size();
    Number number = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < 1)
    {
        Refuse(std::string(name) + " is not a number from 1 to " + std::to_string(most) + ": \"" + text + '"');
    }
    return number;
}

} // namespace

BrokerAddress BrokerOfTheEnvironment()
{
    return {Text("AMQP_HOST"), Positive<unsigned short>("AMQP_PORT"), Text("AMQP_USER"), Text("AMQP_PASSWORD"),
            Text("AMQP_VHOST")};
}

std::string RabbitMqCtl()
{
    return Text("RABBITMQCTL");
}

pid_t BrokerProcess()
{
    return Positive<pid_t>("AMQP_BROKER_PID");
}
