#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "app/UiFiles.h"
#include "app/cli/ScheduleChart.h"
#include "services/ImageService.h"
#include "services/RecordingVideo.h"

namespace app {

// The virtual camera: clock, image-adjust service, video module and the library, brought up and taken down
// together. Host thread only, unless a member says otherwise. One at a time.
class Camera
{
public:
    struct Setup
    {
        std::string model;
        std::string share;                // folder of the documents
        double speed = 1.0;               // camera seconds in a real second
        std::optional<int> startMinutes;  // time of day; nothing: the real one
        bool systemClock = false;         // without speed and start, follow the system's clock as a board does
    };

    // Takes a second of the camera's time. Throws Failure when the board's files name no camera, or when no
    // parameters come out of the style documents.
    // service: the one in force; must outlive the camera.
    Camera(const Setup& setup, services::ImageService& service);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    ISensorController& controller() { return controller_; }
    services::ImageService& service() { return service_; }
    const services::ImageService& service() const { return service_; }
    const UiFiles& uiFiles() const { return uiFiles_; }
    const Setup& setup() const { return setup_; }

    // Factory reset; the user-interface texts are filled in again. False when the board's files no longer name
    // this camera: it is down then and only good for destruction. Throws Failure when the camera lacks its
    // parameters or scheme files afterwards, as on a full disk.
    bool factoryReset();

    // ---- views: of what the library holds ------------------------------------------------------------------

    // Scheduled schemes; the default scheme's index.
    int schemeCount() const;
    // -1 until the first switch.
    int currentScheme();
    bool defaultSchemeIsCurrent();
    // 0 manual, otherwise the clock chooses.
    int mode();
    // The scheme's record of this key; nothing when it has none.
    std::optional<int> schemeValue(int scheme, int key);
    // The current scheme's value of a key, or what the service holds; nothing when neither knows it. Unlike
    // getParameter it reports nothing and leaves no trace in the recording.
    std::optional<int> peek(int key);
    // What the sensor says; day when it does not tell.
    bool night() const;
    // Licence-plate camera: day and night choose between schemes 0 and 1 outside the windows.
    bool choosesByDayAndNight() const;
    Schedule schedule();

    // Minutes since midnight on the camera's clock.
    int minutesOfDay() const;
    // False when the camera follows the system's clock.
    bool setTimeOfDay(int minutes);

private:
    void startClock();
    ModuleConfigure boardConfiguration() const;
    bool hasParameters();

    const Setup setup_;
    UiFiles uiFiles_;
    services::ImageService& service_;
    services::RecordingVideo video_;
    ISensorController controller_;
    bool up_ = false;
};

}  // namespace app
