// The frames that docs/multipart.md shows in hex against those that go out.
#include "Messaging.hpp"

#include <fstream>
#include <regex>

namespace
{

// The octets of the section, in their order. What follows two spaces explains them.
std::string OctetsOfThePage()
{
    std::ifstream file(AMQP_MULTIPART_PAGE);
    const std::regex octets("^ *([0-9a-f]{2,}( [0-9a-f]{2,})*)(  .*)?$");
    std::string line;
    std::string text;
    bool inside = false;
    while (std::getline(file, line))
    {
        if (line.starts_with("## "))
        {
            inside = line == "## A part in hex";
        }
        if (std::smatch match; inside && std::regex_match(line, match, octets))
        {
            text += std::regex_replace(match.str(1), std::regex(" "), "");
        }
    }
    EXPECT_EQ(text.size() % 2, 0U);
    std::string bytes;
    for (std::size_t at = 0; at + 1 < text.size(); at += 2)
    {
        bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
    }
    return bytes;
}

} // namespace

TEST(MultipartPage, HasTheOctetsOfTheSecondOfThreeParts)
{
    std::string sent;
    {
        ScriptedBroker broker(OnChannel(
            [&](Dialogue& peer)
            {
                for (int part = 0; part < 3; ++part)
                {
                    for (int frame = 0; frame < 3; ++frame)
                    {
                        const std::string octets = FrameBytes(peer.ReadFrame());
                        sent += part == 1 ? octets : "";
                    }
                }
            }));
        const Client client(broker);
        client.channel->Publish("", "files", "0123456789", /*partSize*/ 4, {});
    }

    EXPECT_EQ(OctetsOfThePage(), sent);
}
