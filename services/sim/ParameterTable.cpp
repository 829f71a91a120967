#include "services/sim/ParameterTable.h"

#include <iterator>

namespace sim {
namespace {

// ---- sensor modules: what they allow, default first --------------------------------------------------------

constexpr ModuleValues kModule1[] = {
    {IA_CMD_MAX_SHUTTER, 4, 18, {0, 1, 2, 4, 6, 8, 10, 12, 14, 16, 17, 18, 19, 20, 22, 23, 24, 25}},
    {IA_CMD_FIX_SHUTTER, 6, 15, {4, 6, 8, 10, 12, 14, 16, 17, 18, 19, 20, 22, 23, 24, 25}},
    {IA_CMD_MAX_GAIN, 12, 15, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}},
    {IA_CMD_FIX_GAIN, 4, 15, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}},
    {IA_CMD_WB_MODE, 0, 6, {0, 1, 2, 3, 4, 7}},
    {IA_CMD_2D_NR_STRG_A, 3, 6, {0, 1, 2, 3, 4, 5}},
    {IA_CMD_2D_NR_STRG_M, 3, 6, {0, 1, 2, 3, 4, 5}},
    {IA_CMD_3D_NR_STRG_A, 3, 6, {0, 1, 2, 3, 4, 5}},
    {IA_CMD_3D_NR_STRG_M, 3, 6, {0, 1, 2, 3, 4, 5}},
    {IA_CMD_WDR_MODE, 0, 3, {0, 1, 2}},
    {IA_CMD_GAMMA, 0, 4, {0, 1, 2, 3}},
    {IA_CMD_SENSOR_FPS, 25, 2, {25, 50}},
};

constexpr ModuleValues kModule2[] = {
    {IA_CMD_MAX_SHUTTER, 5, 15, {3, 5, 7, 9, 11, 13, 15, 16, 17, 18, 19, 20, 21, 24, 25}},
    {IA_CMD_FIX_SHUTTER, 7, 14, {5, 7, 9, 11, 13, 15, 16, 17, 18, 19, 20, 21, 24, 25}},
    {IA_CMD_MAX_GAIN, 14, 11, {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20}},
    {IA_CMD_FIX_GAIN, 6, 11, {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20}},
    {IA_CMD_2D_NR_STRG_A, 4, 6, {0, 2, 4, 6, 8, 10}},
    {IA_CMD_2D_NR_STRG_M, 4, 6, {0, 2, 4, 6, 8, 10}},
    {IA_CMD_3D_NR_STRG_A, 5, 11, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    {IA_CMD_3D_NR_STRG_M, 5, 11, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    {IA_CMD_WDR_MODE, 0, 3, {0, 1, 3}},
    {IA_CMD_GAMMA, 2, 4, {0, 2, 4, 5}},
    {IA_CMD_SENSOR_FPS, 30, 2, {30, 60}},
};

constexpr SensorModule kModules[] = {
    {1, "2 megapixels, 25 and 50 frames per second", "virtual sensor 1, 25/50 fps, 8.0", kModule1, std::size(kModule1)},
    {2, "8 megapixels, 30 and 60 frames per second", "virtual sensor 2, 30/60 fps, 8.0", kModule2, std::size(kModule2)},
};

}  // namespace

Rows<SensorModule> sensorModules()
{
    return {kModules, std::size(kModules)};
}

}  // namespace sim
