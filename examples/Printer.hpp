// Prints a field value: std::visit(Printer{""}, value). It is a std::variant, and there is an overload for each kind
// that is to be told apart, and one for all the numbers.
#pragma once

#include <amqp/FieldValue.hpp>
#include <amqp/Table.hpp>

#include <iostream>
#include <string>
#include <type_traits>
#include <variant>

struct Printer
{
    std::string indent;

    void operator()(bool value) const { std::cout << (value ? "true" : "false") << '\n'; }
    void operator()(const std::string& value) const { std::cout << '"' << value << "\"\n"; }
    template <typename Number>
    void operator()(Number value) const
    {
        // The plus makes an int of an octet, which would be printed as a character.
        std::cout << +value << ", " << sizeof value * 8 << " bits"
                  << (std::is_signed_v<Number> ? "\n" : " without sign\n");
    }
    void operator()(const Amqp::Array& array) const
    {
        std::cout << "array of " << array.Size() << '\n';
        for (const Amqp::FieldValue& value : array.Entries())
        {
            std::cout << indent << "- ";
            std::visit(Printer{indent + "  "}, value);
        }
    }
    void operator()(const Amqp::Table& table) const
    {
        std::cout << "table of " << table.Size() << '\n';
        for (const auto& [key, value] : table.Entries()) // in the order of the keys
        {
            std::cout << indent << key << ": ";
            std::visit(Printer{indent + "  "}, value);
        }
    }
};
