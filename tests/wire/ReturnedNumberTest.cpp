// How the number in the message id of a returned message is read, and what comes of one that is none.
#include "Messaging.hpp"

#include <stdexcept>

namespace
{

// Publishes a message, which takes number 1, and runs one step on a return with this message id. The channel is still
// registered afterwards, and the entry still pending unless the callback was called.
struct NumberedReturn
{
    explicit NumberedReturn(const std::optional<std::string>& messageId)
        : broker(OnChannel(
              [=](Dialogue& peer)
              {
                  peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
                  peer.Return(1, {}, {.messageId = messageId}, "body");
              })),
          client(broker)
    {
        client.channel->Publish("", "q", "body", 0, outbox.Callback());
    }

    std::optional<bool> Run() const { return client.connection->Run(); }

    Outbox outbox;
    ScriptedBroker broker;
    Client client;
};

template <typename Exception>
void ExpectThrown(const std::optional<std::string>& messageId, const char* text)
{
    const NumberedReturn session(messageId);
    try
    {
        session.Run();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const Exception& error)
    {
        EXPECT_STREQ(error.what(), text);
    }
    EXPECT_TRUE(session.outbox.returned.empty());
    EXPECT_TRUE(session.client.noted.errors.empty());
}

} // namespace

TEST(ReturnedNumber, ThatIsMissingIsAnInvalidArgument)
{
    ExpectThrown<std::invalid_argument>(std::nullopt, "invalid stoull argument");
    ExpectThrown<std::invalid_argument>("", "invalid stoull argument");
}

TEST(ReturnedNumber, ThatIsMalformedIsAnInvalidArgument)
{
    for (const char* const text : {"a1", "-", "+", " ", "- 1", "one"})
    {
        ExpectThrown<std::invalid_argument>(text, "invalid stoull argument");
    }
}

TEST(ReturnedNumber, ThatIsTooLargeIsOutOfRange)
{
    ExpectThrown<std::out_of_range>("18446744073709551616", "stoull argument out of range");
    ExpectThrown<std::out_of_range>(std::string(255, '9'), "stoull argument out of range");
}

TEST(ReturnedNumber, MayHaveLeadingBlanksASignAndTrailingText)
{
    for (const char* const text : {"1", " 1", "\t\n 1", "+1", "1x", "1 2", "0001", "1.5", "-18446744073709551615"})
    {
        const NumberedReturn session(text);

        EXPECT_EQ(session.Run(), true) << text;

        EXPECT_EQ(session.outbox.returned.size(), 1U) << text;
    }
}

TEST(ReturnedNumber, IsReadInBaseTen)
{
    for (const char* const text : {"0x1", "01b", "10"})
    {
        const NumberedReturn session(text);

        EXPECT_EQ(session.Run(), true) << text;

        EXPECT_EQ(session.outbox.returned.size(), std::string(text) == "01b" ? 1U : 0U) << text;
    }
}
