// What can be seen of the library without a broker: it links, and does something.
#include <amqp/Amqp.hpp>

#include <iostream>

int main()
{
    Amqp::Table headers;
    headers.Insert("id", Amqp::Guid::ToString(Amqp::Guid::New()));
    Amqp::Envelope message("Hello", Amqp::MetaData::Persistent);
    message.Headers(headers);
    std::cout << message.ViewBody(0, message.Size()) << ", with " << message.Headers().Size() << " header\n";
    return message.Headers().Size() == 1 ? 0 : 1;
}
