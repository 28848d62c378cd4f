// Writes the seeds of the targets anew, from the frames that a real RabbitMQ sends:
//
//   cmake --build --preset dev --target record-fuzz-seeds
//   scripts/broker run -- build/dev/tests/fuzz/record-fuzz-seeds tests/fuzz/seeds
//
// The seeds do not contain the login, because it names the broker's machine. The seeds of the target Inbound are
// constructed, because no broker sends them. One thread, beside the threads of the proxies.
#include "Frames.hpp"
#include "FullProperties.hpp"
#include "InboundSeeds.hpp"
#include "Session.hpp"
#include "support/BrokerAddress.hpp"
#include "support/Proxy.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

namespace
{

const std::string first = "fuzz.first";
const std::string second = "fuzz.second";

std::shared_ptr<Amqp::Connection> ConnectBy(std::uint16_t port)
{
    const BrokerAddress broker = BrokerOfTheEnvironment();
    return Fuzz::Connect(port, broker.user, broker.password);
}

// Writes the files of one target. Equal seeds are written once.
class Seeds
{
public:
    Seeds(const std::filesystem::path& root, const std::string& target) : folder(root / target)
    {
        std::filesystem::create_directories(folder);
    }

    void Add(const std::string& name, const std::string& octets)
    {
        if (known.insert(octets).second)
        {
            std::ofstream stream(folder / name, std::ios::binary);
            stream << octets;
            stream.exceptions(std::ios::failbit);
            stream.flush();
        }
    }

private:
    std::filesystem::path folder;
    std::set<std::string> known{};
};

struct Output
{
    Seeds tables;
    Seeds properties;
    Seeds loop;
    Seeds replies;
};

bool IsMethod(const Wire::Frame& frame, Wire::MethodId id)
{
    Wire::Reader reader(frame.payload);
    return frame.type == Wire::methodFrame && reader.Short() == id.classId && reader.Short() == id.methodId;
}

// Returns the frames behind the frame that is number `count` of those with this method.
Fuzz::Frames Behind(const Fuzz::Frames& frames, Wire::MethodId id, int count)
{
    for (auto frame = frames.begin(); frame != frames.end(); ++frame)
    {
        if (IsMethod(*frame, id) && --count == 0)
        {
            return {frame + 1, frames.end()};
        }
    }
    throw std::runtime_error("the broker did not say what it was expected to");
}

std::string TableOctets(const Wire::Fields& fields)
{
    Wire::Writer writer;
    writer.Table(fields);
    return writer.Bytes();
}

// Adds the properties and headers of all messages among the frames.
void AddContent(Output& output, const std::string& name, const Fuzz::Frames& frames)
{
    constexpr std::size_t fixedPart = 12; // the bytes of a content header before the properties
    int number = 0;
    for (const Wire::Frame& frame : frames)
    {
        if (frame.type != Wire::headerFrame)
        {
            continue;
        }
        const std::string file = name + "-" + std::to_string(++number);
        output.properties.Add(file, std::string("\x0F\xA0\x20", 3) + frame.payload.substr(fixedPart));
        if (const auto headers = Wire::DecodeHeader(frame.payload).properties.headers)
        {
            output.tables.Add(file, TableOctets(*headers));
        }
    }
}

void AddServerProperties(Output& output, const Fuzz::Frames& frames)
{
    auto fields = Wire::Decode<Wire::ConnectionStart>(frames.at(0).payload).serverProperties;
    std::erase_if(fields, [](const auto& field) { return field.first == "cluster_name"; }); // the machine's name
    output.tables.Add("server", TableOctets(fields));
}

struct Message
{
    std::string queue;
    std::string body;
    std::size_t partSize = 0;
    Amqp::MetaData properties{};
};

void Publish(Amqp::Channel& channel, const Message& message)
{
    Amqp::Envelope envelope;
    static_cast<Amqp::MetaData&>(envelope) = message.properties;
    envelope.SetBody(message.body.data(), message.body.size());
    channel.Publish("", message.queue, envelope, message.partSize, {});
}

void RecordLoop(Output& output, const std::string& name, const std::vector<Message>& messages)
{
    Amqp::Channel helper(ConnectBy(BrokerOfTheEnvironment().port), Amqp::Channel::OnErrorThrow);
    helper.DeclareQueue(first, false, false, false);
    helper.DeclareQueue(second, false, false, false);
    Wire::Proxy proxy(BrokerOfTheEnvironment().port);
    proxy.Record(Wire::Proxy::ToClient);
    {
        Fuzz::Listening listening(ConnectBy(proxy.Port()), first, second);
        for (const Message& message : messages)
        {
            Publish(helper, message);
        }
        constexpr std::size_t enough = 12; // the broker redelivers requeued messages again and again
        for (int ends = 0; ends < 2 && listening.Delivered() < enough;)
        {
            ends += listening.Step() ? 0 : 1; // the handler stopped the loop, or nothing arrived any more
        }
        if (name == "cancelled")
        {
            helper.DestroyQueue(first, false, false);
            listening.Step();
        }
    }
    const Fuzz::Frames frames = Fuzz::Split(proxy.Recorded(Wire::Proxy::ToClient));
    helper.DestroyQueue(first, false, false);
    helper.DestroyQueue(second, false, false);
    AddServerProperties(output, frames);
    const Fuzz::Frames said = Behind(frames, Wire::BasicConsumeOk::id, 2);
    AddContent(output, name, said);
    output.loop.Add(name, Wire::FrameBytes(said));
}

void RecordReplies(Output& output, const std::string& name, const Fuzz::Names& names)
{
    Wire::Proxy proxy(BrokerOfTheEnvironment().port);
    proxy.Record(Wire::Proxy::ToClient);
    Fuzz::CallAll(ConnectBy(proxy.Port()), names, [] {});
    const Fuzz::Frames said = Behind(Fuzz::Split(proxy.Recorded(Wire::Proxy::ToClient)), Wire::ConnectionOpenOk::id, 1);
    output.replies.Add(name, Wire::FrameBytes(said));
}

void RecordAll(Output& output)
{
    for (const char letter : std::string("anrudpqxst"))
    {
        const std::string body = letter + std::string(" letter");
        RecordLoop(output, std::string("letter-") + letter,
                   {{first, body}, {first, "b"}, {second, body}, {second, "c"}});
    }
    RecordLoop(output, "empty", {{first, ""}, {second, ""}});
    RecordLoop(output, "large", {{first, std::string(9000, 'l')}});
    RecordLoop(output, "parts", {{first, std::string(30, 'p'), 10}, {second, std::string(25, 'a'), 10}});
    RecordLoop(output, "properties", {{first, "full", 0, Fuzz::FullProperties(BrokerOfTheEnvironment().user)}});
    RecordLoop(output, "cancelled", {{first, "once"}});
    const std::string deadLetter = RabbitMqCtl() +
                                   " -q set_policy fuzz '^fuzz.first$' '{\"dead-letter-exchange\":"
                                   "\"\",\"dead-letter-routing-key\":\"fuzz.second\"}' --apply-to queues";
    if (std::system(deadLetter.c_str()) != 0)
    {
        throw std::runtime_error("the policy was refused");
    }
    RecordLoop(output, "dead-letter",
               {{first, "n", 0, Fuzz::FullProperties(BrokerOfTheEnvironment().user)}, {first, "n"}});

    RecordReplies(output, "accepted", {});
    RecordReplies(output, "queue-refused", {.queue = "absent"});
    RecordReplies(output, "exchange-refused", {.exchange = "amq.refused"});
    RecordReplies(output, "source-refused", {.source = "absent"});
}

} // namespace

int main(int count, char** arguments)
try
{
    if (count != 2)
    {
        std::cerr << "usage: scripts/broker run -- record-fuzz-seeds FOLDER\n";
        return EXIT_FAILURE;
    }
    const std::filesystem::path root = arguments[1];
    Output output{{root, "DecodeTable"}, {root, "DecodeProperties"}, {root, "RunLoop"}, {root, "Replies"}};
    RecordAll(output);
    Seeds receiving(root, "Inbound");
    for (const auto& [name, octets] : Fuzz::InboundSeeds())
    {
        receiving.Add(name, octets);
    }
    return EXIT_SUCCESS;
}
catch (const std::exception& error)
{
    std::cerr << "record-fuzz-seeds: " << error.what() << '\n';
    return EXIT_FAILURE;
}
