// Any bytes in reply to calls: each call returns, reports an error to the channel's notifier, or throws an ErrorCode.
// One thread.
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
    static const std::string start = Fuzz::LoginReplies();
    const std::string input(reinterpret_cast<const char*>(octets), size);
    const Fuzz::FedSocket broker(start + input);

    const auto connection = Fuzz::Connect(1, "guest", "guest");
    Fuzz::CallAll(connection, {}, [&broker] { broker.Drain(); });
    return 0;
}
