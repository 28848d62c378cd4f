// The receive step beside its model: both are given the same octets and commands, and have to agree all the time.
// Events are held as the commands want it, and looked at when they are let go. One thread.
#pragma once

#include "Commands.hpp"
#include "FedSocket.hpp"
#include "InboundModel.hpp"
#include "Session.hpp"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Inbound.hpp"
#include "engine/Session.hpp"

namespace Fuzz
{

class Play
{
public:
    // The octets come with the last ones of the login.
    explicit Play(std::string_view early);

    // The octets come to the peer's socket, but for those that were asked to be late.
    void Send(std::string_view octets);
    void Do(Command command, std::size_t argument);
    bool HasLeft() const { return left; }

    // The rest, with a few events held all the time, and then all of them looked at once more.
    void End();

private:
    struct Held
    {
        Amqp::Event event{};
        Expected expected{};
    };

    template <typename Take>
    int Persist(Take take) const;
    bool Next();
    bool NextUnparked();
    void TakeIn();
    void TakeAll();
    void Park(std::size_t index);
    void TakeParkedClose(std::size_t index);
    void TakeClose(std::size_t argument);
    void Keep(Held& kept);
    void TakeBody(Held& shorn);
    void Drop(std::size_t index);
    bool Hold(Held&& taken, int status, int expectedStatus);

    FedSocket broker;
    Amqp::Session session;
    Amqp::KeptMemory::Spare spare;
    std::vector<char> scratch = std::vector<char>(frameMax);
    Amqp::Inbound inbound{session};
    std::deque<Held> held;

    InboundModel model{frameMax};
    std::deque<Expected> parked;
    std::string pending;
    std::size_t late = 0;
    bool left = false;
};

} // namespace Fuzz
