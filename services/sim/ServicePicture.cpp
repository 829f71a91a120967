#include "services/sim/Service.h"

#include <stdexcept>
#include <string>

#include "services/ModuleFile.h"
#include "services/sim/picture/Module.h"

// The service's picture: what it sees of the camera, and the module that draws it.
namespace sim {
namespace {

using Open = decltype(&sensorsimOpenPicture);

Open loadModule()
{
    try
    {
        return reinterpret_cast<Open>(services::moduleEntry(picture::kModuleFile, picture::kModuleEntry));
    }
    catch (const std::runtime_error& error)
    {
        throw std::runtime_error(std::string("the simulated picture cannot be had: ") + error.what() +
                                 "; it is built where OpenCV and libjpeg-turbo are installed");
    }
}

}  // namespace

picture::View Service::look() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    picture::View view;
    for (const Parameter& parameter : sim::parameters())
    {
        if (parameter.kind != Kind::record)
        {
            view.values.set(parameter.cmd, word(parameter));
        }
    }
    view.lens = lens_.state(now_);
    view.distance = lens_.distance();
    view.secondsOfDay = secondsOfDay();
    view.lux = light_.lux(view.secondsOfDay);
    view.night = dayNight_.night();
    view.lamps = lampsNow();
    view.haze = weather_.haze;
    view.wind = weather_.wind;
    return view;
}

std::unique_ptr<PictureSource> Service::openPicture()
{
    return std::unique_ptr<PictureSource>(loadModule()([this] { return look(); }));
}

}  // namespace sim
