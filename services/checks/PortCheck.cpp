#include "services/checks/PortCheck.h"

#include <cstdio>

#include "services/checks/Parts.h"

namespace portcheck {

int run(int argc, char** argv, VideoStreamModule* video)
{
    const std::optional<Options> options = parseOptions(argc, argv);
    if (!options)
    {
        return 2;
    }
    if (options->help)
    {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Report report(options->limit);
    const Factory factory = checkDocuments(report, *options);
    checkService(report);
    checkSetting(report, *options, factory);
    checkVideo(report, *options, video);
    checkThreads(report);
    checkTimeAndTexts(report);
    checkShell(report);
    checkFolder(report, *options);
    return report.finish();
}

}  // namespace portcheck
