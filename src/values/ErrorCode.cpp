#include <amqp/ErrorCode.hpp>

#include <utility>

namespace Amqp
{

ErrorCode::ErrorCode() : category(Success), code(0) {}

ErrorCode::ErrorCode(const std::string& text, Categories layer, unsigned short number)
    : message(text), category(layer), code(number)
{
}

ErrorCode::ErrorCode(const ErrorCode& other) = default;

// The message is exchanged, not moved: a moved-from std::string may hold anything, but a moved-from ErrorCode must have
// no message.
ErrorCode::ErrorCode(ErrorCode&& other) noexcept
    // The base has nothing to move. NOLINTNEXTLINE(cert-oop11-cpp,performance-move-constructor-init)
    : std::exception(other), message(std::exchange(other.message, {})), category(other.category), code(other.code)
{
}

ErrorCode::~ErrorCode() = default;

ErrorCode& ErrorCode::operator=(const ErrorCode& other) = default;

ErrorCode& ErrorCode::operator=(ErrorCode&& other) noexcept
{
    std::exception::operator=(other);
    message = std::exchange(other.message, {});
    category = other.category;
    code = other.code;
    return *this;
}

ErrorCode::operator bool() const
{
    return category != Success;
}

const char* ErrorCode::what() const noexcept
{
    return message.c_str();
}

} // namespace Amqp
