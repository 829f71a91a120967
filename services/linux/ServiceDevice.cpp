#include <algorithm>
#include <set>
#include <utility>

#include "services/linux/ControlIds.h"
#include "services/linux/Parameters.h"
#include "services/linux/Service.h"

// The devices' side: how wishes stand, what others do, what has no command.
namespace devices {

using services::Standing;

namespace {

// What a command of several controls shows: the gravest.
constexpr Standing kGravity[] = {Standing::applied,   Standing::waiting, Standing::held,    Standing::busy,
                                 Standing::overruled, Standing::refused, Standing::stalled, Standing::lost};

int gravity(Standing standing)
{
    return static_cast<int>(std::find(std::begin(kGravity), std::end(kGravity), standing) - std::begin(kGravity));
}

Standing standingOf(const Report& report)
{
    switch (report.state)
    {
    case ControlState::applied:
        return Standing::applied;
    case ControlState::absent:
        return report.wished ? Standing::refused : Standing::applied;
    case ControlState::waiting:
        return Standing::waiting;
    case ControlState::held:
        return Standing::held;
    case ControlState::busy:
        return Standing::busy;
    case ControlState::stalled:
        return Standing::stalled;
    case ControlState::overruled:
        return Standing::overruled;
    case ControlState::lost:
        return Standing::lost;
    default:
        return Standing::refused;
    }
}

}  // namespace

Service::Part Service::partOf(u32 control)
{
    switch (control)
    {
    case kLampNear:
    case kLampMedium:
    case kLampFar:
        return kLamps;
    case kFilter:
        return kFilterPart;
    default:
        return kCamera;
    }
}

// ---- from the source ----

Service::Ears::Ears(Service& service) : source_(service.source_)
{
    // The workers may still be about to be made.
    source_.listen([&service] {
        const std::lock_guard<std::mutex> lock(service.mutex_);
        for (const std::unique_ptr<DeviceWorker>& worker : service.workers_)
        {
            if (worker)
            {
                worker->plugged();
            }
        }
    });
    source_.listenToUse([&service] {
        const std::lock_guard<std::mutex> lock(service.mutex_);
        if (service.workers_[kCamera])
        {
            service.workers_[kCamera]->lookAgain();
        }
    });
}

Service::Ears::~Ears()
{
    source_.listen(nullptr);
    source_.listenToUse(nullptr);
}

// ---- from the workers ----

void Service::opened(Part part, const std::vector<Control>& controls)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    found_[part] = controls;
    there_.insert(part);
    compare();
}

void Service::lost(Part part)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    there_.erase(part);
}

void Service::callDocumentsOld()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    areDocumentsOld_ = true;
    compare();
}

// With what the documents were made of. Not before all devices are there: whoever started again then would come up on the
// same documents, again and again.
void Service::compare()
{
    // Not by the workers: one of them may be what ends.
    const bool isWanted[kParts] = {devices_.camera != nullptr, devices_.lamps != nullptr, devices_.filter != nullptr};
    for (int part = 0; part < kParts; ++part)
    {
        if (isWanted[part] && there_.count(static_cast<Part>(part)) == 0)
        {
            return;
        }
    }
    Description now = description_;
    now.controls.clear();
    for (const auto& [part, controls] : found_)
    {
        now.controls.insert(now.controls.end(), controls.begin(), controls.end());
    }
    hasOtherControls_ = areDocumentsOld_ || fingerprint(now) != fingerprint(description_);
}

void Service::told(const News& news)
{
    for (const auto& [control, then] : news)
    {
        if (!then.isTheirs)
        {
            continue;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        const Report report = workers_[partOf(control)]->report(control);  // something may have been set since
        if (report.isTheirs && report.wished)
        {
            takeOver(control, *report.wished);
        }
    }
}

// The queue wishes it already.
void Service::takeOver(u32 control, std::int64_t value)
{
    wishes_[control] = value;
    if (namedWords_.count(control) != 0)
    {
        namedWords_[control] = value;
    }
    for (const ia_cmd_e cmd : table_.commands())
    {
        const std::vector<u32>& controls = table_.controlsOf(cmd);
        const services::ParameterState* const row = find(cmd);
        if (row == nullptr || std::find(controls.begin(), controls.end(), control) == controls.end())
        {
            continue;
        }
        const std::optional<int> theirs = table_.word(cmd, wishes_);
        const int word = theirs ? row->allowed.nearest(*theirs) : words_[cmd];
        if (word == words_[cmd])
        {
            continue;
        }
        words_[cmd] = word;
        if (isListed(cmd))
        {
            wished_[cmd] = word;
            taken_[cmd] = word;
        }
        else
        {
            wished_.erase(cmd);
        }
    }
}

// What the night says of a control is nobody else's to change: by day it would be taken for the day's.
void Service::followNight()
{
    Words night{{IA_CMD_DN_STATE, word(IA_CMD_DN_STATE)}};
    if (areLampsOff_)
    {
        night[IA_CMD_IR_SWITCH] = 0;
    }
    std::set<u32> guarded;
    for (const Setting& setting : table_.settings(byNight_, night))
    {
        guarded.insert(setting.id);
    }
    for (const u32 control : byNight_)
    {
        if (workers_[partOf(control)])
        {
            workers_[partOf(control)]->guard(control, guarded.count(control) != 0);
        }
    }
    wished_[IA_CMD_DN_STATE] = word(IA_CMD_DN_STATE);
    wish(byNight_);
}

// ---- from front ends ----

bool Service::isThere() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return there_.count(kCamera) != 0;
}

bool Service::hasOtherControls() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return hasOtherControls_;
}

Standing Service::standingOf(u32 control) const
{
    if (nightSet_ && waitsForNight(control))
    {
        return Standing::waiting;
    }
    const std::unique_ptr<DeviceWorker>& worker = workers_[partOf(control)];
    return worker ? devices::standingOf(worker->report(control)) : Standing::applied;
}

Standing Service::standingOf(ia_cmd_e cmd) const
{
    const Step step = stepOf(cmd);
    Standing gravest = Standing::applied;
    for (const u32 control : table_.controlsOf(step.size != 0 ? step.position : cmd))
    {
        const Standing standing = standingOf(control);
        gravest = gravity(standing) > gravity(gravest) ? standing : gravest;
    }
    return gravest;
}

std::map<ia_cmd_e, Standing> Service::standings() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::map<ia_cmd_e, Standing> standings;
    for (const services::ParameterState& row : rows_)
    {
        const Standing standing = standingOf(row.cmd);
        if (standing != Standing::applied && isListed(row.cmd))
        {
            standings[row.cmd] = standing;
        }
    }
    return standings;
}

std::map<ia_cmd_e, int> Service::takenOver()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(taken_, {});
}

// ---- what has no command ----

std::vector<services::NamedControl> Service::controls() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<services::NamedControl> all;
    for (const Named& named : named_)
    {
        services::NamedControl control = named.control;
        const auto found = namedWords_.find(named.id);
        control.value = found == namedWords_.end() ? control.value : static_cast<int>(found->second);
        control.standing = standingOf(named.id);
        all.push_back(std::move(control));
    }
    return all;
}

int Service::set(const std::string& control, int value)
{
    const auto found =
        std::find_if(named_.begin(), named_.end(), [&](const Named& named) { return named.control.name == control; });
    if (found == named_.end())
    {
        return services::kUnknownCommand;
    }
    if (!found->control.allowed.contains(value))
    {
        return services::kOutOfRange;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (found->control.kind != services::Kind::action)
    {
        namedWords_[found->id] = value;
        send({{found->id, value}});
    }
    else if (value != 0 && workers_[kCamera])
    {
        workers_[kCamera]->press(found->id);
    }
    return services::kDone;
}

}  // namespace devices
