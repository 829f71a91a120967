#include "camera/Trials.h"

#include <algorithm>
#include <random>

#include "SensorKeys.h"
#include "camera/Operation.h"

namespace camera {
namespace {

bool isOf(const Trials::Tried& tried, int key)
{
    return tried.value.key == key;
}

std::vector<Value> valuesOf(const Trials::Open& open)
{
    std::vector<Value> values;
    for (const Trials::Tried& tried : open.tried)
    {
        values.push_back(tried.value);
    }
    return values;
}

// What a scheme remembers of these is not where somebody had moved the lens before; and a step in a direction is not
// taken back by sending the direction before it.
bool acts(int key)
{
    return key == KEY_MZ_POSITION || key == KEY_MF_POSITION || key == KEY_IRIS_POSITION || key == KEY_IRIS_SIZE ||
           key == KEY_CAP_OFF_ADJ_DIRECTION;
}

// In the place of what was tried before of the same key.
void add(Trials::Open& open, const Trials::Tried& tried)
{
    const auto found = std::find_if(open.tried.begin(), open.tried.end(),
                                    [&](const Trials::Tried& other) { return isOf(other, tried.value.key); });
    if (found == open.tried.end())
    {
        open.tried.push_back(tried);
    }
    else
    {
        found->value = tried.value;
    }
}

}  // namespace

// ---- which are open ---------------------------------------------------------------------------------------------

// Begins anywhere, so that a number from before a restart is nobody's.
Trials::Trials(host::Span lease) : lease_(lease), last_(std::random_device()() % 1'000'000'000) {}

std::vector<Trials::Open> Trials::list() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Open> list;
    for (const auto& [id, open] : open_)
    {
        list.push_back(open);
    }
    return list;
}

std::optional<Trials::Open> Trials::find(unsigned id) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = open_.find(id);
    return found == open_.end() ? std::nullopt : std::optional<Open>(found->second);
}

std::optional<unsigned> Trials::holderOf(int key) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [id, open] : open_)
    {
        if (std::any_of(open.tried.begin(), open.tried.end(), [key](const Tried& tried) { return isOf(tried, key); }))
        {
            return id;
        }
    }
    return std::nullopt;
}

void Trials::setLease(host::Span lease, host::Span now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const double part = static_cast<double>(lease.count()) / static_cast<double>(lease_.count());
    for (auto& [id, open] : open_)
    {
        open.until = now + std::chrono::duration_cast<host::Span>((open.until - now) * part);
    }
    lease_ = lease;
}

Trials::Open Trials::put(Open open, host::Span now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (open.id == 0)
    {
        open.id = ++last_;
    }
    open.until = now + lease_;
    open_[open.id] = open;
    return open;
}

std::optional<Trials::Open> Trials::hold(unsigned id, host::Span now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = open_.find(id);
    if (found == open_.end() || found->second.until <= now)
    {
        return std::nullopt;
    }
    found->second.until = now + lease_;
    return found->second;
}

std::vector<Trials::Open> Trials::takeExpired(host::Span now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Open> expired;
    for (auto next = open_.begin(); next != open_.end();)
    {
        const auto trial = next++;
        if (trial->second.until <= now)
        {
            expired.push_back(trial->second);
            open_.erase(trial);
        }
    }
    return expired;
}

std::optional<Trials::Open> Trials::takeOut(int key)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [id, open] : open_)
    {
        const auto found =
            std::find_if(open.tried.begin(), open.tried.end(), [key](const Tried& tried) { return isOf(tried, key); });
        if (found == open.tried.end())
        {
            continue;
        }
        const Open before = open;
        open.tried.erase(found);
        if (!open.tried.empty())
        {
            return std::nullopt;
        }
        open_.erase(id);
        return before;
    }
    return std::nullopt;
}

void Trials::erase(unsigned id)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(id);
}

// ---- what becomes of them ---------------------------------------------------------------------------------------

// The host's clock may run faster or slower; a holder is a person, or a program of one.
host::Span Camera::leaseAt(double speed)
{
    return std::chrono::duration_cast<host::Span>(kTrialLease * speed);
}

Trial Camera::told(const Trials::Open& open) const
{
    const host::Span left = std::max(open.until - host::clock()->monotonic(), host::Span(0));
    return {open.id, open.by, open.scheme, valuesOf(open),
            std::chrono::duration_cast<std::chrono::milliseconds>(left / speed())};
}

void Camera::tellTrial(const Trials::Open& open, TrialState state, std::vector<int> notTakenBack)
{
    Event event{Event::Kind::trial, ""};
    event.scheme = open.scheme;
    event.values = valuesOf(open);
    event.trial = open.id;
    event.trialState = state;
    event.notTakenBack = std::move(notTakenBack);
    tell(event);
}

// What the scheme does not keep goes back to what the sensor held. The status with which the device refuses it.
std::optional<int> Camera::sendRemembered(const Trials::Tried& tried)
{
    const services::OwnRefusals own;
    const int key = tried.value.key;
    int result = 0;
    if (schemeValue(currentScheme(), key))
    {
        result = controller_.restore(key);
    }
    else if (tried.before)
    {
        result = controller_.setParameter(key, *tried.before, false);
    }
    if (result == 0 && own.list().empty())
    {
        return std::nullopt;
    }
    return own.list().empty() ? services::kDone : own.list().back().status;
}

// Here and below called with changing_ held.
void Camera::owe(const Trials::Tried& tried)
{
    takeOwed(tried.value.key);
    owed_.push_back(tried);
}

bool Camera::isOwed(int key) const
{
    return std::any_of(owed_.begin(), owed_.end(), [key](const Trials::Tried& tried) { return isOf(tried, key); });
}

std::optional<Trials::Tried> Camera::takeOwed(int key)
{
    const auto found =
        std::find_if(owed_.begin(), owed_.end(), [key](const Trials::Tried& tried) { return isOf(tried, key); });
    if (found == owed_.end())
    {
        return std::nullopt;
    }
    const Trials::Tried tried = *found;
    owed_.erase(found);
    return tried;
}

void Camera::sendOwed()
{
    owed_.erase(std::remove_if(owed_.begin(), owed_.end(),
                               [this](const Trials::Tried& tried) { return !sendRemembered(tried); }),
                owed_.end());
}

// The keys that the device refused to take back.
std::vector<int> Camera::endTrial(const Trials::Open& open, TrialState state)
{
    std::vector<int> refused;
    for (const Trials::Tried& tried : open.tried)
    {
        if (sendRemembered(tried))
        {
            owe(tried);
            refused.push_back(tried.value.key);
        }
    }
    trials_.erase(open.id);
    tellTrial(open, state, refused);
    return refused;
}

void Camera::endAllTrials(TrialState state)
{
    for (const Trials::Open& open : trials_.list())
    {
        endTrial(open, state);
    }
}

// Those whose time is over, or whose scheme the clock has replaced: the doing of nobody who is just then acting.
void Camera::endStaleTrials()
{
    const Acting nobody("");
    const Doing doing(*this);
    for (const Trials::Open& open : trials_.list())
    {
        if (open.scheme != currentScheme())
        {
            endTrial(open, TrialState::schemeChanged);
        }
    }
    for (const Trials::Open& open : trials_.takeExpired(host::clock()->monotonic()))
    {
        endTrial(open, TrialState::expired);
    }
}

// Keys that were set to stay are no trial's any more. What equals the remembered value has not been sent: the sensor
// still has the tried one, and keeps it when the device refuses.
void Camera::leaveTrials(std::vector<KeyResult>& keys)
{
    for (KeyResult& key : keys)
    {
        const bool isSet = key.outcome == Outcome::applied || key.outcome == Outcome::corrected ||
                           key.outcome == Outcome::unchanged || key.outcome == Outcome::notRemembered;
        if (!isSet || !(trials_.holderOf(key.key) || isOwed(key.key)))
        {
            continue;
        }
        const bool isSent = key.outcome != Outcome::unchanged;
        if (const std::optional<int> status = isSent ? std::nullopt : sendRemembered({{key.key, key.asked}, {}}))
        {
            refuse(key, *status);
            continue;
        }
        takeOwed(key.key);
        if (const std::optional<Trials::Open> ended = trials_.takeOut(key.key))
        {
            tellTrial(*ended, TrialState::overtaken);
        }
    }
}

// Which of them can be taken back, with what the sensor holds of those that the scheme does not keep.
std::vector<Trials::Tried> Camera::onSensor(const std::vector<Value>& values)
{
    std::vector<Trials::Tried> before;
    for (const Value& entry : values)
    {
        const auto held = parameterOfKey(service_, entry.key);
        const bool isState = held && (held->kind == services::Kind::range || held->kind == services::Kind::choice);
        const bool isKept = schemeValue(currentScheme(), entry.key).has_value();
        if (isState && !acts(entry.key))
        {
            before.push_back({entry, isKept ? std::nullopt : std::optional<int>(held->value)});
        }
    }
    return before;
}

// Why nothing of them can be tried out.
std::optional<TrialResult> Camera::againstTrying(const std::vector<Value>& values, std::optional<unsigned> trial) const
{
    using Kind = TrialResult::Kind;
    if (trial && !trials_.find(*trial))
    {
        return TrialResult{Kind::noTrial, {}, {}, {}};
    }
    for (const Value& entry : values)
    {
        const std::optional<unsigned> holder = trials_.holderOf(entry.key);
        if (holder && holder != trial)
        {
            return TrialResult{Kind::keyTaken, {}, {}, TrialResult::Taken{entry.key, *holder}};
        }
    }
    return std::nullopt;
}

TrialResult Camera::wouldTryOut(const std::vector<Value>& values, std::optional<unsigned> trial)
{
    const std::optional<TrialResult> against = againstTrying(values, trial);
    return against ? *against : TrialResult{TrialResult::Kind::applied, wouldApply(values, false), {}, {}};
}

TrialResult Camera::tryOut(const std::vector<Value>& values, std::optional<unsigned> trial)
{
    const Change change(*this);
    endStaleTrials();
    using Kind = TrialResult::Kind;
    if (std::optional<TrialResult> against = againstTrying(values, trial))
    {
        return std::move(*against);
    }
    std::optional<Trials::Open> open = trial ? trials_.find(*trial) : Trials::Open{0, Acting::who(), currentScheme()};
    const std::vector<Trials::Tried> before = onSensor(values);
    ApplyResult result = applyNow(change, values, false, "");
    for (const KeyResult& key : result.keys)
    {
        const auto state = std::find_if(before.begin(), before.end(),
                                        [&](const Trials::Tried& tried) { return isOf(tried, key.key); });
        const bool isThere = key.outcome == Outcome::notRemembered || key.outcome == Outcome::corrected;
        if (isThere && state != before.end())
        {
            const std::optional<Trials::Tried> owed = takeOwed(key.key);
            add(*open, {{key.key, key.asked}, owed ? owed->before : state->before});
        }
    }
    if (open->tried.empty())
    {
        return {Kind::applied, std::move(result), {}, {}};
    }
    open = trials_.put(*open, host::clock()->monotonic());
    if (!trial)
    {
        tellTrial(*open, TrialState::begun);
    }
    return {Kind::applied, std::move(result), told(*open), {}};
}

// Does not wait for a change that is under way, lest a slow device ends the trial of a holder who is there.
std::optional<Trial> Camera::holdTrial(unsigned id)
{
    const std::optional<Trials::Open> open = trials_.hold(id, host::clock()->monotonic());
    return open ? std::optional<Trial>(told(*open)) : std::nullopt;
}

std::optional<ApplyResult> Camera::keepTrial(unsigned id)
{
    const Change change(*this);
    endStaleTrials();
    std::optional<Trials::Open> open = trials_.find(id);
    if (!open)
    {
        return std::nullopt;
    }
    ApplyResult result = applyNow(change, valuesOf(*open), true, "");
    if (result.tooMany != 0)
    {
        return result;
    }
    const std::size_t end = result.ok() ? open->tried.size() : result.refused.value_or(0);
    std::vector<int> notTakenBack;
    std::for_each(open->tried.begin() + static_cast<std::ptrdiff_t>(end), open->tried.end(),
                  [&](const Trials::Tried& tried) {
                      if (sendRemembered(tried))
                      {
                          owe(tried);
                          notTakenBack.push_back(tried.value.key);
                      }
                  });
    trials_.erase(id);
    tellTrial(*open, TrialState::kept, notTakenBack);
    return result;
}

std::optional<std::vector<int>> Camera::undoTrial(unsigned id)
{
    const Change change(*this);
    endStaleTrials();
    const std::optional<Trials::Open> open = trials_.find(id);
    return open ? std::optional<std::vector<int>>(endTrial(*open, TrialState::undone)) : std::nullopt;
}

std::vector<Trial> Camera::trials() const
{
    std::vector<Trial> trials;
    for (const Trials::Open& open : trials_.list())
    {
        trials.push_back(told(open));
    }
    return trials;
}

}  // namespace camera
