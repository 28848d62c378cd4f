// The library's error as a value: what it holds, when it counts as an error, and how it is copied, moved and caught.
#include <cstdint>
#include <exception>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <amqp/ErrorCode.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Amqp;

namespace
{

// Longer than what a string keeps inside itself.
const char* const longMessage = "a message that is longer than what a string holds without an allocation";

ErrorCode Closed()
{
    return {longMessage, ErrorCode::ChannelClosed, 404};
}

void ExpectClosed(const ErrorCode& error, const std::string& message)
{
    EXPECT_EQ(error.message, message);
    EXPECT_EQ(error.what(), message);
    EXPECT_EQ(error.category, ErrorCode::ChannelClosed);
    EXPECT_EQ(error.code, 404);
}

} // namespace

TEST(ErrorCode, OfNothingIsSuccessConvertsToFalseAndSaysNothing)
{
    const ErrorCode error;

    EXPECT_FALSE(error);
    EXPECT_EQ(error.category, ErrorCode::Success);
    EXPECT_EQ(error.code, 0);
    EXPECT_STREQ(error.what(), "");
}

TEST(ErrorCode, StoresWhatItIsGiven)
{
    ExpectClosed(Closed(), longMessage);
    EXPECT_EQ(ErrorCode("", ErrorCode::Tcp, 65535).code, 65535);
}

TEST(ErrorCode, CategoriesHaveTheirFixedValues)
{
    EXPECT_THAT((std::vector<int>{ErrorCode::NoReply, ErrorCode::Success, ErrorCode::Library, ErrorCode::Server,
                                  ErrorCode::ConnectionClosed, ErrorCode::ChannelClosed, ErrorCode::Tcp, ErrorCode::Ssl,
                                  ErrorCode::Unexpected}),
                testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(sizeof(ErrorCode::Categories), sizeof(int));
}

TEST(ErrorCode, KeepsEveryCategory)
{
    for (int category = 0; category <= 8; ++category)
    {
        EXPECT_EQ(ErrorCode("x", ErrorCode::Categories(category), 0).category, category);
    }
}

TEST(ErrorCode, ConvertsToTrueInEveryCategoryButSuccess)
{
    for (int category = 0; category <= 8; ++category)
    {
        const ErrorCode error("x", ErrorCode::Categories(category), 1);

        EXPECT_EQ(static_cast<bool>(error), category != 1) << category;
    }
}

TEST(ErrorCode, OfCategory0ConvertsToTrue)
{
    EXPECT_TRUE(ErrorCode("x", ErrorCode::Categories(0), 1));
    EXPECT_TRUE(ErrorCode("", ErrorCode::NoReply, 0));
}

TEST(ErrorCode, OfSuccessConvertsToFalseWhateverElseItHolds)
{
    EXPECT_FALSE(ErrorCode("text", ErrorCode::Success, 500));
}

TEST(ErrorCode, ConvertsToBoolOnlyWhenAsked)
{
    EXPECT_FALSE((std::is_convertible_v<ErrorCode, bool>));
    EXPECT_TRUE((std::is_constructible_v<bool, ErrorCode>));
}

TEST(ErrorCode, CopyHoldsTheSameAndLeavesTheSource)
{
    const ErrorCode original = Closed();

    const ErrorCode constructed(original); // NOLINT(performance-unnecessary-copy-initialization): that is the subject
    ErrorCode assigned;
    assigned = original;

    ExpectClosed(constructed, longMessage);
    ExpectClosed(assigned, longMessage);
    ExpectClosed(original, longMessage);
}

TEST(ErrorCode, MovedFromKeepsCategoryAndCodeAndHasAnEmptyMessage)
{
    for (const std::string& message : {std::string("short"), std::string(longMessage)})
    {
        ErrorCode source(message, ErrorCode::ChannelClosed, 404);
        const ErrorCode constructed(std::move(source));
        ExpectClosed(constructed, message);
        ExpectClosed(source, ""); // NOLINT(bugprone-use-after-move): that is the subject

        ErrorCode other(message, ErrorCode::ChannelClosed, 404);
        ErrorCode assigned;
        assigned = std::move(other);
        ExpectClosed(assigned, message);
        ExpectClosed(other, ""); // NOLINT(bugprone-use-after-move): that is the subject
    }
}

TEST(ErrorCode, AssignedToItselfStays)
{
    ErrorCode error = Closed();
    ErrorCode& same = error;

    error = same;
    ExpectClosed(error, longMessage);

    error = std::move(same);
    ExpectClosed(error, longMessage);
}

TEST(ErrorCode, IsCaughtAsItself)
{
    try
    {
        throw Closed();
    }
    catch (const ErrorCode& error)
    {
        ExpectClosed(error, longMessage);
    }
}

TEST(ErrorCode, IsCaughtAsStdException)
{
    try
    {
        throw Closed();
    }
    catch (const std::exception& error)
    {
        EXPECT_STREQ(error.what(), longMessage);
        EXPECT_NE(dynamic_cast<const ErrorCode*>(&error), nullptr);
    }
}

TEST(ErrorCode, WhatIsNeverNull)
{
    ErrorCode source = Closed();
    const ErrorCode target(std::move(source));

    EXPECT_NE(ErrorCode().what(), nullptr);
    EXPECT_NE(source.what(), nullptr); // NOLINT(bugprone-use-after-move): that is the subject
    EXPECT_EQ(target.what(), target.message.data());
}
