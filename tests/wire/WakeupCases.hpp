// What a wakeup does, whatever descriptors it uses.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "engine/Socket.hpp"

template <typename Waker>
class WakeupCases : public testing::Test
{
protected:
    bool IsSignalled() const
    {
        return Amqp::Socket::Await(nowhere, {}, wakeup.Descriptor(), std::chrono::milliseconds(0)).wakeup;
    }

    Waker wakeup;
    // A socket on which nothing happens: the descriptor of another wakeup.
    Waker silent;
    int nowhere = silent.Descriptor();
};

TYPED_TEST_SUITE_P(WakeupCases);

TYPED_TEST_P(WakeupCases, IsNotSignalledAtFirst)
{
    EXPECT_FALSE(this->IsSignalled());
    this->wakeup.Clear();
    EXPECT_FALSE(this->IsSignalled());
}

TYPED_TEST_P(WakeupCases, StaysSignalledUntilItIsCleared)
{
    this->wakeup.Signal();

    EXPECT_TRUE(this->IsSignalled());
    EXPECT_TRUE(this->IsSignalled());
    this->wakeup.Clear();
    EXPECT_FALSE(this->IsSignalled());
}

// The last count is larger than the room in a pipe.
TYPED_TEST_P(WakeupCases, IsClearedOnceHoweverOftenItWasSignalled)
{
    for (const int times : {1, 2, 63, 64, 65, 128, 100'000})
    {
        for (int i = 0; i < times; ++i)
        {
            this->wakeup.Signal();
        }
        EXPECT_TRUE(this->IsSignalled()) << times;

        this->wakeup.Clear();

        EXPECT_FALSE(this->IsSignalled()) << times;
    }
}

TYPED_TEST_P(WakeupCases, EndsAWaitFromAnotherThread)
{
    std::thread other(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            this->wakeup.Signal();
        });

    const auto ready = Amqp::Socket::Await(this->nowhere, {.input = true}, this->wakeup.Descriptor(), {});

    other.join();
    EXPECT_TRUE(ready.wakeup);
    EXPECT_FALSE(ready.input);
}

TYPED_TEST_P(WakeupCases, HasADescriptorThatOtherProgramsDoNotInheritAndThatItCloses)
{
    int descriptor = -1;
    {
        const TypeParam brief;
        descriptor = brief.Descriptor();
        EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }

    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TYPED_TEST_P(WakeupCases, IsRefusedWhenTheSystemHasNoDescriptor)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);

    EXPECT_THROW(TypeParam(), std::runtime_error);

    setrlimit(RLIMIT_NOFILE, &before);
}

REGISTER_TYPED_TEST_SUITE_P(WakeupCases, IsNotSignalledAtFirst, StaysSignalledUntilItIsCleared,
                            IsClearedOnceHoweverOftenItWasSignalled, EndsAWaitFromAnotherThread,
                            HasADescriptorThatOtherProgramsDoNotInheritAndThatItCloses,
                            IsRefusedWhenTheSystemHasNoDescriptor);
