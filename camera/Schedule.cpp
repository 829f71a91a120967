#include "camera/Schedule.h"

namespace camera {

bool windowHolds(const SchemeWindow& window, int minutes)
{
    return ::windowHolds(window, static_cast<u32>(minutes / 60), static_cast<u32>(minutes % 60));
}

int schemeAt(const Schedule& schedule, int minutes)
{
    for (std::size_t i = 0; i < schedule.windows.size(); ++i)
    {
        if (windowHolds(schedule.windows[i], minutes))
        {
            return static_cast<int>(i);
        }
    }
    if (schedule.windows.empty())
    {
        return 0;
    }
    return schedule.byDayAndNight ? kByDayAndNight : static_cast<int>(schedule.windows.size());
}

std::vector<Stretch> stretchesOfDay(const Schedule& schedule)
{
    std::vector<Stretch> stretches;
    for (int minutes = 0; minutes < kMinutesPerDay; ++minutes)
    {
        const int scheme = schemeAt(schedule, minutes);
        if (stretches.empty() || stretches.back().scheme != scheme)
        {
            stretches.push_back({minutes, minutes, scheme});
        }
        stretches.back().endMinutes = minutes + 1;
    }
    return stretches;
}

std::vector<Overlap> overlapsOfDay(const Schedule& schedule)
{
    std::vector<Overlap> overlaps;
    for (int minutes = 0; minutes < kMinutesPerDay; ++minutes)
    {
        std::vector<int> schemes;
        for (std::size_t i = 0; i < schedule.windows.size(); ++i)
        {
            if (windowHolds(schedule.windows[i], minutes))
            {
                schemes.push_back(static_cast<int>(i));
            }
        }
        const bool goesOn =
            !overlaps.empty() && overlaps.back().endMinutes == minutes && overlaps.back().schemes == schemes;
        if (goesOn)
        {
            overlaps.back().endMinutes = minutes + 1;
        }
        else if (schemes.size() > 1)
        {
            overlaps.push_back({minutes, minutes + 1, schemes});
        }
    }
    return overlaps;
}

}  // namespace camera
