// Keeps threads on their processors, because moving between processors would add to the measured time. Called by each
// thread for itself.
#pragma once

namespace Bench
{

enum class Processor
{
    Client,
    Peer
};

// Keeps the calling thread on one processor, if the program may use at least two. The first call must be on the main
// thread, before the program has other threads.
void StayOnProcessor(Processor which);

} // namespace Bench
