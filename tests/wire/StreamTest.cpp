// Publishing the contents of a file, and streams that cannot be published.
#include "Series.hpp"

#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace
{

// A file with this content, which goes with the object.
class File
{
public:
    explicit File(std::string_view content)
    {
        const int fd = mkstemp(path.data());
        if (fd < 0 || write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        {
            throw std::runtime_error("cannot write " + path);
        }
        close(fd);
    }

    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { unlink(path.c_str()); }

    std::ifstream Open() const { return std::ifstream(path); }

private:
    std::string path = testing::TempDir() + "stream-test-XXXXXX";
};

// A file that tells a size of 10 and gives no more than it holds, as those of /sys do.
class ShortOfTenBytes : public std::stringbuf
{
public:
    using std::stringbuf::stringbuf;

protected:
    pos_type seekoff(off_type offset, std::ios::seekdir origin, std::ios::openmode mode) override
    {
        return origin == std::ios::beg ? std::stringbuf::seekoff(offset, origin, mode) : pos_type(10);
    }
};

// Publishes the stream, and expects its contents as one plain message.
void ExpectOneMessage(std::ifstream& stream, std::size_t partSize, const std::string& content)
{
    ScriptedBroker broker(
        OnChannel([&](Dialogue& peer)
                  { peer.ExpectPublish(1, {.exchange = "x", .routingKey = "k"}, PlainProperties(), content); }));
    const Client client(broker);

    client.channel->Publish("x", "k", stream, partSize, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

void ExpectInvalid(std::ifstream& stream)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);

    EXPECT_THAT([&] { client.channel->Publish("x", "k", stream, 4, {}); },
                testing::ThrowsMessage<std::runtime_error>("Invalid stream state"));
    EXPECT_TRUE(client.noted.errors.empty());
}

} // namespace

TEST(Stream, IsSentFromItsFirstByteWhenItIsPositionedInItsMiddle)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.seekg(5);

    ExpectOneMessage(stream, 0, "0123456789");
}

TEST(Stream, IsSentFromItsFirstByteWhenPartOfItWasRead)
{
    const File file("0123456789\nsecond line\n");
    std::ifstream stream = file.Open();
    std::string line;
    std::getline(stream, line);
    ASSERT_EQ(line, "0123456789");

    ExpectOneMessage(stream, 0, "0123456789\nsecond line\n");
}

TEST(Stream, IsSentFromItsFirstByteWhenOnlyItsEndWasReached)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.seekg(0, std::ios::end);
    stream.peek();
    ASSERT_EQ(stream.rdstate(), std::ios::eofbit);

    ExpectOneMessage(stream, 0, "0123456789");
}

TEST(Stream, IsSentAsOneMessageWhenItFitsThePartSize)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();

    ExpectOneMessage(stream, 10, "0123456789");
}

TEST(Stream, IsSentWithEveryOctetUnchanged)
{
    std::string content("\0\r\n\n\x1A", 5);
    for (int octet = 255; octet >= 0; --octet)
    {
        content += static_cast<char>(octet);
    }
    const File file(content);
    std::ifstream stream = file.Open();

    ExpectOneMessage(stream, 0, content);
}

TEST(Stream, IsSentAsAnEmptyMessageWhenTheFileIsEmpty)
{
    const File file("");
    std::ifstream stream = file.Open();

    ExpectOneMessage(stream, 4, "");
}

TEST(Stream, IsSentWithZerosForTheBytesThatCannotBeRead)
{
    ShortOfTenBytes content("0123");
    std::ifstream stream;
    static_cast<std::ios&>(stream).rdbuf(&content);

    ExpectOneMessage(stream, 0, std::string("0123\0\0\0\0\0\0", 10));
}

TEST(Stream, IsSentAsASeriesOfPersistentPlainTextWhenItIsLargerThanThePartSize)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            const std::array<std::string, 3> parts{"0123", "4567", "89"};
            for (std::size_t index = 0; index < 3; ++index)
            {
                peer.ExpectPublish(1, {.exchange = "x", .routingKey = "k", .mandatory = true},
                                   {.contentType = "text/plain",
                                    .headers = PartHeaders(index, 3),
                                    .deliveryMode = std::uint8_t{2},
                                    .messageId = std::to_string(index + 1)},
                                   parts[index]);
            }
        }));
    const Client client(broker);
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.seekg(7);

    client.channel->Publish("x", "k", stream, 4, Unexpected());

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Stream, InAFailedStateThrowsInvalidStreamStateAndNothingIsSent)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.setstate(std::ios::failbit);

    ExpectInvalid(stream);
}

TEST(Stream, InABadStateThrowsInvalidStreamStateAndNothingIsSent)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.setstate(std::ios::badbit);

    ExpectInvalid(stream);
}

TEST(Stream, ReadBeyondItsEndThrowsInvalidStreamState)
{
    const File file("0123456789");
    std::ifstream stream = file.Open();
    stream.seekg(0, std::ios::end);
    stream.get();
    ASSERT_EQ(stream.rdstate(), std::ios::failbit | std::ios::eofbit);

    ExpectInvalid(stream);
}

TEST(Stream, OfAMissingFileThrowsInvalidStreamState)
{
    std::ifstream stream("/nonexistent/file");

    ExpectInvalid(stream);
}

TEST(Stream, ThatWasNeverOpenedThrowsInvalidStreamState)
{
    std::ifstream stream;
    ASSERT_TRUE(stream.good());

    ExpectInvalid(stream);
}

TEST(Stream, ThatCannotBeWoundBackThrowsInvalidStreamStateAndNothingIsSent)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    ASSERT_EQ(write(ends[1], "0123456789", 10), 10);
    std::ifstream stream("/dev/fd/" + std::to_string(ends[0]));
    ASSERT_TRUE(stream.is_open());

    ExpectInvalid(stream);
    close(ends[0]);
    close(ends[1]);
}
