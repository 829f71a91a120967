#include "camera/KeyNames.h"
#include "camera/Operation.h"

namespace camera {

void Camera::tell(Event event)
{
    event.by = Acting::who();
    event.scheme = event.scheme < 0 ? currentScheme() : event.scheme;
    events_.tell(std::move(event));
}

// Called with changing_ held.
void Camera::tellScheme(Why why)
{
    toldScheme_ = currentScheme();
    Event event{Event::Kind::scheme};
    event.why = why;
    tell(event);
}

void Camera::tellLens(bool moving)
{
    Event event{Event::Kind::lens};
    event.moving = moving;
    event.values = lensPositions();
    tell(event);
}

void Camera::tellSaved(int scheme)
{
    Event event{Event::Kind::saved};
    event.scheme = scheme;
    tell(event);
}

void Camera::tellValues(const std::vector<Value>& values, int scheme)
{
    if (values.empty())
    {
        return;
    }
    Event event{Event::Kind::values};
    event.scheme = scheme;
    event.values = values;
    tell(event);
}

// The schedule keys, which no sensor takes.
void Camera::tellRemembered(const std::vector<KeyResult>& keys)
{
    std::vector<Value> values;
    for (const KeyResult& key : keys)
    {
        const KeyName* const row = findKey(key.key);
        if (row != nullptr && row->onlyStored && key.outcome == Outcome::applied)
        {
            values.push_back({key.key, key.now});
        }
    }
    tellValues(values, currentScheme());
}

// What the sensor thread and the light did since the last look. Called with changing_ held.
void Camera::tellWhatHappened()
{
    const std::vector<Value> values = others_.take();
    if (night() != toldNight_)
    {
        toldNight_ = night();
        Event event{Event::Kind::night};
        event.night = toldNight_;
        tell(event);
    }
    if (currentScheme() != toldScheme_)
    {
        tellScheme(explain().why);
    }
    tellValues(values, currentScheme());
}

}  // namespace camera
