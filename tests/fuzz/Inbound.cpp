// Any frames on any channels for Amqp::Inbound. The events have to be those of a simple model, and have to show the
// same whenever the target reads them. The input also says when the target reads, and what it does with events. These
// commands are in frames of a type of their own, which are not sent. One thread.
#include "Frames.hpp"
#include "Fuzz.hpp"
#include "Handshake.hpp"
#include "Play.hpp"

#include <algorithm>
#include <string>
#include <string_view>

namespace
{

std::size_t BeforeCommands(std::string_view input)
{
    std::size_t first = input.size();
    Fuzz::EachFrame(input,
                    [&first](std::size_t begin, const Wire::Frame& frame)
                    {
                        if (frame.type == Fuzz::commandFrame)
                        {
                            first = std::min(first, begin);
                        }
                    });
    return first;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    if (size > Fuzz::longestInput)
    {
        return 0;
    }
    const std::string input(reinterpret_cast<const char*>(octets), size);
    std::size_t sent = BeforeCommands(input);
    Fuzz::Play play(std::string_view(input).substr(0, sent));
    const auto run = [&](std::size_t begin, const Wire::Frame& frame)
    {
        if (frame.type != Fuzz::commandFrame || play.HasLeft())
        {
            return;
        }
        play.Send(std::string_view(input).substr(sent, begin - sent));
        sent = begin + Wire::frameOverhead + frame.payload.size();
        for (const char octet : frame.payload)
        {
            const auto [command, argument] = Fuzz::Decode(octet);
            play.Do(command, argument);
        }
    };
    Fuzz::EachFrame(input, run);
    if (!play.HasLeft())
    {
        play.Send(std::string_view(input).substr(sent));
        play.End();
    }
    return 0;
}
