#include "Options.hpp"

#include <stdexcept>
#include <string_view>

namespace Bench
{

Options ParseOptions(int count, char** arguments)
{
    Options options;
    for (int i = 1; i < count; ++i)
    {
        const std::string_view name = arguments[i];
        const auto value = [&]() -> std::string
        {
            if (++i == count)
            {
                throw std::runtime_error("nothing follows " + std::string(name));
            }
            return arguments[i];
        };
        if (name == "--quick")
        {
            options.quick = true;
        }
        else if (name == "--without-broker")
        {
            options.withBroker = false;
        }
        else if (name == "--only")
        {
            options.only = value();
        }
        else if (name == "--count")
        {
            options.count = std::stoul(value());
        }
        else if (name == "--output")
        {
            options.output = value();
        }
        else if (name == "--serve")
        {
            options.serve = value();
        }
        else if (name == "--peer")
        {
            options.peer = value();
        }
        else
        {
            throw std::runtime_error("unknown argument: " + std::string(name));
        }
    }
    return options;
}

} // namespace Bench
