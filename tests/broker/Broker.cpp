#include "Broker.hpp"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include "support/BrokerAddress.hpp"

namespace
{

std::string Quoted(std::string_view text)
{
    std::string quoted = "'";
    for (const char character : text)
    {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

} // namespace

void Broker::SetUp()
{
    // Whatever is missing fails the test here, by what is thrown.
    BrokerOfTheEnvironment();
    RabbitMqCtl();
}

void Broker::TearDown()
{
    if (names.empty())
    {
        return;
    }
    const auto connection = Connect();
    for (const std::string& name : names)
    {
        // An exclusive queue may be on its way out only, and refuse.
        Noted refusal;
        Amqp::Channel(connection, refusal.Notifier()).DestroyQueue(name, false, false);
        Amqp::Channel(connection, &Amqp::Channel::OnErrorThrow).DestroyExchange(name, false);
    }
}

std::shared_ptr<Amqp::Connection> Broker::Connect(const Login& login) const
{
    const BrokerAddress broker = BrokerOfTheEnvironment();
    const std::string user = login.user.value_or(broker.user);
    const std::string password = login.password.value_or(broker.password);
    const std::string virtualHost = login.virtualHost.value_or(broker.virtualHost);
    const unsigned short port = login.port.value_or(broker.port);
    return std::make_shared<Amqp::Connection>(broker.host, port, user, password, virtualHost, login.properties,
                                              login.wait, login.heartbeat, frameMax);
}

std::string Broker::User()
{
    return BrokerOfTheEnvironment().user;
}

unsigned short Broker::Port()
{
    return BrokerOfTheEnvironment().port;
}

std::string Broker::Name(std::string_view what)
{
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + '.' + test->name();
    std::replace(name.begin(), name.end(), '/', '.');
    name += '.' + std::to_string(getpid()) + '.' + std::string(what);
    names.push_back(name);
    return name;
}

std::string Broker::ExclusiveQueue(Amqp::Channel& channel, std::string_view what)
{
    std::string name = Name(what);
    channel.DeclareQueue(name, /*durable*/ false, /*exclusive*/ true, /*autoDelete*/ false);
    return name;
}

std::string Broker::Control(const std::vector<std::string>& arguments) const
{
    std::string command = "exec 2>&1; exec timeout --kill-after=2 30 " + Quoted(RabbitMqCtl()) + " -s";
    for (const std::string& argument : arguments)
    {
        command += ' ' + Quoted(argument);
    }
    return Output("rabbitmqctl " + arguments.front(), command);
}

std::map<std::string, std::string> Broker::List(const std::string& listing,
                                                const std::vector<std::string>& columns) const
{
    std::vector<std::string> arguments{listing, "-p", BrokerOfTheEnvironment().virtualHost, "name"};
    arguments.insert(arguments.end(), columns.begin(), columns.end());
    std::map<std::string, std::string> list;
    std::istringstream rows(Control(arguments));
    for (std::string row; std::getline(rows, row);)
    {
        std::replace(row.begin(), row.end(), '\t', ' ');
        const std::size_t end = std::min(row.find(' '), row.size() - 1);
        list.emplace(row.substr(0, end), row.substr(end + 1));
    }
    return list;
}

std::string Broker::ConnectionProcess(std::string_view property) const
{
    std::istringstream rows(Control({"list_connections", "pid", "client_properties"}));
    for (std::string row; std::getline(rows, row);)
    {
        if (row.find(property) != std::string::npos)
        {
            return row.substr(0, row.find('\t'));
        }
    }
    throw std::runtime_error("the broker knows no connection with the property " + std::string(property));
}

testing::AssertionResult Broker::Holds(const std::string& queue, Messages expected) const
{
    std::string seen;
    const std::string wanted = std::to_string(expected.ready) + ' ' + std::to_string(expected.unacknowledged);
    const auto look = [&]
    {
        seen = List("list_queues", {"messages_ready", "messages_unacknowledged"})[queue];
        return seen == wanted;
    };
    if (Eventually(look))
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "expected " << expected << "; the last seen is \"" << seen << '"';
}

void BrokerWithQueue::SetUp()
{
    ASSERT_NO_FATAL_FAILURE(Broker::SetUp());
    connection = Connect();
    channel = OpenChannel(connection);
    queue = ExclusiveQueue(*channel);
}

void BrokerWithQueue::TearDown()
{
    channel.reset();
    connection.reset();
    if (!policy.empty())
    {
        Control({"clear_policy", "-p", BrokerOfTheEnvironment().virtualHost, policy});
    }
    Broker::TearDown();
}

std::vector<std::string> BrokerWithQueue::Drain()
{
    channel->Publish("", queue, "last", 0, {});
    Inbox inbox;
    const std::string tag = channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);
    EXPECT_TRUE(RunUntil(*connection, [&] { return !inbox.bodies.empty() && inbox.bodies.back() == "last"; }));
    channel->Unsubscribe(tag);
    return inbox.bodies;
}

void BrokerWithQueue::DeadLetter(const std::string& from, const std::string& to)
{
    policy = Name("policy");
    Control({"set_policy", "-p", BrokerOfTheEnvironment().virtualHost, "--apply-to", "queues", policy, "^" + from + "$",
             R"({"dead-letter-exchange": "", "dead-letter-routing-key": ")" + to + "\"}"});
}

std::string BrokerWithQueue::Exchange(std::string_view what, Amqp::ExchangeType type)
{
    std::string name = Name(what);
    channel->DeclareExchange(name, type, /*durable*/ false, /*internal*/ false, /*autoDelete*/ false);
    return name;
}

bool BrokerWithQueue::QueueExists(std::string_view name) const
{
    Noted refusal;
    Amqp::Channel(connection, refusal.Notifier()).DeclareQueue(name);
    return refusal.errors.empty();
}

bool BrokerWithQueue::ExchangeExists(std::string_view name) const
{
    Noted refusal;
    Amqp::Channel(connection, refusal.Notifier()).DeclareExchange(name);
    return refusal.errors.empty();
}

std::string Output(const std::string& name, const std::string& command)
{
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
    {
        throw std::runtime_error("cannot start " + name);
    }
    std::string output;
    char chunk[4096];
    while (const std::size_t size = std::fread(chunk, 1, sizeof chunk, pipe))
    {
        output.append(chunk, size);
    }
    if (pclose(pipe) != 0)
    {
        throw std::runtime_error(name + " failed: " + output);
    }
    return output;
}

bool Eventually(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + longestWait;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

bool RunUntil(const Amqp::Connection& connection, const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + longestWait;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end || !connection.Run(50ms).value_or(true))
        {
            return condition();
        }
    }
    return true;
}
