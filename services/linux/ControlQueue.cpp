#include "services/linux/ControlQueue.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace devices {
namespace {

bool isLoss(int error)
{
    return error == ENODEV || error == ESHUTDOWN || error == ENXIO || error == EBADF;
}

void addOnce(std::vector<u32>& ids, u32 id)
{
    if (std::find(ids.begin(), ids.end(), id) == ids.end())
    {
        ids.push_back(id);
    }
}

}  // namespace

std::chrono::milliseconds Patience::after(int tries) const
{
    std::chrono::milliseconds span = first;
    for (int i = 1; i < tries && span < most; ++i)
    {
        span *= 2;
    }
    return std::min(span, most);
}

ControlQueue::ControlQueue(Patience patience, Others others) : patience_(patience), others_(others) {}

// ---- wishes ----

ControlQueue::Slot& ControlQueue::slotToWish(u32 id)
{
    addOnce(order_, id);
    return slots_[id];
}

void ControlQueue::become(u32 id, Slot& slot, ControlState state)
{
    if (slot.state != state)
    {
        slot.state = state;
        addOnce(news_, id);
    }
}

void ControlQueue::wait(u32 id, Slot& slot)
{
    slot.tries = 0;
    slot.notBefore = {};
    become(id, slot, !isOpen_ ? ControlState::lost : slot.control ? ControlState::waiting : ControlState::absent);
}

// Until its automatic has another value.
void ControlQueue::holdBack(u32 id, Slot& slot)
{
    slot.notBefore = Instant::max();
    become(id, slot, ControlState::held);
}

bool ControlQueue::wish(const std::vector<Setting>& settings)
{
    bool isMore = false;
    for (const Setting& setting : settings)
    {
        Slot& slot = slotToWish(setting.id);
        if (slot.wished == setting.value)
        {
            continue;
        }
        slot.wished = setting.value;
        slot.isTheirs = false;
        const bool isThere = slot.state == ControlState::applied && slot.control && slot.sent == target(slot);
        // A device that fails is not tried the more often, the more is wished.
        const bool isPatient = slot.state == ControlState::busy || slot.state == ControlState::stalled;
        if (!isThere && !isPatient)
        {
            slot.putBacks.clear();
            wait(setting.id, slot);
            isMore = isOpen_;
        }
    }
    return isMore;
}

void ControlQueue::press(u32 id)
{
    if (!isOpen_)
    {
        return;
    }
    Slot& slot = slotToWish(id);
    slot.isPress = true;
    slot.wished = 1;
    wait(id, slot);
}

void ControlQueue::again(u32 id)
{
    const auto found = slots_.find(id);
    if (found != slots_.end() && found->second.wished && found->second.state == ControlState::applied)
    {
        found->second.sent.reset();
        wait(id, found->second);
    }
}

void ControlQueue::guard(u32 id, bool isGuarded)
{
    if (isGuarded)
    {
        guarded_.insert(id);
    }
    else
    {
        guarded_.erase(id);
    }
}

void ControlQueue::lookAgain()
{
    for (const u32 id : order_)
    {
        const std::optional<Control>& control = slots_.at(id).control;
        if (control && control->isReadable && !control->isVolatile)
        {
            looks_.emplace(id, Instant{});
        }
    }
}

Report ControlQueue::report(u32 id, Instant now) const
{
    const auto found = slots_.find(id);
    if (found == slots_.end())
    {
        return {};
    }
    const Slot& slot = found->second;
    Report report{slot.control || !isOpen_ ? slot.state : ControlState::absent, slot.wished, slot.actual,
                  slot.isTheirs};
    if (report.state == ControlState::waiting && isStuck(now))
    {
        report.state = ControlState::stalled;
    }
    return report;
}

bool ControlQueue::isStuck(Instant now) const
{
    const bool isHanging = (!batch_.empty() || isReading_) && now - begun_ > patience_.longCall;
    return isHanging || now < pausedUntil_;
}

News ControlQueue::news(Instant now)
{
    News reports;
    for (const u32 id : news_)
    {
        reports.emplace_back(id, report(id, now));
    }
    news_.clear();
    return reports;
}

// ---- the device ----

void ControlQueue::opened(const std::vector<Control>& controls)
{
    isOpen_ = true;
    pauses_ = 0;
    pausedUntil_ = {};
    batch_.clear();
    isReading_ = false;
    looks_.clear();
    for (auto& [id, slot] : slots_)
    {
        slot.control.reset();
    }
    for (const Control& control : controls)
    {
        slots_[control.id].control = control;
    }
    for (auto& [id, slot] : slots_)
    {
        slot.hold = holdOf(id);
        slot.actual.reset();
        slot.flying.reset();
        slot.isAlone = false;
        slot.putBacks.clear();
        if (slot.wished)
        {
            wait(id, slot);
        }
    }
}

void ControlQueue::lost()
{
    isOpen_ = false;
    batch_.clear();
    isReading_ = false;
    looks_.clear();
    for (auto& [id, slot] : slots_)
    {
        slot.flying.reset();
        slot.actual.reset();
        if (slot.isPress)
        {
            slot.wished.reset();
        }
        become(id, slot, slot.wished ? ControlState::lost : ControlState::applied);
    }
}

std::int64_t ControlQueue::target(const Slot& slot) const
{
    return slot.control ? slot.control->nearest(*slot.wished) : *slot.wished;
}

const Hold* ControlQueue::holdOf(u32 id) const
{
    for (const Hold& hold : holds())
    {
        const auto automatic = hold.control == id ? slots_.find(hold.automatic) : slots_.end();
        if (automatic != slots_.end() && automatic->second.control)
        {
            return &hold;
        }
    }
    return nullptr;
}

// Whether it will be when the automatic's value that is on its way has arrived.
bool ControlQueue::isHeld(const Slot& slot) const
{
    if (slot.hold == nullptr)
    {
        return false;
    }
    const Slot& automatic = slots_.at(slot.hold->automatic);
    const std::optional<std::int64_t> value = automatic.flying ? automatic.flying : automatic.actual;
    return value && slot.hold->holds(*value);
}

bool ControlQueue::isDue(const Slot& slot, Instant now) const
{
    switch (slot.state)
    {
    case ControlState::waiting:
    case ControlState::held:
    case ControlState::busy:
    case ControlState::stalled:
    case ControlState::overruled:
        return slot.wished && slot.control && now >= slot.notBefore;
    default:
        return false;
    }
}

// All of its group that are to be sent with it, the automatic first. What that held is sent in the same call: it may be
// off then.
std::vector<u32> ControlQueue::groupOf(u32 id, Instant now) const
{
    const Slot& slot = slots_.at(id);
    if (slot.isAlone || slot.isPress)
    {
        return {id};
    }
    const u32 automatic = slot.hold == nullptr ? id : slot.hold->automatic;
    const auto isWith = [&](const Slot& member, bool isFreed) {
        return !member.isAlone && !member.isPress &&
               (isDue(member, now) || (isFreed && member.state == ControlState::held));
    };
    std::vector<u32> group;
    if (isWith(slots_.at(automatic), false))
    {
        group.push_back(automatic);
    }
    const bool isFreed = !group.empty();
    for (const Hold& hold : holds())
    {
        const auto member = hold.automatic == automatic ? slots_.find(hold.control) : slots_.end();
        if (member != slots_.end() && member->second.hold == &hold && isWith(member->second, isFreed))
        {
            group.push_back(hold.control);
        }
    }
    return group;
}

// False, and the control waits for its automatic, when that is on.
bool ControlQueue::fly(u32 id, Instant now)
{
    Slot& slot = slots_.at(id);
    if (isHeld(slot))
    {
        holdBack(id, slot);
        return false;
    }
    if (slot.state == ControlState::overruled)
    {
        slot.putBacks.push_back(now);
    }
    slot.flying = target(slot);
    if (slot.isPress)
    {
        slot.wished.reset();  // another from now on is one more
    }
    batch_.push_back(id);
    return true;
}

std::vector<Setting> ControlQueue::next(Instant now)
{
    std::vector<Setting> settings;
    if (!isOpen_ || !batch_.empty() || now < pausedUntil_)
    {
        return settings;
    }
    for (const u32 id : order_)
    {
        const Slot& slot = slots_.at(id);
        if (!isDue(slot, now))
        {
            continue;
        }
        // An automatic that failed and is alone goes before what it holds.
        const Hold* const hold = slot.hold;
        const bool isAutomaticFirst =
            hold != nullptr && slots_.at(hold->automatic).isAlone && isDue(slots_.at(hold->automatic), now);
        for (const u32 member : groupOf(isAutomaticFirst ? hold->automatic : id, now))
        {
            if (fly(member, now))
            {
                settings.push_back({member, *slots_.at(member).flying});
            }
        }
        if (!settings.empty())
        {
            begun_ = now;
            break;
        }
    }
    return settings;
}

bool ControlQueue::done(int error, const std::vector<Setting>& answer, Instant now)
{
    const std::vector<u32> batch = std::move(batch_);
    batch_.clear();
    if (isLoss(error))
    {
        lost();
        return false;
    }
    if (error == ETIMEDOUT)
    {
        pause(now);
    }
    else
    {
        pauses_ = 0;
    }
    for (std::size_t i = 0; i < batch.size(); ++i)
    {
        Slot& slot = slots_.at(batch[i]);
        if (error == 0)
        {
            succeeded(batch[i], answer.at(i).value);
        }
        else if (batch.size() > 1 && error != ETIMEDOUT)
        {
            // Which of them it was is found out one by one.
            slot.isAlone = true;
            wait(batch[i], slot);
        }
        else
        {
            failed(batch[i], error, now);
        }
    }
    if (error == 0)
    {
        std::for_each(batch.begin(), batch.end(), [this](u32 id) { freeManual(id); });
    }
    for (const u32 id : batch)
    {
        slots_.at(id).flying.reset();
    }
    return true;
}

void ControlQueue::succeeded(u32 id, std::int64_t value)
{
    Slot& slot = slots_.at(id);
    slot.sent = slot.flying;
    slot.actual = value;
    slot.tries = 0;
    slot.isAlone = false;
    if (slot.isPress)
    {
        slot.actual.reset();
    }
    if (slot.isPress ? !slot.wished : target(slot) == *slot.sent)
    {
        become(id, slot, ControlState::applied);
        return;
    }
    wait(id, slot);  // something else was wished meanwhile
}

void ControlQueue::failed(u32 id, int error, Instant now)
{
    Slot& slot = slots_.at(id);
    slot.sent.reset();
    if (slot.isPress)
    {
        return slot.wished ? wait(id, slot) : become(id, slot, ControlState::refused);
    }
    slot.notBefore = now + patience_.after(++slot.tries);
    switch (error)
    {
    case EACCES:
        slot.notBefore = now + patience_.most;
        return become(id, slot, ControlState::held);
    case EBUSY:
        return become(id, slot, ControlState::busy);
    case ERANGE:
    case EINVAL:
        return target(slot) != *slot.flying ? wait(id, slot) : become(id, slot, ControlState::refused);
    default:
        return become(id, slot, ControlState::stalled);
    }
}

// Each call to a device that does not answer takes seconds, so none of its controls is tried meanwhile.
void ControlQueue::pause(Instant now)
{
    pausedUntil_ = now + patience_.after(++pauses_);
}

// The automatic has another value: what it held or moved is sent again, unless it was sent with it.
void ControlQueue::freeManual(u32 automatic)
{
    for (const Hold& hold : holds())
    {
        const auto found = hold.automatic == automatic ? slots_.find(hold.control) : slots_.end();
        if (found == slots_.end() || !found->second.wished || found->second.hold != &hold)
        {
            continue;
        }
        Slot& slot = found->second;
        if (!slot.flying && (slot.state == ControlState::applied || slot.state == ControlState::held))
        {
            isHeld(slot) ? holdBack(hold.control, slot) : wait(hold.control, slot);
        }
    }
}

void ControlQueue::heard(const ControlEvent& event, Instant now)
{
    const auto found = slots_.find(event.id);
    if (found == slots_.end() || !found->second.control)
    {
        return;
    }
    Slot& slot = found->second;
    const auto is = [&](ControlState state) { return slot.state == state; };
    switch (event.kind)
    {
    case ControlEvent::Kind::described:
        slot.control = event.control;
        if (slot.wished && (is(ControlState::applied) || is(ControlState::refused)) && slot.sent != target(slot))
        {
            wait(event.id, slot);
        }
        return;
    case ControlEvent::Kind::freed:
        if (slot.wished && (is(ControlState::held) || is(ControlState::busy)) && !isHeld(slot))
        {
            wait(event.id, slot);
        }
        return;
    default:
        if (canBeOverruled(slot) && slot.control->isReadable)
        {
            looks_.emplace(event.id, Instant{});
            return;
        }
        overrule(event.id, slot, event.value, now);
        return;
    }
}

std::optional<u32> ControlQueue::look(Instant now)
{
    if (!isOpen_ || now < pausedUntil_)
    {
        return std::nullopt;
    }
    for (auto look = looks_.begin(); look != looks_.end();)
    {
        const auto [id, notBefore] = *look;
        const bool isOverwritten = slots_.at(id).state == ControlState::waiting;
        if (!isOverwritten && now < notBefore)
        {
            ++look;
            continue;
        }
        look = looks_.erase(look);  // what is told from now on is looked at once more
        if (!isOverwritten)
        {
            isReading_ = true;
            begun_ = now;
            return id;
        }
    }
    return std::nullopt;
}

bool ControlQueue::looked(u32 id, int error, std::int64_t value, Instant now)
{
    isReading_ = false;
    if (isLoss(error))
    {
        lost();
        return false;
    }
    Slot& slot = slots_.at(id);
    if (error == 0)
    {
        pauses_ = 0;
        slot.looks = 0;
        found(id, value, now);
    }
    else if (error == ETIMEDOUT)
    {
        pause(now);
        looks_.emplace(id, now);
    }
    else if (patience_.after(++slot.looks) < patience_.most)
    {
        looks_[id] = now + patience_.after(slot.looks);
    }
    else
    {
        slot.looks = 0;
    }
    return true;
}

void ControlQueue::found(u32 id, std::int64_t value, Instant now)
{
    const auto found = slots_.find(id);
    if (found != slots_.end() && found->second.control)
    {
        overrule(id, found->second, value, now);
    }
}

bool ControlQueue::canBeOverruled(const Slot& slot) const
{
    return slot.wished && !slot.flying && !slot.control->isVolatile &&
           (slot.state == ControlState::applied || slot.state == ControlState::overruled);
}

void ControlQueue::overrule(u32 id, Slot& slot, std::int64_t value, Instant now)
{
    const bool isNew = slot.actual != value;
    slot.actual = value;
    if (isNew)
    {
        freeManual(id);
    }
    if (!isNew || !canBeOverruled(slot))
    {
        return;
    }
    if (value == target(slot))
    {
        return become(id, slot, ControlState::applied);
    }
    if (others_ == Others::takeOver && guarded_.count(id) == 0)
    {
        slot.wished = value;
        slot.sent = value;
        slot.isTheirs = true;
        addOnce(news_, id);
        return;
    }
    if (others_ == Others::leave)
    {
        slot.notBefore = Instant::max();
        return become(id, slot, ControlState::overruled);
    }
    while (!slot.putBacks.empty() && now - slot.putBacks.front() >= patience_.within)
    {
        slot.putBacks.pop_front();
    }
    if (slot.putBacks.size() < static_cast<std::size_t>(patience_.putBacks))
    {
        slot.putBacks.push_back(now);
        return wait(id, slot);
    }
    slot.notBefore = slot.putBacks.front() + patience_.within;
    become(id, slot, ControlState::overruled);
}

std::optional<Instant> ControlQueue::due() const
{
    std::optional<Instant> due;
    if (!isOpen_ || !batch_.empty())
    {
        return due;
    }
    const auto add = [&](Instant notBefore) {
        const Instant when = std::max(notBefore, pausedUntil_);
        due = due ? std::min(*due, when) : when;
    };
    for (const auto& [id, notBefore] : looks_)
    {
        add(notBefore);
    }
    for (const u32 id : order_)
    {
        const Slot& slot = slots_.at(id);
        if (isDue(slot, Instant::max()) && slot.notBefore != Instant::max())
        {
            add(slot.notBefore);
        }
    }
    return due;
}

}  // namespace devices
