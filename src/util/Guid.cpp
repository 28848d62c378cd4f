#include <amqp/Guid.hpp>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>

namespace Amqp::Guid
{

namespace
{

std::array<unsigned char, 16> ToArray(const boost::uuids::uuid& guid)
{
    std::array<unsigned char, 16> bytes{};
    std::copy(guid.begin(), guid.end(), bytes.begin());
    return bytes;
}

} // namespace

std::array<unsigned char, 16> New()
{
    // All threads may share one generator: it only reads the system's source of random numbers and keeps no state.
    static boost::uuids::random_generator_pure generator;
    return ToArray(generator());
}

std::string ToString(const std::array<unsigned char, 16>& guid)
{
    boost::uuids::uuid value{};
    std::copy(guid.begin(), guid.end(), value.begin());
    return boost::uuids::to_string(value);
}

std::array<unsigned char, 16> FromString(std::string_view text)
{
    return ToArray(boost::uuids::string_generator()(text.begin(), text.end()));
}

std::array<unsigned char, 16> FromString(const std::string& text)
{
    return FromString(std::string_view(text));
}

} // namespace Amqp::Guid
