// The tests' own reader of the environment: what it makes of it, and what it refuses. The variables are the process's,
// so each test puts back what it found.
#include "support/BrokerAddress.hpp"

#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

class BrokerAddressTest : public testing::Test
{
protected:
    BrokerAddressTest()
    {
        Set("AMQP_HOST", "127.0.0.2");
        Set("AMQP_PORT", "65535");
        Set("AMQP_USER", "somebody");
        Set("AMQP_PASSWORD", "a secret");
        Set("AMQP_VHOST", "/there");
        Set("RABBITMQCTL", "/a folder/rabbitmqctl");
        Set("AMQP_BROKER_PID", "4711");
    }

    ~BrokerAddressTest() override
    {
        for (const auto& [name, value] : found)
        {
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        }
    }

    void Set(const char* name, const char* value)
    {
        const char* const before = std::getenv(name);
        found.try_emplace(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
        setenv(name, value, 1);
    }

    static std::string Refusal(const std::function<void()>& read)
    {
        try
        {
            read();
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "nothing was thrown";
    }

    static std::string RefusalOfAddress()
    {
        return Refusal([] { BrokerOfTheEnvironment(); });
    }

    static std::string Remedied(const std::string& refusal)
    {
        return refusal + "; \"scripts/broker run -- COMMAND\" starts a broker and sets it";
    }

private:
    std::map<std::string, std::optional<std::string>> found;
};

} // namespace

TEST_F(BrokerAddressTest, IsWhatTheEnvironmentSays)
{
    const BrokerAddress address = BrokerOfTheEnvironment();

    EXPECT_EQ(address.host, "127.0.0.2");
    EXPECT_EQ(address.port, 65535);
    EXPECT_EQ(address.user, "somebody");
    EXPECT_EQ(address.password, "a secret");
    EXPECT_EQ(address.virtualHost, "/there");
    EXPECT_EQ(RabbitMqCtl(), "/a folder/rabbitmqctl");
    EXPECT_EQ(BrokerProcess(), 4711);
}

TEST_F(BrokerAddressTest, IsRefusedByTheNameOfAVariableThatIsMissingOrEmpty)
{
    for (const std::string name : {"AMQP_HOST", "AMQP_PORT", "AMQP_USER", "AMQP_PASSWORD", "AMQP_VHOST"})
    {
        const std::string value = std::getenv(name.c_str());
        unsetenv(name.c_str());
        EXPECT_EQ(RefusalOfAddress(), Remedied(name + " is not set"));
        setenv(name.c_str(), "", 1);
        EXPECT_EQ(RefusalOfAddress(), Remedied(name + " is not set"));
        setenv(name.c_str(), value.c_str(), 1);
    }
    unsetenv("RABBITMQCTL");
    EXPECT_EQ(Refusal([] { RabbitMqCtl(); }), Remedied("RABBITMQCTL is not set"));
    unsetenv("AMQP_BROKER_PID");
    EXPECT_EQ(Refusal([] { BrokerProcess(); }), Remedied("AMQP_BROKER_PID is not set"));
}

TEST_F(BrokerAddressTest, IsRefusedWhenANumberIsNone)
{
    for (const std::string text : {"0", "65536", "-1", "5672x", " 5672", "amqp"})
    {
        Set("AMQP_PORT", text.c_str());
        EXPECT_EQ(RefusalOfAddress(), Remedied("AMQP_PORT is not a number from 1 to 65535: \"" + text + '"'));
    }
    for (const std::string text : {"0", "-1", "2147483648", "1 2"}) // a signal to such a process would reach others
    {
        Set("AMQP_BROKER_PID", text.c_str());
        EXPECT_EQ(Refusal([] { BrokerProcess(); }),
                  Remedied("AMQP_BROKER_PID is not a number from 1 to 2147483647: \"" + text + '"'));
    }
}
