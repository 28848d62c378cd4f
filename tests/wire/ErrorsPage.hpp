// The page of errors, for the tests that compare it with what is caught.
#pragma once

#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <new>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace ErrorsPage
{

// What lies between two texts of the page, or behind the first one. Both have to be there.
inline std::string Section(const std::string& begin, const std::string& end = "")
{
    std::ifstream file(AMQP_ERRORS_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    const std::size_t from = page.find(begin);
    const std::size_t to = end.empty() ? page.size() : page.find(end, from);
    EXPECT_TRUE(from < to && to != std::string::npos) << begin << " ... " << end;
    return from < to ? page.substr(from, to - from) : "";
}

// What the groups of each place that matches are.
inline std::vector<std::vector<std::string>> AllMatches(const std::string& text, const std::string& pattern)
{
    const std::regex regex(pattern);
    std::vector<std::vector<std::string>> matches;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), regex); match != std::sregex_iterator(); ++match)
    {
        matches.emplace_back(std::next(match->begin()), match->end());
    }
    return matches;
}

// The exception of an error, by its name, and the text.
using Caught = std::pair<std::string, std::string>;

template <typename Exception>
bool Is(const std::exception& error)
{
    return dynamic_cast<const Exception*>(&error) != nullptr;
}

// What the action throws.
inline Caught CaughtFrom(const std::function<void()>& action)
{
    // Boost throws classes of its own that are derived from what they stand for.
    const std::vector<std::pair<std::string, bool (*)(const std::exception&)>> names{
        {"std::bad_function_call", Is<std::bad_function_call>},
        {"std::bad_variant_access", Is<std::bad_variant_access>},
        {"std::bad_alloc", Is<std::bad_alloc>},
        {"std::invalid_argument", Is<std::invalid_argument>},
        {"std::out_of_range", Is<std::out_of_range>},
        {"std::runtime_error", Is<std::runtime_error>},
    };
    try
    {
        action();
    }
    catch (const std::exception& error)
    {
        for (const auto& [name, is] : names)
        {
            if (is(error))
            {
                return {name, error.what()};
            }
        }
        return {"another exception", error.what()};
    }
    return {"no exception", ""};
}

// Whether the page has a row for this exception of another library. The texts there are those of one of them.
inline bool HasExceptionOfOtherLibrary(const Caught& caught)
{
    for (const auto& row :
         AllMatches(Section("## Exceptions of other libraries"), R"(\n\| `([^`]+)` \| `?([^|`]*)`? \|)"))
    {
#ifdef __GLIBCXX__
        const bool sameText = row.at(1) == caught.second;
#else
        const bool sameText = true;
#endif
        if (row.at(0) == caught.first && sameText)
        {
            return true;
        }
    }
    return false;
}

} // namespace ErrorsPage
