#include "services/checks/Options.h"

#include <cstdio>
#include <cstdlib>

namespace portcheck {
namespace {

constexpr long kLimitMin = 3;  // the checks of the shell wait for a limit of a second
constexpr long kLimitMax = 600;

bool parseLimit(const std::string& text, std::chrono::milliseconds& limit)
{
    char* end = nullptr;
    const long seconds = std::strtol(text.c_str(), &end, 10);
    limit = std::chrono::seconds(seconds);
    return !text.empty() && *end == '\0' && seconds >= kLimitMin && seconds <= kLimitMax;
}

bool* flagOf(Options& options, const std::string& name)
{
    return name == "--documents" ? &options.documents
           : name == "--set"     ? &options.set
           : name == "--lens"    ? &options.lens
           : name == "--help"    ? &options.help
                                 : nullptr;
}

bool takeValue(Options& options, const std::string& name, const std::string& value)
{
    if (name == "--folder")
    {
        options.folder = value;
        return !value.empty();
    }
    return name == "--limit" && parseLimit(value, options.limit);
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i)
    {
        const std::string name = argv[i];
        if (bool* const flag = flagOf(options, name))
        {
            *flag = true;
            continue;
        }
        if (i + 1 == argc || !takeValue(options, name, argv[i + 1]))
        {
            std::fprintf(stderr, "portcheck: %s is no option, or its value is missing or wrong; --help lists them\n",
                         name.c_str());
            return std::nullopt;
        }
        ++i;
    }
    if (options.lens && !options.set)
    {
        std::fprintf(stderr, "portcheck: --lens needs --set\n");
        return std::nullopt;
    }
    return options;
}

}  // namespace portcheck
