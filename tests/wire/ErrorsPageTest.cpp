// The page of errors against what really comes: the numbers of the categories, category and code of each of the
// library's own errors, rabbitmq-c's statuses and their texts, and the names of the broker's reply codes.
#include "ErrorsPage.hpp"
#include "Messaging.hpp"

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <string_view>

#include "connection/ErrorTranslation.hpp"

namespace
{

using Amqp::ErrorCode;
using ErrorsPage::AllMatches;
using ErrorsPage::Section;

const std::map<std::string, ErrorCode::Categories> categories{
    {"NoReply", ErrorCode::NoReply},
    {"Library", ErrorCode::Library},
    {"Server", ErrorCode::Server},
    {"ConnectionClosed", ErrorCode::ConnectionClosed},
    {"ChannelClosed", ErrorCode::ChannelClosed},
    {"Tcp", ErrorCode::Tcp},
    {"Ssl", ErrorCode::Ssl},
    {"Unexpected", ErrorCode::Unexpected},
};

std::string Described(const std::string& text, int category, int code)
{
    return text + ": category " + std::to_string(category) + ", code " + std::to_string(code);
}

std::string Described(const ErrorCode& error)
{
    return Described(error.what(), error.category, error.code);
}

// The three that the library makes by itself, each where it comes from; the number of the method is taken off.
std::set<std::string> OwnErrors()
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "any", .classId = 60, .methodId = 80});
            peer.OpenChannel(2);
            peer.Send(2, BasicCancel{.consumerTag = "t"});
        }));
    const Client client(broker);
    EXPECT_EQ(client.connection->Run(), true);
    const ErrorCode used = ErrorOf([&] { client.channel->DeclareQueue("q"); });
    const auto other = OpenChannel(client.connection);
    ErrorCode unexpected = ErrorOf([&] { client.connection->Run(); });
    unexpected.message.resize(unexpected.message.find_last_of(' ') + 1);

    EXPECT_EQ(client.noted.errors.size(), 1U);
    std::set<std::string> described{Described(used), Described(unexpected)};
    for (const ErrorCode& error : client.noted.errors)
    {
        described.insert(Described(error));
    }
    for (const int type : {0, 4})
    {
        amqp_rpc_reply_t reply{};
        reply.reply_type = static_cast<amqp_response_type_enum>(type);
        described.insert(Described(Amqp::FromReply(reply)));
    }
    return described;
}

// Every status that this rabbitmq-c has a text for, without its sign.
std::map<int, std::string> Statuses()
{
    const std::string_view none = amqp_error_string2(-0xFFFF);
    std::map<int, std::string> statuses;
    for (int status = 0; status <= 0xFFF; ++status)
    {
        if (const std::string_view text = amqp_error_string2(-status); text != none)
        {
            statuses.emplace(status, text);
        }
    }
    return statuses;
}

std::map<int, std::string> StatusesOf(const std::vector<std::vector<std::string>>& matches)
{
    std::map<int, std::string> statuses;
    for (const auto& match : matches)
    {
        EXPECT_TRUE(statuses.emplace(std::stoi(match.at(1)), match.at(0)).second) << match.at(1) << " is there twice";
    }
    return statuses;
}

} // namespace

TEST(ErrorsPage, HasTheNumberOfEachCategory)
{
    const std::string table = Section("| category | who failed |", "\n\n");

    std::map<std::string, ErrorCode::Categories> listed;
    for (const auto& match : AllMatches(table, "`([A-Z][A-Za-z]+)` ([0-9]+)"))
    {
        listed.emplace(match.at(0), static_cast<ErrorCode::Categories>(std::stoi(match.at(1))));
    }

    EXPECT_EQ(listed, categories);
}

TEST(ErrorsPage, HasCategoryAndCodeOfEachErrorOfTheLibraryItself)
{
    const std::string table = Section("| text | category, code |", "\n\n");

    std::set<std::string> listed;
    for (const auto& match : AllMatches(table, R"(\n\| `([^`]+)`[^|]*\| `([A-Za-z]+)`, ([0-9]+),)"))
    {
        listed.insert(Described(match.at(0), categories.at(match.at(1)), std::stoi(match.at(2))));
    }

    EXPECT_EQ(static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n')), listed.size() + 1) << "all rows";
    EXPECT_EQ(listed, OwnErrors());
}

TEST(ErrorsPage, HasTheStatusAndCategoryOfEachTextOfRabbitMqC)
{
    const std::string row = R"(\n\| `([^`]+)` \| ([0-9]+) \|)";
    const auto library = StatusesOf(AllMatches(Section("## Texts of rabbitmq-c", "Category `Ssl`"), row));
    const auto ssl = StatusesOf(AllMatches(Section("Category `Ssl`", "**Texts that should not"), row));
    // In prose, where a text and its number may be on two lines.
    auto hidden = StatusesOf(
        AllMatches(std::regex_replace(Section("**Texts that should not", "## Reply codes"), std::regex("\n"), " "),
                   R"(`([^`]+)` \(([0-9]+)\))"));
    ASSERT_FALSE(library.empty());
    ASSERT_FALSE(ssl.empty());

    for (const auto& [status, text] : library)
    {
        EXPECT_EQ(Amqp::FromStatus(-status).category, ErrorCode::Library) << text;
        EXPECT_EQ(Amqp::FromStatus(-status).code, status) << text;
    }
    for (const auto& [status, text] : ssl)
    {
        EXPECT_EQ(Amqp::FromStatus(-status).category, ErrorCode::Ssl) << text;
        EXPECT_EQ(Amqp::FromStatus(-status).code, status) << text;
    }
    EXPECT_EQ(Amqp::FromStatus(AMQP_STATUS_TCP_ERROR).category, ErrorCode::Tcp);
    hidden.emplace(-AMQP_STATUS_TCP_ERROR, amqp_error_string2(AMQP_STATUS_TCP_ERROR)); // said to be that of another
    EXPECT_STREQ(amqp_error_string2(AMQP_STATUS_TCP_ERROR), amqp_error_string2(AMQP_STATUS_SOCKET_ERROR));

    auto all = library;
    all.insert(ssl.begin(), ssl.end());
    all.insert(hidden.begin(), hidden.end());
    EXPECT_EQ(all.size(), library.size() + ssl.size() + hidden.size()) << "each once";
    EXPECT_EQ(all, Statuses());
}

TEST(ErrorsPage, HasEveryReplyCodeOfTheProtocolByItsName)
{
    std::map<int, std::string> known;
    for (int code = 300; code < 600; ++code)
    {
        // The name is AMQP_NO_ROUTE; octets of frames have names, too, and small numbers.
        if (std::string name = amqp_constant_name(code); name.starts_with("AMQP_"))
        {
            std::replace(name.begin(), name.end(), '-', '_');
            known.emplace(code, name.substr(5));
        }
    }

    const auto listed = AllMatches(Section("| code | of |", "\n\n"), R"(\n\| ([0-9]+) `([A-Z_]+)` )");
    std::map<int, std::string> codes;
    for (const auto& match : listed)
    {
        codes.emplace(std::stoi(match.at(0)), match.at(1));
    }

    EXPECT_EQ(codes, known);
}
