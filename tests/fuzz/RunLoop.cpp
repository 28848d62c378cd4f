// Any bytes after a login and two subscriptions: the loop handles the frames, and ends no later than the stream. One
// thread.
#include "FedSocket.hpp"
#include "Fuzz.hpp"
#include "Handshake.hpp"
#include "Session.hpp"

#include <string>

int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    if (size > Fuzz::longestInput)
    {
        return 0;
    }
    static const std::string start = Fuzz::LoginReplies() + Fuzz::ListeningReplies();
    const std::string input(reinterpret_cast<const char*>(octets), size);
    const Fuzz::FedSocket broker(start + input);

    Fuzz::Listening listening(Fuzz::Connect(1, "guest", "guest"), "first", "second");
    // Each step takes at least one frame, except a step after Stop. A frame has at least eight bytes.
    listening.Run(size / Wire::frameOverhead * 2 + 8, [&broker] { broker.Drain(); });
    return 0;
}
