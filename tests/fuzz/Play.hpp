// Runs Amqp::Inbound beside its model. Both get the same bytes and commands, and have to agree all the time. Holds
// events as long as the commands want, and checks them again before they are destroyed. Owns the session, the model and
// the events. One thread.
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
    // Logs in. The bytes arrive together with the last frame of the login.
    explicit Play(std::string_view early);

    // Sends the bytes to the library, except the last ones if Command::SendLate has kept them back.
    void Send(std::string_view octets);
    void Do(Command command, std::size_t argument);
    bool HasLeft() const { return left; }

    // Sends the remaining bytes and ends the stream. Holds a few events until then, and checks them once more.
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
