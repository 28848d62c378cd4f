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
        figures << "group\tcase\tlibrary\trabbitmq-c\tratio\ttarget\ton a broker\ttarget there\n";
        if (!figures)
        {
            throw std::runtime_error("cannot write to " + file);
        }
    }
    std::printf("%-11s %-42s %10s %10s %7s %7s %-7s %7s %7s\n", "", "", "library", "rabbitmq-c", "ratio", "target", "",
                "broker", "target");
}

const char* Report::Verdict(double ratio, const std::optional<double>& target)
{
    if (!target)
    {
        return "";
    }
    const bool enough = ratio >= *target;
    ++(enough ? met : missed);
    return enough ? "met" : "missed";
}

void Report::Add(const Case& measured, const Comparison& onPeer, const std::optional<Comparison>& onBroker)
{
    const auto orDash = [](const std::optional<double>& number) { return number ? Number(*number) : "-"; };
    const std::string target = orDash(measured.target);
    const std::string broker = onBroker ? Number(onBroker->ratio) : "-";
    const std::string brokerTarget = orDash(measured.targetOnBroker);
    std::printf("%-11s %-42s %10s %10s %7s %7s %-7s %7s %7s %s\n", measured.group.c_str(), measured.name.c_str(),
                Duration(onPeer.library).c_str(), Duration(onPeer.bare).c_str(), Number(onPeer.ratio).c_str(),
                target.c_str(), Verdict(onPeer.ratio, measured.target), broker.c_str(), brokerTarget.c_str(),
                onBroker ? Verdict(onBroker->ratio, measured.targetOnBroker) : "");
    std::fflush(stdout);
    if (figures.is_open())
    {
        figures << measured.group << '\t' << measured.name << '\t' << onPeer.library << '\t' << onPeer.bare << '\t'
                << onPeer.ratio << '\t' << target << '\t' << broker << '\t' << brokerTarget << '\n';
    }
}

void Report::Finish() const
{
    std::printf("%zu targets met, %zu missed\n", met, missed);
}

} // namespace Bench
