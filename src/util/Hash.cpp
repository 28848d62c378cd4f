#include <amqp/Hash.hpp>

#include <openssl/evp.h>

namespace Amqp::Hash
{

namespace
{

template <std::size_t Bits>
constexpr const char* algorithm = nullptr;
template <>
constexpr const char* algorithm<160> = "SHA160";
template <>
constexpr const char* algorithm<224> = "SHA224";
template <>
constexpr const char* algorithm<256> = "SHA256";
template <>
constexpr const char* algorithm<384> = "SHA384";
template <>
constexpr const char* algorithm<512> = "SHA512";

} // namespace

template <std::size_t Bits>
std::array<unsigned char, Bits / 8> Sha(std::string_view data)
{
    std::array<unsigned char, Bits / 8> digest{};
    EVP_Q_digest(nullptr, algorithm<Bits>, nullptr, data.data(), data.size(), digest.data(), nullptr);
    return digest;
}

template AMQP_EXPORT std::array<unsigned char, 20> Sha<160>(std::string_view data);
template AMQP_EXPORT std::array<unsigned char, 28> Sha<224>(std::string_view data);
template AMQP_EXPORT std::array<unsigned char, 32> Sha<256>(std::string_view data);
template AMQP_EXPORT std::array<unsigned char, 48> Sha<384>(std::string_view data);
template AMQP_EXPORT std::array<unsigned char, 64> Sha<512>(std::string_view data);

} // namespace Amqp::Hash
