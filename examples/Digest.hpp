// The SHA-256 of a block of bytes as text.
#pragma once

#include <amqp/Hash.hpp>

#include <cstdio>
#include <string>
#include <string_view>

inline std::string Digest(std::string_view bytes)
{
    std::string text;
    for (const unsigned char byte : Amqp::Hash::Sha<256>(bytes))
    {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}
