// Finds the struct that belongs to a payload by its class and method numbers.
#include "Methods.hpp"

#include <utility>

namespace Wire
{

namespace
{

template <typename Method>
bool DescribeAs(MethodId id, std::string_view payload, std::string& text)
{
    if (!(Method::id == id))
    {
        return false;
    }
    try
    {
        text = DescribeMethod(Decode<Method>(payload));
    }
    catch (const Malformed& damage)
    {
        text = "damaged " + std::string(Method::name) + " (" + damage.what() + ") " + Hex(payload);
    }
    return true;
}

template <std::size_t... Index>
std::string DescribeAny(MethodId id, std::string_view payload, std::index_sequence<Index...>)
{
    std::string text;
    if (!(DescribeAs<std::tuple_element_t<Index, AllMethods>>(id, payload, text) || ...))
    {
        text = "unknown method " + std::to_string(id.classId) + "." + std::to_string(id.methodId) + " " + Hex(payload);
    }
    return text;
}

} // namespace

std::string DescribePayload(std::string_view payload)
{
    if (payload.size() < 4)
    {
        return "no method, octets " + Hex(payload);
    }
    Reader reader(payload);
    const std::uint16_t classId = reader.Short();
    const std::uint16_t methodId = reader.Short();
    return DescribeAny({classId, methodId}, payload, std::make_index_sequence<std::tuple_size_v<AllMethods>>());
}

} // namespace Wire
