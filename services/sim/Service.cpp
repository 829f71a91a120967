#include "services/sim/Service.h"

#include <algorithm>
#include <cstring>

namespace sim {
namespace {

constexpr int kRegisters = 256;
constexpr int kReadOnlyRegisters = 16;
constexpr int kRegisterMax = 0xFFFF;

constexpr u32 kThresholds[] = {IA_CMD_DTN_THR, IA_CMD_NTD_THR};
constexpr u32 kTimes[] = {IA_CMD_DTN_H, IA_CMD_DTN_M, IA_CMD_NTD_H, IA_CMD_NTD_M};

bool isOneOf(u32 cmd, const u32* first, std::size_t count)
{
    return std::find(first, first + count, cmd) != first + count;
}

bool isThreshold(u32 cmd)
{
    return isOneOf(cmd, kThresholds, std::size(kThresholds));
}

bool isTime(u32 cmd)
{
    return isOneOf(cmd, kTimes, std::size(kTimes));
}

bool supports(const Parameter& parameter, int opt)
{
    return opt >= IA_CMD_OPT_SET && opt <= IA_CMD_OPT_GET_EXEC_STATUS && (parameter.options & (1u << opt)) != 0;
}

}  // namespace

Service::Service() : module_(findModule(kFirstModule)), dayNight_(values_), lens_(values_)
{
    powerOn();
}

int Service::call(ia_cmd_e cmd, int opt, void* data)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return perform(cmd, opt, data);
}

int Service::perform(ia_cmd_e cmd, int opt, void* data)
{
    const Parameter* parameter = findParameter(cmd);
    if (parameter == nullptr)
    {
        return kUnknownCommand;
    }
    if (!supports(*parameter, opt))
    {
        return kNotSupported;
    }
    if (data == nullptr)
    {
        return kNoData;
    }
    int& value = *static_cast<int*>(data);
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return parameter->kind == Kind::record ? performRecord(*parameter, opt, data) : set(*parameter, data);
    case IA_CMD_OPT_GET:
        if (parameter->kind == Kind::record)
        {
            return performRecord(*parameter, opt, data);
        }
        value = word(*parameter);
        return kDone;
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        *static_cast<ia_dynamic_params_attr_st*>(data) = describe(allowedNow(*parameter));
        return kDone;
    case IA_CMD_OPT_CORRECT_PARAM:
        value = correct(cmd, allowedNow(*parameter), value);
        return kDone;
    default:
        value = lens_.execStatus(cmd, now_);
        return kDone;
    }
}

int Service::performRecord(const Parameter& parameter, int opt, void* data)
{
    switch (parameter.cmd)
    {
    case IA_CMD_CAMERA_VERSION:
        std::memset(data, 0, kCameraVersionSize);
        std::strncpy(static_cast<char*>(data), module_->version, kCameraVersionSize - 1);
        return kDone;
    case IA_CMD_SENSOR_CHECK:
        return check(opt, *static_cast<ia_sensor_check_st*>(data));
    default:
    {
        auto& list = *static_cast<ia_dynamic_params_cmds_st*>(data);
        const std::vector<ia_cmd_e> commands = dynamicCommands(*module_);
        list = {};
        list.cmd_cnt = static_cast<int>(std::min<std::size_t>(commands.size(), kDynamicCmdsMax));
        std::copy_n(commands.begin(), list.cmd_cnt, list.cmd_list);
        return kDone;
    }
    }
}

int Service::set(const Parameter& parameter, const void* data)
{
    int status;
    if (isThreshold(parameter.cmd))
    {
        const auto& record = *static_cast<const dn_thr_st*>(data);
        const u32 words[] = {record.d2n_thr, record.n2d_thr};
        status = setWords(kThresholds, words, std::size(words));
    }
    else if (isTime(parameter.cmd))
    {
        const auto& record = *static_cast<const dn_time_st*>(data);
        const u32 words[] = {record.d2n_hour, record.d2n_min, record.n2d_hour, record.n2d_min};
        status = setWords(kTimes, words, std::size(words));
    }
    else
    {
        status = setWord(parameter, *static_cast<const int*>(data));
    }
    catchUp();
    return status;
}

int Service::setWords(const u32* commands, const u32* words, int count)
{
    for (int i = 0; i < count; ++i)
    {
        if (!allowedNow(*findParameter(commands[i])).contains(static_cast<int>(words[i])))
        {
            return kOutOfRange;
        }
    }
    for (int i = 0; i < count; ++i)
    {
        values_.set(commands[i], static_cast<int>(words[i]));
    }
    return kDone;
}

int Service::setWord(const Parameter& parameter, int value)
{
    if (!allowedNow(parameter).contains(value))
    {
        return kOutOfRange;
    }
    if (Lens::moves(parameter.cmd))
    {
        return lens_.command(parameter.cmd, value, now_);
    }
    const int old = values_.get(parameter.cmd);
    values_.set(parameter.cmd, value);
    lens_.changed(parameter.cmd, old, now_);
    if (parameter.cmd == IA_CMD_CAP_OFF_ADJ_DIRECTION)
    {
        moveOffset(value);
    }
    limitOffsets();
    return kDone;
}

// direction: an OffsetDirection.
void Service::moveOffset(int direction)
{
    const int step = values_.get(IA_CMD_CAP_OFF_ADJ_STEP);
    const auto add = [this](u32 cmd, int pixels) { values_.set(cmd, values_.get(cmd) + pixels); };
    switch (direction)
    {
    case kLeft:
        return add(IA_CMD_CAP_OFF_ADJ_H_CUR, -step);
    case kRight:
        return add(IA_CMD_CAP_OFF_ADJ_H_CUR, step);
    case kUp:
        return add(IA_CMD_CAP_OFF_ADJ_V_CUR, -step);
    case kDown:
        return add(IA_CMD_CAP_OFF_ADJ_V_CUR, step);
    default:
        return;
    }
}

void Service::limitOffsets()
{
    const auto limit = [this](u32 current, u32 minimum, u32 maximum) {
        values_.set(current, std::clamp(values_.get(current), values_.get(minimum), values_.get(maximum)));
    };
    limit(IA_CMD_CAP_OFF_ADJ_H_CUR, IA_CMD_CAP_OFF_ADJ_H_MIN, IA_CMD_CAP_OFF_ADJ_H_MAX);
    limit(IA_CMD_CAP_OFF_ADJ_V_CUR, IA_CMD_CAP_OFF_ADJ_V_MIN, IA_CMD_CAP_OFF_ADJ_V_MAX);
}

int Service::word(const Parameter& parameter) const
{
    switch (parameter.cmd)
    {
    case IA_CMD_DN_STATE:
        return dayNight_.night() ? 1 : 0;
    case IA_CMD_AF_STATISTIC:
        return lens_.position(parameter.cmd, now_);
    default:
        return Lens::moves(parameter.cmd) ? lens_.position(parameter.cmd, now_) : values_.get(parameter.cmd);
    }
}

AllowedValues Service::allowedNow(const Parameter& parameter) const
{
    AllowedValues allowed = allowedValues(parameter, *module_);
    switch (parameter.cmd)
    {
    case IA_CMD_MZ_POSITION:
        allowed.maximum = lens_.zoomLimit();
        break;
    case IA_CMD_CAP_OFF_ADJ_H_CUR:
        allowed.minimum = values_.get(IA_CMD_CAP_OFF_ADJ_H_MIN);
        allowed.maximum = values_.get(IA_CMD_CAP_OFF_ADJ_H_MAX);
        break;
    case IA_CMD_CAP_OFF_ADJ_V_CUR:
        allowed.minimum = values_.get(IA_CMD_CAP_OFF_ADJ_V_MIN);
        allowed.maximum = values_.get(IA_CMD_CAP_OFF_ADJ_V_MAX);
        break;
    default:
        break;
    }
    return allowed;
}

int Service::check(int opt, ia_sensor_check_st& request)
{
    const int address = request.first;
    if (address < 0 || address >= kRegisters)
    {
        return kOutOfRange;
    }
    if (opt == IA_CMD_OPT_SET)
    {
        if (address < kReadOnlyRegisters || request.third < 0 || request.third > kRegisterMax)
        {
            return kOutOfRange;
        }
        registers_[address] = request.third;
        return kDone;
    }
    switch (address)
    {
    case 0:
        request.result = module_->id;
        return kDone;
    case 1:
        request.result = values_.get(IA_CMD_SENSOR_FPS);
        return kDone;
    case 2:
        request.result = dayNight_.night() ? 1 : 0;
        return kDone;
    default:
    {
        const auto found = registers_.find(address);
        request.result = found == registers_.end() ? 0 : found->second;
        return kDone;
    }
    }
}

}  // namespace sim
