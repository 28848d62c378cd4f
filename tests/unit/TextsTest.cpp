// Compares the library's own texts with the page of errors.
#include "wire/ErrorsPage.hpp"

#include <gmock/gmock.h>

#include "values/Texts.hpp"

TEST(ErrorsPage, HasEachTextOfTheLibraryItselfOnceAndNoOther)
{
    const std::string tables = ErrorsPage::Section("## The library's own texts", "## Texts of rabbitmq-c");

    // The first cell of a row begins with a text, and a note may follow. The header of each table is skipped.
    std::vector<std::string> listed;
    for (const auto& match : ErrorsPage::AllMatches(tables, R"(\n\| (?!text \|)`?([^`|]+))"))
    {
        listed.push_back(match.at(0));
    }

    // Each direction by itself: a failure then names the texts that only one of the two has.
    EXPECT_THAT(listed, testing::IsSubsetOf(Amqp::AllTexts()));
    EXPECT_THAT(Amqp::AllTexts(), testing::IsSubsetOf(listed));
}
