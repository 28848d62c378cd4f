// Ends a wait from another thread. Owns its descriptors. Any thread may call Signal; everything else belongs to the
// connection's thread.
#pragma once

namespace Amqp
{

class Wakeup
{
public:
    /// @throws std::runtime_error  if the system has no descriptor left.
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Makes the descriptor readable. May be called from any thread.
    void Signal() const;
    /// Makes the descriptor unreadable again, however often Signal was called.
    void Clear() const;

    int Descriptor() const { return reading; }

private:
    int reading = -1;
    int writing = -1; // the same descriptor if the system has eventfd
};

} // namespace Amqp
