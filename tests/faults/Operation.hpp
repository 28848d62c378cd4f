// What the library is asked to do while its peer misbehaves: the broker's part of the dialogue up to the answer, the
// answer frame by frame, and the application's part. Plain values, made once and read by all threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Client.hpp"
#include "support/Dialogue.hpp"

namespace Faults
{

// What the library waits for when a frame of the answer comes: it decides what becomes of any other frame.
enum class Awaiting
{
    Start,            // connection.start: nothing else is taken
    Tune,             // connection.tune, or connection.close
    Open,             // connection.open-ok
    Reply,            // the answer to a call on a channel
    Goodbye,          // the answer to channel.close or connection.close, in a destructor
    Event,            // whatever the run loop may find
    DeliveredContent, // the header of a delivery
    DeliveredBody,    // the body of a delivery
    ReturnedContent,  // the header of a returned message
    ReturnedBody      // the body of a returned message
};
constexpr std::size_t awaitings = 10;

// One frame of the answer.
struct Piece
{
    Wire::Frame frame;
    Awaiting awaiting;
    std::string seen{}; // what the application sees once this frame has come
    std::string wire{}; // what the library sends once it has come
};

struct Operation
{
    std::string name;
    std::uint16_t channel = 1;
    std::function<void(Wire::Dialogue&, std::uint16_t heartbeat)> prepare; // up to the request
    std::function<void(Wire::Dialogue&)> request;
    std::vector<Piece> answer;
    std::function<void(Wire::Dialogue&)> proceed{}; // what the broker does after the answer

    std::function<void(Client&)> setUp; // the application's side of prepare
    std::function<void(Client&)> act;
    std::function<void(Client&)> publish{}; // one message, over and over again to a silent peer

    std::string begun{};   // what the application has seen before the answer comes
    std::string refused{}; // what it sees after its channel was told that the broker refuses
    std::string goodbye = "1:channel.close 0:connection.close";
    std::string vainGoodbye = "1:channel.close 0:connection.close"; // of two channels the first finds out for both
    int frameMax = 131072;
    // Of the messages it publishes, how many at most the channel is told of when the peer has closed, or reset,
    // before.
    std::size_t toldWhenClosed = 0;
    std::size_t toldWhenReset = 0;
    bool ownFramesOnly = true; // the frames of the answer are all of one channel, and come one message at a time
    std::size_t stride = 1;    // between the octets at which the stream is cut
};

std::vector<Operation> AllOperations();

// Its parts, by subject.
void AddHandshake(std::vector<Operation>& all);
void AddCalls(std::vector<Operation>& all);
void AddPublishes(std::vector<Operation>& all);
void AddDeliveries(std::vector<Operation>& all);
void AddCloses(std::vector<Operation>& all);

// A message that the run loop receives, frame by frame: the method, the header, and what the body takes.
std::vector<Piece> MessagePieces(std::string method, const Wire::Properties& properties, std::string_view body,
                                 std::uint32_t frameMax, Awaiting content, Awaiting rest);
std::vector<Piece> PlainDelivery(const std::string& answered);

// An application with a consumer, which runs the loop until a message has come.
Operation Consuming(const std::string& name, Amqp::AcknowledgeMode mode, Amqp::Acknowledge verdict,
                    std::vector<Piece> answer, int frameMax = 131072);

// Steps that many operations share.
void PlayLogin(Wire::Dialogue& peer, std::uint16_t heartbeat, int frameMax = 131072);
void PlayChannel(Wire::Dialogue& peer, std::uint16_t heartbeat);
void PlayConsumer(Wire::Dialogue& peer, bool noAck);

} // namespace Faults
