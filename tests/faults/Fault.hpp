// The ways in which a peer misbehaves. Plain values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Case.hpp"

namespace Faults
{

// Octets that come before a frame of the answer, or in its place.
struct Intrusion
{
    std::string name;
    std::string octets;
    bool replaces = false;
    char letter = 'B'; // for what damages the answer itself
};

// What can come before any frame of any answer. The names are those of the table in Expectations.cpp.
std::vector<Intrusion> Intrusions(const Operation& operation);

// Octets that are no frame, whatever is agreed.
std::vector<Intrusion> Garbage(const Operation& operation);

// The frame of the answer with its own octets damaged.
std::vector<Intrusion> Damages(const Piece& piece);

// All cases of an operation.
void AddCases(std::vector<Case>& all, const Operation& operation);

} // namespace Faults
