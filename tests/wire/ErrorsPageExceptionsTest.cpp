// The page of errors against what is caught: exceptions that are not the library's own, and those of its own texts that
// are no std::runtime_error. What takes a function of the system's or of rabbitmq-c's to fail is compared where that
// function is replaced: see GuidSourceTest.cpp and MultipartOutOfMemoryTest.cpp.
#include "ErrorsPage.hpp"
#include "Series.hpp"

#include <map>

namespace
{

using ErrorsPage::Caught;
using ErrorsPage::CaughtFrom;

// Which exception the page gives for each of the library's own texts.
std::map<std::string, std::string> OwnTexts()
{
    const std::string table = ErrorsPage::Section("## The library's own texts", "`ErrorCode`:");
    std::map<std::string, std::string> types;
    for (const auto& match : ErrorsPage::AllMatches(table, R"(\n\| `([^`]+)` \| (?:`(std::[a-z_]+)` from )?)"))
    {
        types.emplace(match.at(0), match.at(1).empty() ? "std::runtime_error" : match.at(1));
    }
    return types;
}

void ExpectOwnText(const Caught& caught)
{
    const auto types = OwnTexts();
    EXPECT_EQ(types.contains(caught.second) ? types.at(caught.second) : "no row", caught.first) << caught.second;
}

void ExpectExceptionOfOtherLibrary(const Caught& caught, const std::string& type)
{
    EXPECT_EQ(caught.first, type);
    EXPECT_TRUE(ErrorsPage::HasExceptionOfOtherLibrary(caught)) << caught.first << ": " << caught.second;
}

// What Run throws for a returned message with this message id.
Caught CaughtFromReturn(const std::string& messageId)
{
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
            peer.Return(1, {}, {.messageId = messageId}, "body");
        }));
    const Client client(broker);
    client.channel->Publish("", "q", "body", 0, Unexpected());
    return CaughtFrom([&] { client.connection->Run(); });
}

} // namespace

TEST(ErrorsPage, HasTheExceptionOfTextsOfTheLibraryItself)
{
    ExpectOwnText(
        CaughtFrom([] { static_cast<void>(Amqp::Envelope("body", Amqp::MetaData::Persistent).ViewBody(5, 1)); }));
    ExpectOwnText(CaughtFrom([] { Amqp::Channel(nullptr, {}); }));
    ExpectOwnText(CaughtFromReturn("none"));
    ExpectOwnText(CaughtFromReturn("18446744073709551616"));
}

TEST(ErrorsPage, HasTheExceptionOfATextThatIsNoGuid)
{
    ExpectExceptionOfOtherLibrary(CaughtFrom([] { static_cast<void>(Amqp::Guid::FromString(std::string("none"))); }),
                                  "std::runtime_error");
}

TEST(ErrorsPage, HasTheExceptionOfAnEmptyHandler)
{
    ScriptedBroker broker(OnConsumer([](Dialogue& peer) { peer.Deliver(1, {.consumerTag = "1/1"}, {}, "body"); }));
    const Client client(broker);
    client.channel->Subscribe("q", {}, Amqp::None, false, false);

    ExpectExceptionOfOtherLibrary(CaughtFrom([&] { client.connection->Run(); }), "std::bad_function_call");
}

TEST(ErrorsPage, HasTheExceptionOfAHashThatIsNoText)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender) {
            sender.Deliver({.headers = {{flagHeader, Bool(true)}, {hashHeader, UInt64(1)}}, .body = "part"});
        }));
    const Receiver receiver(broker);

    ExpectExceptionOfOtherLibrary(CaughtFrom([&] { receiver.connection->Run(); }), "std::bad_variant_access");
}
