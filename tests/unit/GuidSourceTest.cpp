// What happens when the system has no random numbers to give. Stands in for the system's source of them, in an
// executable of its own.
#include <amqp/Guid.hpp>

#include <boost/uuid/entropy_error.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <sys/random.h>

#include "wire/ErrorsPage.hpp"

namespace
{

std::atomic<bool> failing = false;

using Source = ssize_t(void*, std::size_t, unsigned int);

} // namespace

ssize_t getrandom(void* buffer, std::size_t length, unsigned int flags)
{
    if (!failing)
    {
        static Source* const real = reinterpret_cast<Source*>(dlsym(RTLD_NEXT, "getrandom"));
        return real(buffer, length, flags);
    }
    errno = ENOSYS;
    return -1;
}

TEST(GuidSource, ThatFailsRaisesAnEntropyErrorUntilItWorksAgain)
{
    using boost::uuids::entropy_error;
    const auto make = [] { static_cast<void>(Amqp::Guid::New()); };
    EXPECT_NO_THROW(make()); // whatever is made once is made now

    failing = true;
    EXPECT_THAT(make, testing::Throws<entropy_error>(testing::Property(&entropy_error::errcode, ENOSYS)));
    EXPECT_THAT(make, testing::Throws<entropy_error>(testing::Property(&entropy_error::errcode, ENOSYS)));
    const auto caught = ErrorsPage::CaughtFrom(make);
    failing = false;

    EXPECT_EQ(caught.first, "std::runtime_error");
    EXPECT_TRUE(ErrorsPage::HasExceptionOfOtherLibrary({"boost::uuids::entropy_error", caught.second}))
        << caught.second;
    EXPECT_NE(Amqp::Guid::New(), Amqp::Guid::New());
}
