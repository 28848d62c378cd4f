// Any string: FromString either throws the documented error, or returns an identifier. ToString then returns the same
// digits, and FromString reads them as the same identifier. One thread.
#include "Fuzz.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include <amqp/Guid.hpp>

namespace
{

// Returns the digits alone, in lower case as ToString writes them.
std::string Digits(std::string_view text)
{
    std::string digits;
    for (const char character : text)
    {
        if (std::string_view("-{}").find(character) == std::string_view::npos)
        {
            digits += character >= 'A' && character <= 'F' ? static_cast<char>(character - 'A' + 'a') : character;
        }
    }
    return digits;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    // Copy the input to memory of exactly its size, so that the sanitizer finds a read past the end.
    const std::string text(reinterpret_cast<const char*>(octets), size);
    try
    {
        const auto guid = Amqp::Guid::FromString(std::string_view(text));
        const std::string written = Amqp::Guid::ToString(guid);
        Fuzz::Require(written.size() == 36, "the length of the text form");
        Fuzz::Require(Digits(written) == Digits(text), "the digits that were read are those that are written");
        Fuzz::Require(Amqp::Guid::FromString(written) == guid, "what was written is read as the same");
    }
    catch (const std::runtime_error& refusal)
    {
        Fuzz::Require(refusal.what() == std::string("invalid uuid string"), "the text of the refusal");
    }
    return 0;
}
