#include "Report.hpp"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace Bench
{

namespace
{

std::string Number(double value, const char* unit = "")
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), value < 10 ? "%.2f%s" : "%.1f%s", value, unit);
    return text.data();
}

std::string Duration(double seconds)
{
    if (seconds < 1e-3)
    {
        return Number(seconds * 1e6, " us");
    }
    return seconds < 1 ? Number(seconds * 1e3, " ms") : Number(seconds, " s");
}

} // namespace

Report::Report(const std::string& file)
{
    if (!file.empty())
    {
        figures.open(file);
        figures << "group\tcase\tlibrary\trabbitmq-c\tratio\ttarget\ton a broker\n";
        if (!figures)
        {
            throw std::runtime_error("cannot write to " + file);
        }
    }
    std::printf("%-11s %-42s %10s %10s %7s %7s %-7s %7s\n", "", "", "library", "rabbitmq-c", "ratio", "target", "",
                "broker");
}

void Report::Add(const Case& measured, const Comparison& onPeer, const std::optional<Comparison>& onBroker)
{
    const std::string target = measured.target ? Number(*measured.target) : "-";
    const std::string broker = onBroker ? Number(onBroker->ratio) : "-";
    const char* verdict = "";
    if (measured.target)
    {
        const bool enough = onPeer.ratio >= *measured.target;
        verdict = enough ? "met" : "missed";
        ++(enough ? met : missed);
    }
    std::printf("%-11s %-42s %10s %10s %7s %7s %-7s %7s\n", measured.group.c_str(), measured.name.c_str(),
                Duration(onPeer.library).c_str(), Duration(onPeer.bare).c_str(), Number(onPeer.ratio).c_str(),
                target.c_str(), verdict, broker.c_str());
    std::fflush(stdout);
    if (figures.is_open())
    {
        figures << measured.group << '\t' << measured.name << '\t' << onPeer.library << '\t' << onPeer.bare << '\t'
                << onPeer.ratio << '\t' << target << '\t' << broker << '\n';
    }
}

void Report::Finish() const
{
    std::printf("%zu targets met, %zu missed\n", met, missed);
}

} // namespace Bench
