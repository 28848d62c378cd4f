// Prints a table, case by case, and writes the same figures to a file for the plot. Owns the file. Belongs to the main
// thread.
#pragma once

#include "Cases.hpp"
#include "Measure.hpp"

#include <cstddef>
#include <fstream>
#include <optional>
#include <string>

namespace Bench
{

class Report
{
public:
    // Prints the head of the table. If the name of the file is empty, no file is written.
    explicit Report(const std::string& file);

    void Add(const Case& measured, const Comparison& onPeer, const std::optional<Comparison>& onBroker);
    void Finish() const;

private:
    // "met" or "missed", which is counted; empty without a target.
    const char* Verdict(double ratio, const std::optional<double>& target);

    std::ofstream figures;
    std::size_t met = 0;
    std::size_t missed = 0;
};

} // namespace Bench
