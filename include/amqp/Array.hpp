/// @file
/// A sequence of field values. A plain value: copying copies every nested string, array and table. It may be
/// read from several threads as long as none changes it.
#pragma once

#include <amqp/Export.hpp>
#include <amqp/FieldValue.hpp>

#include <cstdint>
#include <vector>

namespace Amqp
{

class FieldDecoder;

/// An AMQP field array: field values in a given order, as they stand in a header or an argument.
///
/// An array is made whole and then only read. One that was received holds elements of a single alternative:
/// that of its first element; elements of other alternatives are dropped on receipt.
class AMQP_EXPORT Array
{
    // What `{}` becomes without a conversion, and nothing else becomes.
    enum class NoElements;

public:
    /// An empty array.
    Array();

    /// An empty array, as an empty list of elements makes it: `Array({})`.
    explicit Array(NoElements /*none*/) : Array() {}

    /// An array of the given elements, in their order: `Array({1, 2, 3})`, or from a vector.
    ///
    /// The elements may be of different alternatives; a receiver that uses this library keeps only those that
    /// share the alternative of the first. A list of one array is that array; nest it with a vector:
    /// `Array(std::vector<FieldValue>{Array({1, 2})})`.
    explicit Array(std::vector<FieldValue> elements);

    /// Takes over the elements; `other` is left empty.
    Array(Array&& other) noexcept;

    /// Copies every element, nested arrays and tables included.
    Array(const Array& other);

    /// Frees every element.
    ~Array();

    /// Takes over the elements; `other` is left valid, with unspecified elements.
    Array& operator=(Array&& other) noexcept;

    /// Copies every element, nested arrays and tables included.
    Array& operator=(const Array& other);

    /// True when there are no elements.
    [[nodiscard]] bool Empty() const;

    /// The number of elements.
    [[nodiscard]] std::uint64_t Size() const;

    /// The elements in their order; valid until the array is assigned to or destroyed.
    [[nodiscard]] const std::vector<FieldValue>& Entries() const;

private:
    friend class FieldDecoder;

    std::vector<FieldValue> entries;
};

} // namespace Amqp

// An element may be a table, so whoever can use an array needs that definition too.
#include <amqp/Table.hpp>
