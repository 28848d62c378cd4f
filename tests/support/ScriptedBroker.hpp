// A broker on loopback that plays scripts: the connection accepted first is served by the first script, the next one by
// the next. The broker owns its listening socket and its threads, one that accepts and one for each connection; the
// test's own thread creates it, and finishes it, which is where failures of the scripts are reported.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Dialogue.hpp"
#include "Stream.hpp"

namespace Wire
{

struct BrokerOptions
{
    bool tls = false; // each connection begins with the TLS handshake of a server
};

class ScriptedBroker
{
public:
    using Script = std::function<void(Dialogue&)>;

    // Listens on 127.0.0.1 before it returns. No more connections are taken than there are scripts.
    explicit ScriptedBroker(Script script, BrokerOptions options = {});
    explicit ScriptedBroker(std::vector<Script> scripts, BrokerOptions options = {});
    ~ScriptedBroker();
    ScriptedBroker(const ScriptedBroker&) = delete;
    ScriptedBroker& operator=(const ScriptedBroker&) = delete;

    std::uint16_t Port() const;

    // For every single wait, also the one going on; call it before the client is started.
    void Deadline(std::chrono::milliseconds limit);

    // Waits for the scripts to come to their end, then reports each failure to the test that is running.
    void Finish();

    // Waits likewise, but hands the failures over instead, so that they are not reported; empty when there are none.
    std::string TakeFailure();

private:
    void AcceptAll();
    void Serve(std::size_t index, Descriptor socket);
    void Fail(std::size_t index, const std::string& text);

    std::vector<Script> scripts;
    const BrokerOptions options;
    Listener listener;
    const std::uint16_t port;
    SharedDeadline deadline{defaultDeadline};
    std::mutex mutex;
    std::string failures;
    std::thread acceptor; // last: it uses all the others
};

} // namespace Wire
