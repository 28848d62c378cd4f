// Where threads run: one that wanders between processors is measured with its travels.
#pragma once

namespace Bench
{

enum class Processor
{
    Client,
    Peer
};

// Keeps the calling thread on one of the processors that the program may use, where there are two. To be called first
// on the main thread, before there are others.
void StayOnProcessor(Processor which);

} // namespace Bench
