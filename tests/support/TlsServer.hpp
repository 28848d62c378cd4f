// The broker's side of one TLS connection, without its socket: bytes of the client go in, bytes for the client come
// out, and its owner moves both. All of a process share one self-signed certificate, which no client trusts. Used by
// one thread at a time.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <openssl/types.h>

namespace Wire
{

// The client broke the protocol, or refused to go on.
struct TlsFailure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class TlsServer
{
public:
    TlsServer();

    void Take(std::string_view arrived); // from the client, in any slices
    std::string ToSend();                // to the client, after each of the functions below

    bool Handshake(); // returns whether the handshake is complete; otherwise it needs more from the client
    bool Decrypt(std::string& data); // appends what can be decrypted, and returns whether there was any
    bool Ended() const;              // whether the client has sent close_notify
    void Encrypt(std::string_view data);
    void End(); // with close_notify; the client can still send

private:
    struct Free
    {
        void operator()(SSL* ssl) const;
    };

    std::unique_ptr<SSL, Free> ssl;
    bool ended = false;
};

} // namespace Wire
