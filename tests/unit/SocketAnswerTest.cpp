// What is concluded when the system answers less than it was asked for, as an older one or an emulator does. Stands in
// for getsockopt, in an executable of its own.
#include "connection/SocketOptions.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/socket.h>

int getsockopt(int /*socket*/, int /*level*/, int /*option*/, void* value, socklen_t* size) noexcept
{
    *size = 4;
    std::memset(value, 1, *size);
    return 0;
}

TEST(SocketAnswer, ThatIsTooShortTellsNothing)
{
    constexpr int any = 0;

    EXPECT_FALSE(Amqp::Socket::SinceReceived(any));
    EXPECT_FALSE(Amqp::Socket::Room(any));
    EXPECT_FALSE(Amqp::Socket::InputIsCrowded(any));
}
