#include <amqp/Table.hpp>

#include <utility>

namespace Amqp
{

Table::Table() = default;

Table::Table(const Table& other) = default;

Table::~Table() = default;

Table& Table::operator=(const Table& other)
{
    // Copy first: `other` may be inside an entry of this table, and the assignment destroys the entries.
    auto copy = other.entries;
    entries.swap(copy);
    return *this;
}

bool Table::Empty() const
{
    return entries.empty();
}

std::uint64_t Table::Size() const
{
    return entries.size();
}

const std::map<std::string, FieldValue>& Table::Entries() const
{
    return entries;
}

bool Table::Insert(std::string_view key, FieldValue&& value)
{
    return !key.empty() && entries.try_emplace(std::string(key), std::move(value)).second;
}

bool Table::Insert(std::string_view key, FieldValue& value)
{
    return !key.empty() && entries.try_emplace(std::string(key), value).second;
}

bool Table::Insert(std::string_view key, std::string_view value)
{
    return !key.empty() && entries.try_emplace(std::string(key), std::in_place_type<std::string>, value).second;
}

bool Table::Insert(std::string_view key, std::string value)
{
    return !key.empty() && entries.try_emplace(std::string(key), std::move(value)).second;
}

bool Table::Insert(std::string_view key, const Table& value)
{
    return &value != this && !key.empty() && entries.try_emplace(std::string(key), value).second;
}

bool Table::Insert(std::string_view key, Table&& value)
{
    // Unlike the other overloads, this one accepts the empty key. Copy before the map changes: if a table is inserted
    // into itself, the new entry must hold the former entries, not a half-changed map.
    return entries.try_emplace(std::string(key), FieldValue(std::as_const(value))).second;
}

bool Table::Remove(std::string_view key)
{
    return entries.erase(std::string(key)) != 0;
}

} // namespace Amqp
