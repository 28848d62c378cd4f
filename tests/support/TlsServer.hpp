// The broker's side of one TLS connection, without its socket. The owner passes in the client's bytes, and sends the
// bytes for the client. All connections of a process share one self-signed certificate, which no client trusts. Used by
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

    void Take(std::string_view arrived); // takes the client's bytes, cut anywhere
    std::string ToSend();                // returns bytes for the client; call it after each function below

    bool Handshake(); // returns whether the handshake is complete; otherwise it needs more bytes of the client
    bool Decrypt(std::string& data); // appends the data that can be decrypted; returns whether there was any
    bool Ended() const;              // returns whether the client has sent close_notify
    void Encrypt(std::string_view data);
    void End(); // sends close_notify; the client can still send

private:
    struct Free
    {
        void operator()(SSL* ssl) const;
    };

    std::unique_ptr<SSL, Free> ssl;
    bool ended = false;
};

} // namespace Wire
