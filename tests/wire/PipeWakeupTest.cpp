// Tests the wakeup of systems without eventfd, compiled here under another name.
#include <sys/eventfd.h>
#undef EFD_NONBLOCK
#define Wakeup WakeupByPipe
#include "engine/Wakeup.cpp" // NOLINT(bugprone-suspicious-include)
#undef Wakeup

#include "WakeupCases.hpp"

INSTANTIATE_TYPED_TEST_SUITE_P(ByPipe, WakeupCases, Amqp::WakeupByPipe);
