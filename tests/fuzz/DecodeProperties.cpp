// Properties from the wire: rabbitmq-c decodes the bytes, and the library converts the properties to its own and back.
// Before sending, the library decides whether properties fit a frame; rabbitmq-c has to agree. One thread.
//
// The first three bytes are not properties. They say how long a header, and how long a string, the target adds.
#include "Fuzz.hpp"
#include "support/Pool.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "unit/Properties.hpp"
#include "values/PropertiesCodec.hpp"

namespace
{

// What the smallest legal frame leaves for properties: 4096 less 8 for the frame and 12 for the content header.
constexpr std::size_t smallestRoom = 4076;
constexpr std::size_t ample = std::size_t{1} << 18;

// Lets rabbitmq-c write the properties into the room. Returns the number of bytes, or a negative status if they do not
// fit.
int Write(const Amqp::EncodedProperties& properties, std::vector<char>& room)
{
    amqp_basic_properties_t raw = properties.value;
    return amqp_encode_properties(AMQP_BASIC_CLASS, &raw, Wire::AsBytes(room));
}

void CheckRoom(const Amqp::MetaData& metaData)
{
    const Amqp::EncodedProperties properties = Amqp::EncodeProperties(metaData);
    static std::vector<char> large(ample); // made once, because nothing reads the content
    const int size = Write(properties, large);
    const bool encodable = Amqp::CheckEncodable(properties.value, ample) == AMQP_STATUS_OK;
    Fuzz::Require(!encodable || size >= 0, "rabbitmq-c writes what the library takes for sendable");
    if (!encodable)
    {
        return;
    }
    const auto least = std::max(smallestRoom, static_cast<std::size_t>(size));
    std::vector<char> exact(least);
    Fuzz::Require(Amqp::CheckEncodable(properties.value, least) == AMQP_STATUS_OK, "they fit where they just fit");
    Fuzz::Require(Write(properties, exact) == size, "rabbitmq-c writes them where they just fit");
    if (least > smallestRoom)
    {
        std::vector<char> narrow(least - 1);
        Fuzz::Require(Amqp::CheckEncodable(properties.value, least - 1) == AMQP_STATUS_TABLE_TOO_BIG,
                      "they do not fit where one octet is missing");
        Fuzz::Require(Write(properties, narrow) < 0, "rabbitmq-c refuses them where one octet is missing");
    }
}

Amqp::MetaData Read(std::vector<char>& octets, Wire::Pool& pool, bool& read)
{
    Amqp::MetaData metaData;
    void* raw = nullptr;
    read = amqp_decode_properties(AMQP_BASIC_CLASS, &pool.raw, Wire::AsBytes(octets), &raw) == AMQP_STATUS_OK;
    if (read)
    {
        Amqp::DecodeProperties(*static_cast<const amqp_basic_properties_t*>(raw), metaData);
    }
    return metaData;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    constexpr std::size_t prefix = 3;
    if (size < prefix)
    {
        return 0;
    }
    Wire::Pool pool;
    std::vector<char> received(octets + prefix, octets + size);
    bool read = false;
    Amqp::MetaData metaData = Read(received, pool, read);
    if (!read)
    {
        return 0;
    }

    std::vector<char> written(ample);
    const int length = Write(Amqp::EncodeProperties(metaData), written);
    Fuzz::Require(length >= 0, "what was read can be written");
    written.resize(static_cast<std::size_t>(length));
    const Amqp::MetaData second = Read(written, pool, read);
    Fuzz::Require(read, "what was written can be read");
    Fuzz::Require(Describe(second) == Describe(metaData),
                  "the properties come back:\n" + Describe(metaData) + "\nas\n" + Describe(second));

    CheckRoom(metaData);
    // Check what cannot arrive from the wire: headers that fill a frame, and a string that is too long by one byte.
    metaData.Headers().Insert("filler", std::string(std::size_t{octets[0]} << 8 | octets[1], 'x'));
    CheckRoom(metaData);
    metaData.Type(std::string(std::size_t{octets[2]} + 1, 'x'));
    CheckRoom(metaData);
    return 0;
}
