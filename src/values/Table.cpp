#include <amqp/Table.hpp>

#include <utility>

namespace Amqp
{

Table::Table() = default;

Table::Table(const Table& other) = default;

Table::~Table() = default;

Table& Table::operator=(const Table& other)
{
    // Copied before anything is given up: `other` may be an entry of this table.
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
    // The empty key is let in here, unlike above. The copy is made before the map is touched, so that a table
    // moved into itself adds what it held, not a half-changed map.
    return entries.try_emplace(std::string(key), FieldValue(std::as_const(value))).second;
}

bool Table::Remove(std::string_view key)
{
    return entries.erase(std::string(key)) != 0;
}

} // namespace Amqp
