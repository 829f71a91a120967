#include "tests/support/FakeService.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "services/CommandNames.h"

namespace support {
namespace {

// A sensor check carries its record with every option.
std::size_t wordsOf(u32 cmd, int opt)
{
    return opt == IA_CMD_OPT_SET || cmd == IA_CMD_SENSOR_CHECK ? services::wordsToSet(cmd) : 1;
}

u32 loadWord(const void* data)
{
    u32 word = 0;
    std::memcpy(&word, data, sizeof word);
    return word;
}

void storeWord(void* data, u32 word)
{
    std::memcpy(data, &word, sizeof word);
}

}  // namespace

bool operator==(const Sent& left, const Sent& right)
{
    return left.cmd == right.cmd && left.opt == right.opt && left.value == right.value;
}

void PrintTo(const Sent& sent, std::ostream* stream)
{
    *stream << "{cmd " << sent.cmd << ", opt " << sent.opt << ", value " << static_cast<int>(sent.value) << "}";
}

void FakeService::answer(u32 cmd, int opt, Answer answer)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_[{cmd, opt}] = std::move(answer);
}

void FakeService::answerStatus(u32 cmd, int opt, int status)
{
    answer(cmd, opt, [status](u32, int, void*) { return status; });
}

void FakeService::answerValue(u32 cmd, int opt, u32 value, int status)
{
    answer(cmd, opt, [value, status](u32, int, void* data) {
        storeWord(data, value);
        return status;
    });
}

void FakeService::forget(u32 cmd, int opt)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_.erase({cmd, opt});
}

void FakeService::setDynamicCommands(std::vector<u32> cmds)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    dynamicCommands_ = std::move(cmds);
}

void FakeService::setAllowedValues(u32 cmd, int defaultValue, std::vector<int> items)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    allowed_[cmd] = {defaultValue, std::move(items)};
}

void FakeService::setCameraVersion(std::string text)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    cameraVersion_ = std::move(text);
}

void FakeService::onCall(Hook hook)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    hook_ = std::move(hook);
}

void FakeService::intercept(Interceptor interceptor)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    interceptor_ = std::move(interceptor);
}

u32 FakeService::stored(u32 cmd) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = values_.find(cmd);
    return found == values_.end() ? 0 : found->second;
}

void FakeService::store(u32 cmd, u32 value)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    values_[cmd] = value;
}

std::vector<ServiceCall> FakeService::calls() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<Sent> FakeService::sets() const
{
    return sent(IA_CMD_OPT_SET);
}

std::vector<Sent> FakeService::sent(int opt) const
{
    std::vector<Sent> matching;
    for (const Sent& sent : all())
    {
        if (sent.opt == opt)
        {
            matching.push_back(sent);
        }
    }
    return matching;
}

std::vector<Sent> FakeService::all() const
{
    std::vector<Sent> sent;
    for (const ServiceCall& call : calls())
    {
        sent.push_back({call.cmd, call.opt, call.value()});
    }
    return sent;
}

size_t FakeService::count(u32 cmd, int opt) const
{
    const std::vector<ServiceCall> all = calls();
    return static_cast<size_t>(std::count_if(
        all.begin(), all.end(), [&](const ServiceCall& call) { return call.cmd == cmd && call.opt == opt; }));
}

void FakeService::clearCalls()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

int FakeService::call(ia_cmd_e cmd, int opt, void* data)
{
    ServiceCall call{cmd, opt, std::vector<u32>(wordsOf(cmd, opt)), std::this_thread::get_id()};
    if (data != nullptr)
    {
        std::memcpy(call.words.data(), data, call.words.size() * sizeof(u32));
    }
    Answer answer;
    Hook hook;
    Interceptor interceptor;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back(call);
        hook = hook_;
        interceptor = interceptor_;
        const auto found = answers_.find({cmd, opt});
        if (found != answers_.end())
        {
            answer = found->second;
        }
    }
    if (hook)
    {
        hook(call);
    }
    if (interceptor)
    {
        const std::optional<int> status = interceptor(cmd, opt, data);
        if (status)
        {
            return *status;
        }
    }
    return answer ? answer(cmd, opt, data) : builtIn(cmd, opt, data);
}

int FakeService::builtIn(u32 cmd, int opt, void* data)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (opt == IA_CMD_OPT_SET)
    {
        values_[cmd] = loadWord(data);
        return SNS_SUCCESS;
    }
    if (opt == IA_CMD_OPT_GET_PARAM_RNAGE)
    {
        return writeAllowedValues(cmd, data);
    }
    if (opt == IA_CMD_OPT_GET_EXEC_STATUS)
    {
        storeWord(data, 0);
        return SNS_SUCCESS;
    }
    if (opt != IA_CMD_OPT_GET || cmd == IA_CMD_SENSOR_CHECK)
    {
        return SNS_SUCCESS;
    }
    if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET)
    {
        return writeDynamicCommands(data);
    }
    if (cmd == IA_CMD_CAMERA_VERSION)
    {
        std::strncpy(static_cast<char*>(data), cameraVersion_.c_str(), kCameraVersionSize - 1);
        return SNS_SUCCESS;
    }
    const auto found = values_.find(cmd);
    storeWord(data, found == values_.end() ? 0 : found->second);
    return SNS_SUCCESS;
}

int FakeService::writeDynamicCommands(void* data) const
{
    ia_dynamic_params_cmds_st list{};
    list.cmd_cnt = static_cast<int>(dynamicCommands_.size());
    for (size_t i = 0; i < dynamicCommands_.size() && i < kDynamicCmdsMax; ++i)
    {
        list.cmd_list[i] = static_cast<ia_cmd_e>(dynamicCommands_[i]);
    }
    std::memcpy(data, &list, sizeof list);
    return SNS_SUCCESS;
}

int FakeService::writeAllowedValues(u32 cmd, void* data) const
{
    ia_dynamic_params_attr_st attributes{};
    const auto found = allowed_.find(cmd);
    if (found != allowed_.end())
    {
        const std::vector<int>& items = found->second.second;
        attributes.default_value = found->second.first;
        attributes.items_cnt = static_cast<int>(items.size());
        std::copy_n(items.begin(), std::min<size_t>(items.size(), kDynamicItemsMax), attributes.item);
    }
    std::memcpy(data, &attributes, sizeof attributes);
    return SNS_SUCCESS;
}

}  // namespace support
