// Frames and content: the fourteen basic properties, the content header, and the splitting of bodies into frames.
// Plain functions over plain values, no threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Field.hpp"
#include "Methods.hpp"

namespace Wire
{

constexpr std::uint8_t methodFrame = 1;
constexpr std::uint8_t headerFrame = 2;
constexpr std::uint8_t bodyFrame = 3;
constexpr std::uint8_t heartbeatFrame = 8;
constexpr std::uint8_t frameEnd = 0xCE;
constexpr std::uint32_t frameOverhead = 8; // type, channel, size and end octet
constexpr std::uint32_t defaultFrameMax = 131072;

struct Frame
{
    std::uint8_t type = methodFrame;
    std::uint16_t channel = 0;
    std::string payload{};

    bool operator==(const Frame&) const = default;
};

bool IsHeartbeat(const Frame& frame); // of the one form that is allowed

struct Properties
{
    std::optional<std::string> contentType{};
    std::optional<std::string> contentEncoding{};
    std::optional<Fields> headers{};
    std::optional<std::uint8_t> deliveryMode{};
    std::optional<std::uint8_t> priority{};
    std::optional<std::string> correlationId{};
    std::optional<std::string> replyTo{};
    std::optional<std::string> expiration{};
    std::optional<std::string> messageId{};
    std::optional<std::uint64_t> timestamp{};
    std::optional<std::string> type{};
    std::optional<std::string> userId{};
    std::optional<std::string> appId{};
    std::optional<std::string> clusterId{};

    // In protocol order, which is also the order of the flag bits from the highest down.
    template <typename Self, typename Each>
    static void Visit(Self& self, Each&& each)
    {
        each("content-type", self.contentType);
        each("content-encoding", self.contentEncoding);
        each("headers", self.headers);
        each("delivery-mode", self.deliveryMode);
        each("priority", self.priority);
        each("correlation-id", self.correlationId);
        each("reply-to", self.replyTo);
        each("expiration", self.expiration);
        each("message-id", self.messageId);
        each("timestamp", self.timestamp);
        each("type", self.type);
        each("user-id", self.userId);
        each("app-id", self.appId);
        each("cluster-id", self.clusterId);
    }
};

struct ContentHeader
{
    std::uint64_t bodySize = 0;
    Properties properties{};
};

std::string EncodeHeader(const ContentHeader& header);
ContentHeader DecodeHeader(std::string_view payload); // throws Malformed

// The header frame and the body frames, none for an empty body. A frame_max of 0 means no limit.
std::vector<Frame> ContentFrames(std::uint16_t channel, const Properties& properties, std::string_view body,
                                 std::uint32_t frameMax = defaultFrameMax);

std::string FrameBytes(const Frame& frame);
std::string FrameBytes(const std::vector<Frame>& frames);

// All bytes of one delivery: method frame, header frame, body frames.
std::string DeliveryBytes(std::uint16_t channel, const BasicDeliver& deliver, const Properties& properties,
                          std::string_view body, std::uint32_t frameMax = defaultFrameMax);

std::string Describe(const Properties& properties);
std::string Describe(const Frame& frame);

} // namespace Wire
