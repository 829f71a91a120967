#include "services/sim/Lens.h"

#include <algorithm>

namespace sim {

using host::Span;

void Drive::place(int position)
{
    legs_.clear();
    rest_ = position;
    end_ = Span{0};
}

void Drive::begin(Span now)
{
    rest_ = position(now);
    legs_.clear();
    end_ = now;
}

void Drive::endAt(Span time)
{
    while (!legs_.empty() && legs_.back().start >= time)
    {
        end_ = legs_.back().start;
        legs_.pop_back();
    }
}

void Drive::then(int target, Span duration)
{
    const int from = this->target();
    legs_.push_back({end_, duration, from, target});
    end_ += duration;
}

void Drive::pauseUntil(Span time)
{
    if (time > end_)
    {
        then(target(), time - end_);
    }
}

int Drive::target() const
{
    return legs_.empty() ? rest_ : legs_.back().to;
}

int Drive::position(Span now) const
{
    if (!moving(now))
    {
        return target();
    }
    int position = rest_;
    for (const Leg& leg : legs_)
    {
        if (now < leg.start)
        {
            break;
        }
        if (now - leg.start >= leg.duration)
        {
            position = leg.to;
            continue;
        }
        const long long way = leg.to - leg.from;
        position = leg.from + static_cast<int>(way * (now - leg.start).count() / leg.duration.count());
    }
    return position;
}

}  // namespace sim
