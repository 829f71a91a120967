#pragma once

#include <memory>
#include <vector>

#include "KeyVal.h"
#include "services/checks/Options.h"
#include "services/checks/Report.h"

class VideoStreamModule;

// The parts of a port, each with its own checks.
namespace portcheck {

// Factory values in the order of the documents; null unless they could be read.
using Factory = std::shared_ptr<const std::vector<KeyVal>>;

Factory checkDocuments(Report& report, const Options& options);

// What is asked without setting anything.
void checkService(Report& report);
void checkSetting(Report& report, const Options& options, const Factory& factory);
void checkVideo(Report& report, const Options& options, VideoStreamModule* video);

void checkThreads(Report& report);
void checkTimeAndTexts(Report& report);
void checkShell(Report& report);
// All that makes files, in a folder of their own.
void checkFolder(Report& report, const Options& options);

}  // namespace portcheck
