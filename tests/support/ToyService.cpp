#include <algorithm>
#include <chrono>
#include <mutex>
#include <stdexcept>

#include "app/Service.h"
#include "tests/support/StoppablePicture.h"

// A device that has next to nothing, in the place of the one that sensorcam chooses: brightness, mirror, a shutter, a
// zoom, a reading of day and night, and a picture without pixels. It can neither focus nor measure light, has no lamps,
// and its world is real.
namespace {

using services::Kind;
using services::ParameterState;

template <typename Rows>
auto rowOf(Rows& rows, ia_cmd_e cmd)
{
    return std::find_if(rows.begin(), rows.end(), [cmd](const ParameterState& row) { return row.cmd == cmd; });
}

class ToyService final : public services::ImageService
{
public:
    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto row = rowOf(rows_, cmd);
        if (data == nullptr)
        {
            return services::kNoData;
        }
        if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET && opt == IA_CMD_OPT_GET)
        {
            *static_cast<ia_dynamic_params_cmds_st*>(data) = {1, {IA_CMD_FIX_SHUTTER}};
            return services::kDone;
        }
        return row == rows_.end() ? services::kUnknownCommand : callRow(*row, opt, data);
    }

    // Module 2 has no zoom, and its picture cannot be had.
    bool setModule(int id) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hasPicture_ = id != 2;
        const auto zoom = rowOf(rows_, IA_CMD_MZ_POSITION);
        rows_.erase(zoom, id == 2 ? rows_.end() : zoom);
        return true;
    }

    std::vector<ParameterState> parameters() const override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return rows_;
    }

    std::optional<ParameterState> parameter(ia_cmd_e cmd) const override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto row = rowOf(rows_, cmd);
        return row == rows_.end() ? std::nullopt : std::optional(*row);
    }

    std::unique_ptr<services::PictureSource> openPicture() override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!hasPicture_)
        {
            throw std::runtime_error("module 2 shows nothing");
        }
        // Ten frames in a second, each an empty JPEG.
        return std::make_unique<support::PacedPicture>(std::chrono::milliseconds(100), "\xff\xd8\xff\xd9");
    }

private:
    int callRow(ParameterState& row, int opt, void* data)
    {
        int& word = *static_cast<int*>(data);
        const bool isZoom = row.cmd == IA_CMD_MZ_POSITION;
        switch (opt)
        {
        case IA_CMD_OPT_SET:
            if (row.kind == Kind::reading || !row.allowed.contains(word))
            {
                return row.kind == Kind::reading ? services::kNotSupported : services::kOutOfRange;
            }
            row.value = word;
            zoomSteps_ = isZoom ? 3 : zoomSteps_;
            return services::kDone;
        case IA_CMD_OPT_GET:
            word = row.value;
            return services::kDone;
        case IA_CMD_OPT_CORRECT_PARAM:
            word = row.allowed.nearest(word);
            return services::kDone;
        case IA_CMD_OPT_GET_EXEC_STATUS:
            word = isZoom && zoomSteps_ > 0 ? services::kRunning : services::kIdle;
            zoomSteps_ -= word;
            return services::kDone;
        case IA_CMD_OPT_GET_PARAM_RNAGE:
        {
            auto& record = *static_cast<ia_dynamic_params_attr_st*>(data);
            record.default_value = row.allowed.defaultValue;
            record.items_cnt = static_cast<int>(row.allowed.items.size());
            std::copy(row.allowed.items.begin(), row.allowed.items.end(), record.item);
            return services::kDone;
        }
        default:
            return services::kNotSupported;
        }
    }

    mutable std::mutex mutex_;

    // Guarded by mutex_.
    bool hasPicture_ = true;
    int zoomSteps_ = 0;  // still to go: one whenever somebody asks
    std::vector<ParameterState> rows_ = {
        {IA_CMD_BRIGHTNESS, "Brightness", "", Kind::range, {0, 10, 1, 5, {}}, {}, 5},
        {IA_CMD_UI_MIRROR, "Mirror", "", Kind::choice, {0, 1, 1, 0, {0, 1}}, {{0, "Off"}, {1, "On"}}, 0},
        {IA_CMD_FIX_SHUTTER, "Shutter", "", Kind::choice, {4, 8, 4, 4, {4, 8}}, {{4, "1/25 s"}, {8, "1/100 s"}}, 4},
        {IA_CMD_DN_STATE, "Day or night", "", Kind::reading, {0, 1, 1, 0, {}}, {}, 0},
        {IA_CMD_MZ_POSITION, "Zoom", "steps", Kind::range, {0, 100, 1, 0, {}}, {}, 0},
    };
};

}  // namespace

services::Journal& app::service()
{
    static services::Journal* const journal = [] {
        auto* const made = new services::Journal(*new ToyService);  // never destroyed, as in app/Service.cpp
        services::setServiceInForce(made);
        return made;
    }();
    return *journal;
}
