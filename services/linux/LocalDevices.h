#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "services/linux/Board.h"
#include "services/linux/DeviceSource.h"
#include "services/linux/HotPlug.h"
#include "services/linux/Identity.h"

namespace devices {

// The devices of a board that are plugged into this machine. Of the board's camera, once it was there, the same camera is
// looked for, whatever its node is then.
class LocalDevices : public DeviceSource
{
public:
    using NodeOpen = std::function<int(const std::string& node)>;  // a descriptor, or below 0 why there is none

    explicit LocalDevices(Board board, Roots roots = {}, NodeQuery query = queryNode, NodeOpen open = openVideoNode);

    int open(Role role, const std::string& file = "") override;
    void listen(std::function<void()> changed) override;
    void listenToUse(std::function<void()> used) override;

private:
    int openCamera();
    int openSubdevice(const std::string& file);
    int openLight(const RoleFile& file) const;
    int openLamp(u32 lamp, const RoleFile& file) const;
    int openFilter(bool isIn) const;
    std::optional<CameraNode> find(const std::optional<CameraNode>& before) const;
    HotPlug& hotPlug();

    const Board board_;
    const Roots roots_;
    const NodeQuery query_;
    const NodeOpen openNode_;

    std::mutex mutex_;  // never held while a node is opened: it may be somebody else's camera, and hang

    // Guarded by mutex_.
    std::optional<CameraNode> camera_;  // as it was when it was there last
    std::unique_ptr<HotPlug> hotPlug_;  // null as long as nobody has listened; then constant
};

}  // namespace devices
