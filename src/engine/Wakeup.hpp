// Ends a wait from another thread. The descriptor belongs to this object.
#pragma once

namespace Amqp
{

class Wakeup
{
public:
    /// @throws std::runtime_error  the system gives no descriptor.
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// From any thread: the descriptor can be read from now on.
    void Signal() const;
    /// It no longer can, however often it was signalled.
    void Clear() const;

    int Descriptor() const { return reading; }

private:
    int reading = -1;
    int writing = -1; // the same, where one descriptor does
};

} // namespace Amqp
