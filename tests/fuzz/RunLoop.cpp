// Any octets after an orderly start: the run loop handles what is a frame, and ends with the stream at the latest.
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
    // Each step takes a frame at least, but for the one that a handler stopped; a frame has eight octets at least.
    listening.Run(size / Wire::frameOverhead * 2 + 8, [&broker] { broker.Drain(); });
    return 0;
}
