#include "services/sim/Service.h"

#include "services/sim/picture/Module.h"

#include <dlfcn.h>
#include <stdexcept>
#include <string>

// The service's picture: what it sees of the camera, and the module that draws it.
namespace sim {
namespace {

using Open = decltype(&sensorsimOpenPicture);

// Where the program's libraries lie: that of the host framework is one of them.
std::string libraryFolder()
{
    Dl_info library = {};
    if (dladdr(reinterpret_cast<void*>(&host::setClock), &library) == 0 || library.dli_fname == nullptr)
    {
        return "";
    }
    const std::string file = library.dli_fname;
    return file.substr(0, file.rfind('/') + 1);
}

// The module stays loaded: a picture's reader may still be in it.
Open loadModule()
{
    void* const module =
        dlopen((libraryFolder() + picture::kModuleFile).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const entry = module == nullptr ? nullptr : dlsym(module, picture::kModuleEntry);
    if (entry == nullptr)
    {
        throw std::runtime_error(std::string("the simulated picture cannot be had: ") + dlerror() +
                                 "; it is built where OpenCV and libjpeg-turbo are installed");
    }
    return reinterpret_cast<Open>(entry);
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
