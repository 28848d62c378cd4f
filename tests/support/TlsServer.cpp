// Runs OpenSSL between two memory buffers, and makes the certificate of the process.
#include "TlsServer.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace Wire
{

namespace
{

template <auto function>
struct FreeWith
{
    template <typename Type>
    void operator()(Type* resource) const
    {
        function(resource);
    }
};
using Key = std::unique_ptr<EVP_PKEY, FreeWith<&EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreeWith<&X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreeWith<&X509_EXTENSION_free>>;
using Context = std::unique_ptr<SSL_CTX, FreeWith<&SSL_CTX_free>>;

// Throws if a call returned zero, a negative number or a null pointer. Otherwise returns that value.
template <typename Result>
Result Require(Result result, const char* what)
{
    if (!(result > Result{}))
    {
        char reason[256];
        ERR_error_string_n(ERR_get_error(), reason, sizeof reason);
        throw TlsFailure(std::string(what) + ": " + reason);
    }
    return result;
}

Certificate SelfSigned(EVP_PKEY* key)
{
    constexpr long day = 86'400;
    Certificate certificate(Require(X509_new(), "X509_new"));
    X509* const raw = certificate.get();
    Require(X509_set_version(raw, X509_VERSION_3), "X509_set_version");
    Require(ASN1_INTEGER_set(X509_get_serialNumber(raw), 1), "ASN1_INTEGER_set");
    Require(X509_gmtime_adj(X509_getm_notBefore(raw), -day), "X509_gmtime_adj");
    Require(X509_gmtime_adj(X509_getm_notAfter(raw), day), "X509_gmtime_adj");
    const auto* const name = reinterpret_cast<const unsigned char*>("localhost");
    X509_NAME* const subject = X509_get_subject_name(raw);
    Require(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, name, -1, -1, 0), "X509_NAME_add_entry_by_txt");
    Require(X509_set_issuer_name(raw, subject), "X509_set_issuer_name");
    const Extension names(Require(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1"), "subjectAltName"));
    Require(X509_add_ext(raw, names.get(), -1), "X509_add_ext");
    Require(X509_set_pubkey(raw, key), "X509_set_pubkey");
    Require(X509_sign(raw, key, EVP_sha256()), "X509_sign");
    return certificate;
}

Context NewContext()
{
    Context context(Require(SSL_CTX_new(TLS_server_method()), "SSL_CTX_new"));
    const Key key(Require(EVP_EC_gen("P-256"), "EVP_EC_gen"));
    const Certificate certificate = SelfSigned(key.get());
    Require(SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION), "SSL_CTX_set_min_proto_version");
    Require(SSL_CTX_use_certificate(context.get(), certificate.get()), "SSL_CTX_use_certificate");
    Require(SSL_CTX_use_PrivateKey(context.get(), key.get()), "SSL_CTX_use_PrivateKey");
    // No connection resumes another. Under TLS 1.3 the client still receives tickets, and must read over them.
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    return context;
}

SSL_CTX* SharedContext()
{
    static const Context context = NewContext();
    return context.get();
}

} // namespace

void TlsServer::Free::operator()(SSL* owned) const
{
    SSL_free(owned);
}

TlsServer::TlsServer() : ssl(Require(SSL_new(SharedContext()), "SSL_new"))
{
    BIO* const arrived = Require(BIO_new(BIO_s_mem()), "BIO_new");
    SSL_set0_rbio(ssl.get(), arrived);
    BIO* const toSend = Require(BIO_new(BIO_s_mem()), "BIO_new");
    SSL_set0_wbio(ssl.get(), toSend);
    SSL_set_accept_state(ssl.get());
}

void TlsServer::Take(std::string_view arrived)
{
    std::size_t taken = 0;
    Require(BIO_write_ex(SSL_get_rbio(ssl.get()), arrived.data(), arrived.size(), &taken), "BIO_write_ex");
}

std::string TlsServer::ToSend()
{
    BIO* const output = SSL_get_wbio(ssl.get());
    std::string bytes(BIO_ctrl_pending(output), '\0');
    std::size_t read = 0;
    if (!bytes.empty())
    {
        Require(BIO_read_ex(output, bytes.data(), bytes.size(), &read), "BIO_read_ex");
    }
    return bytes;
}

bool TlsServer::Handshake()
{
    ERR_clear_error();
    const int result = SSL_do_handshake(ssl.get());
    Require(result == 1 || SSL_get_error(ssl.get(), result) == SSL_ERROR_WANT_READ, "TLS handshake");
    return result == 1;
}

bool TlsServer::Decrypt(std::string& data)
{
    const std::size_t before = data.size();
    char chunk[SSL3_RT_MAX_PLAIN_LENGTH];
    std::size_t count = 0;
    int result = 1;
    while (result == 1)
    {
        ERR_clear_error();
        result = SSL_read_ex(ssl.get(), chunk, sizeof chunk, &count);
        data.append(chunk, result == 1 ? count : 0);
    }
    const int error = SSL_get_error(ssl.get(), result);
    ended = error == SSL_ERROR_ZERO_RETURN;
    Require(ended || error == SSL_ERROR_WANT_READ, "TLS record");
    return data.size() > before;
}

bool TlsServer::Ended() const
{
    return ended;
}

void TlsServer::Encrypt(std::string_view data)
{
    ERR_clear_error();
    std::size_t written = 0;
    Require(SSL_write_ex(ssl.get(), data.data(), data.size(), &written), "SSL_write_ex");
}

void TlsServer::End()
{
    ERR_clear_error();
    SSL_shutdown(ssl.get());
}

} // namespace Wire
