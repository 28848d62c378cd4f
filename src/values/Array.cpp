#include <amqp/Array.hpp>

#include <utility>

namespace Amqp
{

Array::Array() = default;

Array::Array(std::vector<FieldValue> elements) : entries(std::move(elements)) {}

Array::Array(Array&& other) noexcept = default;

Array::Array(const Array& other) = default;

Array::~Array() = default;

Array& Array::operator=(Array&& other) noexcept = default;

Array& Array::operator=(const Array& other)
{
    // Copy first: `other` may be inside an element of this array, and the assignment destroys the elements.
    auto copy = other.entries;
    entries.swap(copy);
    return *this;
}

bool Array::Empty() const
{
    return entries.empty();
}

std::uint64_t Array::Size() const
{
    return entries.size();
}

const std::vector<FieldValue>& Array::Entries() const
{
    return entries;
}

} // namespace Amqp
