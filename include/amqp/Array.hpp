/// @file
/// A sequence of field values. An array is a plain value: a copy has copies of every nested string, array and table.
/// Several threads may read an array as long as none changes it.
#pragma once

#include <amqp/Export.hpp>
#include <amqp/FieldValue.hpp>

#include <cstdint>
#include <vector>

namespace Amqp
{

class FieldDecoder;

/// An AMQP field array: field values in a given order, for message headers or client properties.
///
/// Elements are set when the array is made, and can then only be read. A received array holds elements of a single
/// alternative, that of its first element: the library drops elements of other alternatives.
class AMQP_EXPORT Array
{
    // What `{}` becomes without a conversion, and nothing else becomes.
    enum class NoElements;

public:
    /// Makes an empty array.
    Array();

    /// Makes an empty array from an empty list of elements: `Array({})`.
    explicit Array(NoElements /*none*/) : Array() {}

    /// Makes an array of the given elements, in their order: `Array({1, 2, 3})`, or from a vector.
    ///
    /// The elements may be of different alternatives. A receiver that uses this library keeps only those that share the
    /// alternative of the first. A list of one array makes that array itself. To nest an array, use a vector:
    /// `Array(std::vector<FieldValue>{Array({1, 2})})`.
    explicit Array(std::vector<FieldValue> elements);

    /// Takes over the elements, and leaves `other` empty.
    Array(Array&& other) noexcept;

    /// Copies every element, nested arrays and tables included.
    Array(const Array& other);

    /// Frees every element.
    ~Array();

    /// Takes over the elements, and leaves `other` valid, with unspecified elements.
    Array& operator=(Array&& other) noexcept;

    /// Copies every element, nested arrays and tables included.
    Array& operator=(const Array& other);

    /// Returns whether there are no elements.
    [[nodiscard]] bool Empty() const;

    /// Returns the number of elements.
    [[nodiscard]] std::uint64_t Size() const;

    /// Returns the elements in their order. The reference is valid until the array is assigned to or destroyed.
    [[nodiscard]] const std::vector<FieldValue>& Entries() const;

private:
    friend class FieldDecoder;

    std::vector<FieldValue> entries;
};

} // namespace Amqp

// An element may be a table, so whoever uses an array needs that definition, too.
#include <amqp/Table.hpp>
