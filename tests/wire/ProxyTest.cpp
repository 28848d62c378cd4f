// The tests' own proxy: what it carries, and what it does to it when told.
#include "support/Proxy.hpp"

#include <cerrno>
#include <optional>

#include <poll.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/RawClient.hpp"

using namespace Wire;
using namespace std::chrono_literals;

namespace
{

const SharedDeadline deadline{defaultDeadline};
const std::string words = "some octets";

class ProxyTest : public testing::Test
{
protected:
    void SetUp() override
    {
        client.emplace(proxy.Port());
        server.emplace(listener.Accept(deadline), deadline);
    }

    // What has arrived at the server when so much has, or nothing comes for a while.
    std::string AtServer(std::size_t octets)
    {
        std::string received;
        while (received.size() < octets && server->Receive(received, 5s) == Stream::Outcome::Ready)
        {
        }
        return received;
    }

    bool NothingAtServer()
    {
        std::string received;
        return server->Receive(received, 100ms) == Stream::Outcome::TimedOut && received.empty();
    }

    Listener listener;
    Proxy proxy{listener.Port()};
    std::optional<RawClient> client;
    std::optional<Stream> server;
};

} // namespace

TEST_F(ProxyTest, CarriesBothWays)
{
    const std::string much(1'000'000, 'x');
    client->Send(words);
    EXPECT_EQ(AtServer(words.size()), words);

    server->Send(much);
    EXPECT_TRUE(client->Receive(much.size()) == much);

    EXPECT_EQ(proxy.Carried(Proxy::ToServer), words.size());
    EXPECT_EQ(proxy.Carried(Proxy::ToClient), much.size());
}

TEST_F(ProxyTest, CarriesTheEndOfOneDirectionAndThenOfTheOther)
{
    server->Send(words);
    server->EndOutput();
    EXPECT_EQ(client->ReceiveAll(), words);
    client->Send(words);
    EXPECT_EQ(AtServer(words.size()), words);

    client->Close();

    std::string rest;
    EXPECT_EQ(server->Receive(rest), Stream::Outcome::Ended);
}

TEST_F(ProxyTest, HoldsBackWhatIsPausedAndLosesNothing)
{
    proxy.Pause(Proxy::ToServer);
    client->Send(words);
    EXPECT_TRUE(NothingAtServer());
    server->Send(words);
    EXPECT_EQ(client->Receive(words.size()), words); // the other direction goes on

    proxy.Resume(Proxy::ToServer);

    EXPECT_EQ(AtServer(words.size()), words);
}

TEST_F(ProxyTest, ForgetsWhatItSwallowsTheEndIncluded)
{
    proxy.Swallow(Proxy::ToServer);

    client->Send(words);
    server->Send(words);
    EXPECT_EQ(client->Receive(words.size()), words);
    client.reset();

    EXPECT_TRUE(NothingAtServer());
    EXPECT_EQ(proxy.Carried(Proxy::ToServer), 0U);
}

TEST_F(ProxyTest, SlowsDown)
{
    const std::string much(200'000, 'x');
    proxy.Limit(Proxy::ToServer, 500'000);
    const auto begin = std::chrono::steady_clock::now();

    client->Send(much);

    EXPECT_TRUE(AtServer(much.size()) == much);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 350ms); // 400 but for the burst at the beginning
}

TEST_F(ProxyTest, RecordsWhatItCarriesOneWayFromWhenItIsTold)
{
    const std::string much(200'000, 'x');
    server->Send("before");
    EXPECT_EQ(client->Receive(6), "before");
    EXPECT_EQ(proxy.Recorded(Proxy::ToClient), "");

    proxy.Record(Proxy::ToClient);
    server->Send(words);
    client->Send("the other way");
    EXPECT_EQ(client->Receive(words.size()), words);
    EXPECT_EQ(AtServer(13), "the other way");
    EXPECT_EQ(proxy.Recorded(Proxy::ToClient), words);
    proxy.Limit(Proxy::ToClient, 2'000'000); // piece by piece
    server->Send(much);
    EXPECT_TRUE(client->Receive(much.size()) == much);

    EXPECT_TRUE(proxy.Recorded(Proxy::ToClient) == words + much);
    EXPECT_EQ(proxy.Recorded(Proxy::ToServer), "");
}

TEST_F(ProxyTest, ClosesInOrderOnBothSides)
{
    client->Send(words);
    EXPECT_EQ(AtServer(words.size()), words);

    proxy.Close();

    std::string rest;
    EXPECT_EQ(server->Receive(rest), Stream::Outcome::Ended);
    EXPECT_EQ(client->ReceiveAll(), "");
    EXPECT_EQ(RawClient(proxy.Port()).Receive(0), ""); // a new one is accepted
}

TEST_F(ProxyTest, ResetsBothSides)
{
    Listener other;
    Proxy resetting(other.Port());
    const Descriptor raw = ConnectTo(resetting.Port());
    ASSERT_GE(raw.Get(), 0);
    const Descriptor accepted = other.Accept(deadline);
    ASSERT_GE(accepted.Get(), 0);

    resetting.Reset();

    for (const Descriptor* const socket : {&raw, &accepted})
    {
        char octet = 0;
        pollfd entry{socket->Get(), POLLIN, 0};
        ASSERT_EQ(::poll(&entry, 1, 5000), 1);
        EXPECT_EQ(::recv(socket->Get(), &octet, 1, 0), -1);
        EXPECT_EQ(errno, ECONNRESET);
    }
}

TEST_F(ProxyTest, EndsTheClientWhenTheServerResets)
{
    server->Reset();

    EXPECT_EQ(client->ReceiveAll(), "");
}

TEST_F(ProxyTest, EndsAClientForWhichThereIsNoServer)
{
    listener.Close();

    EXPECT_EQ(RawClient(proxy.Port()).ReceiveAll(), "");
}
