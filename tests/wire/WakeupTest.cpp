// Tests the wakeup of this system.
#include "engine/Wakeup.hpp"
#include "WakeupCases.hpp"

INSTANTIATE_TYPED_TEST_SUITE_P(OfTheSystem, WakeupCases, Amqp::Wakeup);
