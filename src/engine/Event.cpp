#include "engine/Event.hpp"

#include "values/Bytes.hpp"

#include <cstring>
#include <new>

namespace Amqp
{

namespace
{

constexpr std::size_t poolPage = 512; // room for most deliveries with their properties

// Larger bodies are rare. Free their memory instead of keeping it for the next event.
constexpr std::size_t mostSpare = std::size_t{1} << 20;

} // namespace

KeptMemory::KeptMemory(Spare& spare) : place(spare)
{
    init_amqp_pool(&pool, poolPage);
}

KeptMemory::~KeptMemory()
{
    empty_amqp_pool(&pool);
}

void KeptMemory::GiveBack::operator()(KeptMemory* memory) const
{
    if (memory->place || memory->body.Capacity() > mostSpare)
    {
        delete memory;
        return;
    }
    recycle_amqp_pool(&memory->pool);
    memory->body.Clear();
    memory->place.reset(memory);
}

KeptMemory::Handle KeptMemory::From(Spare& place)
{
    Spare memory = place ? std::move(place) : std::make_unique<KeptMemory>(place);
    return Handle(memory.release());
}

amqp_bytes_t KeptMemory::Copy(std::string_view octets)
{
    amqp_bytes_t copy{};
    amqp_pool_alloc_bytes(&pool, octets.size(), &copy);
    if (copy.bytes != nullptr)
    {
        std::memcpy(copy.bytes, octets.data(), octets.size());
    }
    return copy;
}

bool KeptMemory::Copy(amqp_method_t& method, std::vector<char>& scratch)
{
    const int size = amqp_encode_method(method.id, method.decoded, {scratch.size(), scratch.data()});
    if (size < 0)
    {
        return false;
    }
    const amqp_bytes_t encoded = Copy({scratch.data(), static_cast<std::size_t>(size)});
    return (encoded.bytes != nullptr || size == 0) &&
           amqp_decode_method(method.id, &pool, encoded, &method.decoded) == AMQP_STATUS_OK;
}

const amqp_basic_properties_t* KeptMemory::Copy(amqp_bytes_t& encoded)
{
    encoded = Copy(ToView(encoded));
    void* decoded = nullptr;
    const bool copied = encoded.bytes != nullptr &&
                        amqp_decode_properties(AMQP_BASIC_CLASS, &pool, encoded, &decoded) == AMQP_STATUS_OK;
    return copied ? static_cast<const amqp_basic_properties_t*>(decoded) : nullptr;
}

bool Event::Keep(KeptMemory::Spare& place, std::vector<char>& scratch)
{
    if (kept)
    {
        return true;
    }
    auto memory = KeptMemory::From(place);
    amqp_method_t itsMethod = method;
    if (kind != Kind::Stray && !memory->Copy(itsMethod, scratch))
    {
        return false;
    }
    if (properties != nullptr)
    {
        amqp_bytes_t encoded = encodedProperties;
        const amqp_basic_properties_t* const decoded = memory->Copy(encoded);
        if (decoded == nullptr || !memory->body.Append(body, body.size()))
        {
            return false;
        }
        properties = decoded;
        encodedProperties = encoded;
        body = memory->body.View();
    }
    method = itsMethod;
    kept = std::move(memory);
    lease.End();
    return true;
}

Octets Event::TakeBody()
{
    if (kept && body.data() == kept->body.View().data())
    {
        body = {};
        return std::move(kept->body);
    }
    Octets copy;
    if (!copy.Append(body, body.size()))
    {
        throw std::bad_alloc();
    }
    return copy;
}

} // namespace Amqp
