#pragma once

#include "camera/Camera.h"

namespace camera {

// What sets a window, in this order.
std::vector<Value> windowValues(const SchemeWindow& window);

// What the sensor takes while this lives is told at its end, as one event.
class Camera::Doing
{
public:
    explicit Doing(Camera& camera) : camera_(camera), pass_(camera.gate_) {}
    ~Doing() { camera_.tellValues(sets_.list(), camera_.currentScheme()); }
    Doing(const Doing&) = delete;
    Doing& operator=(const Doing&) = delete;

    const std::vector<Value>& sets() const { return sets_.list(); }

private:
    Camera& camera_;
    Gate::Pass pass_;
    OwnSets sets_;
};

// The same for changes, of which there is one at a time.
class Camera::Change
{
public:
    explicit Change(Camera& camera) : one_(camera.changing_), doing_(camera) {}

    const std::vector<Value>& sets() const { return doing_.sets(); }

private:
    std::lock_guard<std::recursive_mutex> one_;
    Doing doing_;
};

}  // namespace camera
