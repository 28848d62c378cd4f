// What programs have compiled into them and the library's symbols do not show: the values of the enumerations, the
// sizes of everything that programs make or inherit from, and where the members are that they read. Compiled by
// check-abi, on one platform. While version 1 goes on this is only added to: what stands here stays true.
#include <amqp/Amqp.hpp>

#include <cstddef>

namespace Amqp
{

static_assert(sizeof(Acknowledge) == 4 && Ack == 0 && Nack == 1 && Requeue == 2);
static_assert(sizeof(AcknowledgeMode) == 4 && None == 0 && Explicit == 1 && Auto == 2);
static_assert(sizeof(ExchangeType) == 4 && Direct == 0 && Fanout == 1 && Topic == 2 && Headers == 3);
static_assert(sizeof(MetaData::DeliveryType) == 1 && MetaData::NonPersistent == 1 && MetaData::Persistent == 2);
static_assert(sizeof(ErrorCode::Categories) == 4 && ErrorCode::NoReply == 0 && ErrorCode::Success == 1 &&
              ErrorCode::Library == 2 && ErrorCode::Server == 3 && ErrorCode::ConnectionClosed == 4 &&
              ErrorCode::ChannelClosed == 5 && ErrorCode::Tcp == 6 && ErrorCode::Ssl == 7 &&
              ErrorCode::Unexpected == 8);

static_assert(sizeof(AckStatus) == 40 && offsetof(AckStatus, exchange) == 0 && offsetof(AckStatus, routingKey) == 16 &&
              offsetof(AckStatus, replyCode) == 32);
// In the category's 16 bits before the code there is no member whose place could be asked for.
static_assert(sizeof(ErrorCode) == 48 && offsetof(ErrorCode, message) == 8 && offsetof(ErrorCode, code) == 42);

// Does not compile with one member more or less, wherever it is.
void HasThreeMembers(const AckStatus& status)
{
    [[maybe_unused]] const auto& [exchange, routingKey, replyCode] = status;
}

static_assert(sizeof(Array) == 24);
static_assert(sizeof(Batch) == 24);
static_assert(sizeof(Channel) == 88);
static_assert(sizeof(Connection) == 16);
static_assert(sizeof(Consumer) == 176);
static_assert(sizeof(Envelope) == 416);
static_assert(sizeof(FieldValue) == 56);
static_assert(sizeof(MetaData) == 400);
static_assert(sizeof(Producer) == 144);
static_assert(sizeof(Table) == 48);

} // namespace Amqp
