// Where the broker of the tests is. The environment says so, and scripts/broker sets it. Plain values; each function
// reads the environment anew, since a test may start a broker of its own.
#pragma once

#include <string>

#include <sys/types.h>

struct BrokerAddress
{
    std::string host = "127.0.0.1";
    unsigned short port = 5672;
    std::string user = "guest";
    std::string password = "guest";
    std::string virtualHost = "/";
};

// Each throws std::runtime_error, which names the variable, if one is missing or malformed.
BrokerAddress BrokerOfTheEnvironment(); // AMQP_HOST, AMQP_PORT, AMQP_USER, AMQP_PASSWORD, AMQP_VHOST
std::string RabbitMqCtl();              // RABBITMQCTL: the broker's control program
pid_t BrokerProcess();                  // AMQP_BROKER_PID: the broker itself
