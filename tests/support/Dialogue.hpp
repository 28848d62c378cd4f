// One connection as its script sees it: what the client has to send, octet by octet, and what the broker answers.
// Lives on the stack of the thread that serves the connection and is used by that thread only. Every operation that
// does not go as written throws ScriptFailure, which the broker catches and reports.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Content.hpp"
#include "Login.hpp"
#include "Methods.hpp"
#include "Stream.hpp"

namespace Wire
{

struct ScriptFailure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class Dialogue
{
public:
    explicit Dialogue(Stream connection);
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;

    void StartTls(); // waits for the client's handshake; if its options say TLS, the broker calls this function first
    LoginSeen Login(const LoginScript& script = {});
    void OpenChannel(std::uint16_t channel);
    void CloseChannel(std::uint16_t channel, const ChannelClose& expected = {});
    void CloseConnection(const ConnectionClose& expected = {}); // and the end of the stream
    void ExpectProtocolHeader();

    template <typename Method>
    void Expect(std::uint16_t channel, const Method& method)
    {
        ExpectFrame({methodFrame, channel, Encode(method)}, Method::name);
    }

    template <typename Method>
    void Send(std::uint16_t channel, const Method& method)
    {
        SendNamed({methodFrame, channel, Encode(method)}, Method::name);
    }

    // Like Expect, for a method whose fields the script cannot or does not want to foretell.
    template <typename Method>
    Method Receive(std::uint16_t channel)
    {
        const Step step(*this, "receive channel " + std::to_string(channel) + " " + std::string(Method::name));
        const Frame frame = NextFrame(std::string(Method::name) + " with any fields");
        try
        {
            const Method method = Decode<Method>(frame.payload);
            if (frame.type == methodFrame && frame.channel == channel && Encode(method) == frame.payload)
            {
                return method;
            }
        }
        catch (const Malformed&)
        {
            // told below, together with the octets
        }
        Mismatch("channel " + std::to_string(channel) + " " + std::string(Method::name), Describe(frame));
    }

    void ExpectContent(std::uint16_t channel, const Properties& properties, std::string_view body);
    void ExpectPublish(std::uint16_t channel, const BasicPublish& publish, const Properties& properties,
                       std::string_view body);
    void SendContent(std::uint16_t channel, const Properties& properties, std::string_view body);
    void Deliver(std::uint16_t channel, const BasicDeliver& deliver, const Properties& properties,
                 std::string_view body);
    void Return(std::uint16_t channel, const BasicReturn& returned, const Properties& properties,
                std::string_view body);

    Frame ReadFrame();
    std::optional<Frame> ReadFrameOrEnd(); // nothing when the client has closed the connection
    void SendFrame(std::uint8_t type, std::uint16_t channel, std::string_view payload);
    void SendBytes(std::string_view bytes);

    void ExpectHeartbeat(); // the next frame is a heartbeat; everywhere else they are skipped
    void SendHeartbeat();
    std::size_t Heartbeats() const; // seen so far

    void ExpectSilence(std::chrono::milliseconds duration);
    void ExpectEnd();
    void ReadToEnd(); // whatever comes, even half a frame

    void EndOutput(); // the client reads the end of the stream, and can go on sending
    void CutOutput(); // like EndOutput, but over TLS without the close_notify that announces the end

    // Both close the connection at once; after that the script must not use it, and what the client does is ignored.
    void Abandon();
    void Reset();

    // The limit both sides agreed on, for splitting bodies; Login sets it from tune-ok.
    std::uint32_t FrameMax() const;
    void FrameMax(std::uint32_t octets);

    // After the last line of the script: the client may only close the connection.
    void AwaitEnd();

    // For failures that are not the dialogue's own, such as an exception out of the script.
    std::string Where() const;

private:
    // Names what the script is doing; a step inside another one does not count for itself.
    class Step
    {
    public:
        Step(Dialogue& owner, std::string text);
        ~Step();
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;

    private:
        Dialogue& dialogue;
        std::string outer;
    };

    void ExpectFrame(const Frame& expected, std::string_view what);
    void SendNamed(const Frame& frame, std::string_view what);
    void RequireSame(const Frame& expected, const Frame& actual);
    Frame NextFrame(std::string_view expected);
    Frame NextFrameOrHeartbeat(std::string_view expected);
    bool TakeFrame(Frame& frame);
    void Fill(std::string_view expected);
    void RequireOpen();
    [[noreturn]] void NotFinished(std::string_view expected, std::string_view actual);
    [[noreturn]] void Mismatch(std::string_view expected, std::string_view actual);

    Stream stream;
    std::string received;
    std::string current;
    std::size_t steps = 0;
    std::size_t depth = 0;
    std::size_t heartbeats = 0;
    std::uint32_t frameMax = defaultFrameMax;
    bool ended = false;
    bool abandoned = false;
};

} // namespace Wire
