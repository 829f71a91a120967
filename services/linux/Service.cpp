#include "services/linux/Service.h"

#include <algorithm>
#include <cstring>

#include "services/ParameterFacts.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Parameters.h"

// What the library calls; ServiceDevice.cpp holds the devices' side, ServiceNight.cpp day and night.
namespace devices {
namespace {

using services::Kind;
using services::ParameterState;
using services::Standing;

constexpr ia_cmd_e kThresholds[] = {IA_CMD_DTN_THR, IA_CMD_NTD_THR};
constexpr ia_cmd_e kTimes[] = {IA_CMD_DTN_H, IA_CMD_DTN_M, IA_CMD_NTD_H, IA_CMD_NTD_M};

template <std::size_t N>
bool isOneOf(ia_cmd_e cmd, const ia_cmd_e (&commands)[N])
{
    return std::find(std::begin(commands), std::end(commands), cmd) != std::end(commands);
}

services::ExecStatus statusOf(Standing standing)
{
    switch (standing)
    {
    case Standing::applied:
        return services::kIdle;
    case Standing::refused:
    case Standing::overruled:
    case Standing::lost:
        return services::kFailed;
    default:
        return services::kRunning;
    }
}

}  // namespace

Service::Service(const Description& description, const Board& board, DeviceSource& source, Patience patience)
    : Service(description, board, source, devicesOf(board, source), patience, {})
{
}

Service::Service(const Description& description, const Board& board, DeviceSource& source, Devices devices,
                 Patience patience, LookTimes looks)
    : description_(description),
      board_(board),
      source_(source),
      devices_(withLight(std::move(devices))),
      looks_(looks),
      table_(controlsFor(description, board)),
      rows_(statesOf(description, board)),
      named_(namedControlsOf(description, table_)),
      byNight_(find(IA_CMD_DN_MODE) == nullptr ? std::vector<u32>() : table_.controlsOf(IA_CMD_DN_STATE)),
      links_{Link(*this, kCamera), Link(*this, kLamps), Link(*this, kFilterPart)},
      ears_(*this)
{
    for (const ParameterState& row : rows_)
    {
        words_[row.cmd] = row.value;
    }
    const DeviceWorker::Open opens[kParts] = {devices_.camera, devices_.lamps, devices_.filter};
    {
        const std::lock_guard<std::mutex> lock(mutex_);  // a worker may call before the others are there
        for (int part = 0; part < kParts; ++part)
        {
            if (opens[part])
            {
                workers_[part] = std::make_unique<DeviceWorker>(opens[part], links_[part], patience, board.others);
            }
        }
    }
    if (devices_.picture)
    {
        capture_ = std::make_unique<Capture>(devices_.picture, [this] { return surroundings(); });
    }
    if (find(IA_CMD_DN_MODE) != nullptr)
    {
        watcher_ = std::thread([this] { watch(); });
    }
}

Service::~Service()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    if (watcher_.joinable())
    {
        watcher_.join();
    }
}

std::unique_ptr<services::PictureSource> Service::openPicture()
{
    if (capture_ && workers_[kCamera])
    {
        // From now on nobody can tell whose stream has changed it.
        workers_[kCamera]->guard(kFrameRate, true);
    }
    return capture_ ? capture_->open() : nullptr;
}

// ---- one call ----------------------------------------------------------------------------------------------

int Service::call(ia_cmd_e cmd, int opt, void* data)
{
    const services::Parameter* const known = services::findParameter(cmd);
    const ParameterState* const row = find(cmd);
    const bool isRecord = cmd == IA_CMD_CAMERA_VERSION || cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET;
    if (known == nullptr || (row == nullptr && !isRecord))
    {
        return services::kUnknownCommand;
    }
    if (opt < IA_CMD_OPT_SET || opt > IA_CMD_OPT_GET_EXEC_STATUS || (known->options & (1u << opt)) == 0)
    {
        return services::kNotSupported;
    }
    if (data == nullptr)
    {
        return services::kNoData;
    }
    if (row != nullptr)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return perform(*row, opt, data);
    }
    if (opt == IA_CMD_OPT_GET_EXEC_STATUS)
    {
        *static_cast<int*>(data) = services::kIdle;
    }
    else if (cmd == IA_CMD_CAMERA_VERSION)
    {
        std::memset(data, 0, kCameraVersionSize);
        description_.version.copy(static_cast<char*>(data), kCameraVersionSize - 1);
    }
    else
    {
        *static_cast<ia_dynamic_params_cmds_st*>(data) = {};  // the documents say all that is allowed
    }
    return services::kDone;
}

int Service::perform(const ParameterState& row, int opt, void* data)
{
    int& value = *static_cast<int*>(data);
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return setData(row, data);
    case IA_CMD_OPT_GET:
        if (row.cmd == IA_CMD_DN_STATE)
        {
            look();
        }
        value = word(row.cmd);
        return services::kDone;
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        *static_cast<ia_dynamic_params_attr_st*>(data) = services::describe(row.allowed);
        return services::kDone;
    case IA_CMD_OPT_CORRECT_PARAM:
        value = services::correct(row.cmd, row.allowed, value);
        return services::kDone;
    default:
        value = statusOf(standingOf(row.cmd));
        return services::kDone;
    }
}

int Service::setData(const ParameterState& row, const void* data)
{
    if (isOneOf(row.cmd, kThresholds))
    {
        const auto& record = *static_cast<const dn_thr_st*>(data);
        const u32 words[] = {record.d2n_thr, record.n2d_thr};
        return setWords(kThresholds, words, std::size(words));
    }
    if (isOneOf(row.cmd, kTimes))
    {
        const auto& record = *static_cast<const dn_time_st*>(data);
        const u32 words[] = {record.d2n_hour, record.d2n_min, record.n2d_hour, record.n2d_min};
        return setWords(kTimes, words, std::size(words));
    }
    return setWord(row, *static_cast<const int*>(data));
}

int Service::setWords(const ia_cmd_e* commands, const u32* words, int count)
{
    for (int i = 0; i < count; ++i)
    {
        const ParameterState* const row = find(commands[i]);
        if (row == nullptr || !row->allowed.contains(static_cast<int>(words[i])))
        {
            return services::kOutOfRange;
        }
    }
    for (int i = 0; i < count; ++i)
    {
        keep(commands[i], static_cast<int>(words[i]));
    }
    return services::kDone;
}

int Service::setWord(const ParameterState& row, int value)
{
    if (!row.allowed.contains(value))
    {
        return services::kOutOfRange;
    }
    if (row.kind == Kind::action)
    {
        return value == 0 ? services::kDone : act(row.cmd);
    }
    keep(row.cmd, value);
    return services::kDone;
}

int Service::act(ia_cmd_e cmd)
{
    if (const std::optional<u32> button = table_.button(cmd))
    {
        workers_[partOf(*button)]->press(*button);
        return services::kDone;
    }
    if (cmd == IA_CMD_LENS_RESET)
    {
        for (const ia_cmd_e position : {IA_CMD_MF_POSITION, IA_CMD_MZ_POSITION})
        {
            for (const u32 control : table_.controlsOf(position))
            {
                workers_[partOf(control)]->again(control);
            }
        }
        return services::kDone;
    }
    const Step step = stepOf(cmd);
    const ParameterState& row = *find(step.position);
    keep(row.cmd, row.allowed.nearest(word(row.cmd) + step.size));
    return services::kDone;
}

void Service::keep(ia_cmd_e cmd, int value)
{
    const bool isOther = words_[cmd] != value;
    words_[cmd] = wished_[cmd] = value;
    taken_.erase(cmd);
    const std::optional<ia_cmd_e> twin = twinOf(cmd);
    if (twin)
    {
        wished_.erase(*twin);
        taken_.erase(*twin);
    }
    if (!nightSet_ || (isOther && cmd >= IA_CMD_DN_MODE && cmd <= IA_CMD_NTD_M))
    {
        nightSet_ = std::chrono::steady_clock::now();
        isAsked_ = true;
        changed_.notify_all();
    }
    wish(table_.controlsOf(cmd));
    // The second command of a control follows.
    if (const std::optional<int> meant = twin ? table_.word(*twin, wishes_) : std::nullopt)
    {
        words_[*twin] = find(*twin)->allowed.nearest(*meant);
    }
}

void Service::wish(const std::vector<u32>& controls)
{
    if (!areLampsOff_)
    {
        return send(table_.settings(controls, wished_));
    }
    Words dark = wished_;
    dark[IA_CMD_IR_SWITCH] = 0;
    send(table_.settings(controls, dark));
}

void Service::send(const std::vector<Setting>& settings)
{
    std::array<std::vector<Setting>, kParts> parts;
    for (const Setting& setting : settings)
    {
        if (!waitsForNight(setting.id))
        {
            parts[partOf(setting.id)].push_back(setting);
            wishes_[setting.id] = setting.value;
        }
    }
    for (int part = 0; part < kParts; ++part)
    {
        if (workers_[part] && !parts[part].empty())
        {
            workers_[part]->wish(parts[part]);
        }
    }
}

bool Service::waitsForNight(u32 control) const
{
    return !isNightKnown_ && std::find(byNight_.begin(), byNight_.end(), control) != byNight_.end();
}

const ParameterState* Service::find(ia_cmd_e cmd) const
{
    const auto found =
        std::find_if(rows_.begin(), rows_.end(), [cmd](const ParameterState& row) { return row.cmd == cmd; });
    return found == rows_.end() ? nullptr : &*found;
}

int Service::word(ia_cmd_e cmd) const
{
    return words_.at(cmd);
}

ParameterState Service::stateOf(const ParameterState& row) const
{
    ParameterState state = row;
    state.value = word(row.cmd);
    return state;
}

std::vector<ParameterState> Service::parameters() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<ParameterState> states;
    for (const ParameterState& row : rows_)
    {
        if (isListed(row.cmd))
        {
            states.push_back(stateOf(row));
        }
    }
    return states;
}

std::optional<ParameterState> Service::parameter(ia_cmd_e cmd) const
{
    const ParameterState* const row = find(cmd);
    if (row == nullptr || !isListed(cmd))
    {
        return std::nullopt;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return stateOf(*row);
}

}  // namespace devices
