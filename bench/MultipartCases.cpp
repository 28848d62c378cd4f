// Cases with large bodies in parts. To send, the side of rabbitmq-c computes a SHA-256, and publishes slices with the
// headers of parts. To receive, it keeps the deliveries until the last has arrived, and copies them into one block. The
// main thread runs the cases.
#include "Cases.hpp"
#include "Messages.hpp"

#include <openssl/evp.h>

#include <array>
#include <memory>

namespace Bench
{

namespace
{

constexpr std::string_view hashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// The properties of a part: the same in every part, except for the index.
class PartProperties
{
public:
    explicit PartProperties(std::size_t total)
    {
        headers[0] = {ToBytes("x-vnd.zorat.multipart"), {AMQP_FIELD_KIND_BOOLEAN, {}}};
        headers[0].value.value.boolean = 1;
        headers[1] = {ToBytes("x-vnd.zorat.multipart.hash"), {AMQP_FIELD_KIND_BYTES, {}}};
        headers[1].value.value.bytes = ToBytes(hashOfNothing);
        headers[2] = {ToBytes("x-vnd.zorat.multipart.index"), {AMQP_FIELD_KIND_U64, {}}};
        headers[3] = {ToBytes("x-vnd.zorat.multipart.total"), {AMQP_FIELD_KIND_U64, {}}};
        headers[3].value.value.u64 = total;
    }

    amqp_basic_properties_t Of(std::uint64_t index, std::string_view hash = hashOfNothing)
    {
        headers[1].value.value.bytes = ToBytes(hash);
        headers[2].value.value.u64 = index;
        amqp_basic_properties_t properties{};
        properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_DELIVERY_MODE_FLAG | AMQP_BASIC_HEADERS_FLAG;
        properties.content_type = ToBytes("text/plain");
        properties.delivery_mode = 2;
        properties.headers = {static_cast<int>(headers.size()), headers.data()};
        return properties;
    }

private:
    std::array<amqp_table_entry_t, 4> headers{};
};

std::string Sha256(std::string_view bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr);
    std::string text;
    for (unsigned i = 0; i < size; ++i)
    {
        constexpr std::string_view digits = "0123456789abcdef";
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

struct Sending
{
    Sending(const Site& site, std::size_t bodySize, std::size_t size)
        : library(site), bare(site.address), body(bodySize, 'b'), partSize(size),
          properties((bodySize + size - 1) / size)
    {
    }

    void WithBare()
    {
        const std::string hash = Sha256(body);
        std::uint64_t index = 0;
        for (std::size_t start = 0; start < body.size(); start += partSize)
        {
            bare.Publish("amq.fanout", "", properties.Of(index++, hash),
                         std::string_view(body).substr(start, partSize));
        }
    }

    Client library;
    BareClient bare;
    std::string body;
    std::size_t partSize;
    PartProperties properties;
};

Sides SendingParts(const Site& site, std::size_t bodySize, std::size_t partSize)
{
    const auto sending = std::make_shared<Sending>(site, bodySize, partSize);
    const auto withLibrary = [sending]
    { sending->library.channel->Publish("amq.fanout", "", std::string_view(sending->body), sending->partSize, {}); };
    return {Repeat(withLibrary, [sending] { sending->library.Sync(); }),
            Repeat([sending] { sending->WithBare(); }, [sending] { sending->bare.Sync(); })};
}

class Receiving
{
public:
    Receiving(const Site& site, std::size_t bodySize, std::size_t partSize)
        : library(site), bare(site.address), part(partSize, 'p'), total(bodySize / partSize), properties(total),
          filler(site.isBroker ? std::make_unique<BareClient>(site.address) : nullptr),
          queueOfLibrary(library.channel->DeclareQueue(false, true, true)), queueOfBare(bare.DeclareQueue())
    {
        library.channel->Subscribe(
            queueOfLibrary,
            [this](const Amqp::Envelope& whole)
            {
                arrived = whole.Size();
                return Amqp::Ack;
            },
            Amqp::Auto, false, false);
        bare.Subscribe(queueOfBare, true);
    }

    void FillLibrary() { Fill(queueOfLibrary); }
    void FillBare() { Fill(queueOfBare); }

    void WithLibrary()
    {
        Ask(library);
        for (arrived = 0; arrived == 0;)
        {
            library.connection->Run();
        }
        if (arrived != total * part.size())
        {
            throw std::runtime_error("the parts were not joined");
        }
    }

    void WithBare()
    {
        if (!filler)
        {
            bare.Publish("series", std::to_string(total), properties.Of(0), part);
        }
        std::vector<amqp_envelope_t> parts(total);
        for (amqp_envelope_t& received : parts)
        {
            bare.Consume(received);
        }
        const amqp_bytes_t whole = amqp_bytes_malloc(total * part.size());
        auto* end = static_cast<char*>(whole.bytes);
        for (amqp_envelope_t& received : parts)
        {
            const amqp_bytes_t& body = received.message.body;
            end = std::copy_n(static_cast<const char*>(body.bytes), body.len, end);
        }
        for (amqp_envelope_t& received : parts)
        {
            amqp_destroy_envelope(&received);
        }
        amqp_bytes_free(whole);
    }

private:
    void Ask(const Client& client)
    {
        if (filler)
        {
            return;
        }
        Amqp::Envelope first(part.size(), part.data(), Amqp::MetaData::Persistent);
        first.Headers().Insert("x-vnd.zorat.multipart", true);
        first.Headers().Insert("x-vnd.zorat.multipart.hash", hashOfNothing);
        first.Headers().Insert("x-vnd.zorat.multipart.index", std::uint64_t{0});
        first.Headers().Insert("x-vnd.zorat.multipart.total", std::uint64_t{total});
        client.channel->Publish("series", std::to_string(total), first, 0, {});
    }

    void Fill(const std::string& queue)
    {
        for (std::uint64_t index = 0; filler && index < total; ++index)
        {
            filler->Publish("", queue, properties.Of(index), part);
        }
        if (filler)
        {
            filler->Sync();
        }
    }

    Client library;
    BareClient bare;
    std::string part;
    std::size_t total;
    PartProperties properties;
    std::unique_ptr<BareClient> filler; // fills the queues of a broker; null with the peer
    std::string queueOfLibrary;
    std::string queueOfBare;
    std::uint64_t arrived = 0;
};

Sides ReceivingParts(const Site& site, std::size_t bodySize, std::size_t partSize)
{
    const auto receiving = std::make_shared<Receiving>(site, bodySize, partSize);
    return {{[receiving](std::size_t) { receiving->WithLibrary(); },
             [receiving](std::size_t) { receiving->FillLibrary(); }},
            {[receiving](std::size_t) { receiving->WithBare(); }, [receiving](std::size_t) { receiving->FillBare(); }}};
}

} // namespace

std::vector<Case> MultipartCases(std::size_t bodySize)
{
    constexpr std::size_t kibi = 1024;
    constexpr std::size_t rounds = 5;
    constexpr std::size_t small = 64 * kibi * kibi; // a larger body would have too many small parts
    std::vector<Case> cases;
    const auto add = [&cases](const char* way, std::size_t body, std::size_t part, double target, auto sidesOf)
    {
        cases.push_back({.group = "multipart",
                         .name = std::to_string(body / kibi / kibi) + " MiB in parts of " +
                                 std::to_string(part / kibi) + " KiB, " + way,
                         .target = target,
                         .prepare = [=](const Site& site) { return sidesOf(site, body, part); },
                         .count = 1,
                         .mostRounds = rounds,
                         .manySettings = true,
                         .longOnBroker = true});
    };
    add("send", small, kibi, 0.9, SendingParts);
    for (const std::size_t part : {64 * kibi, kibi * kibi, 16 * kibi * kibi})
    {
        add("send", bodySize, part, 0.9, SendingParts);
        add("receive", bodySize, part, 0.8, ReceivingParts);
    }
    return cases;
}

} // namespace Bench
