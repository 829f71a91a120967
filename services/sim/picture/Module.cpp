#include "services/sim/picture/Module.h"

#include "services/sim/picture/Picture.h"

extern "C" __attribute__((visibility("default"))) services::PictureSource* sensorsimOpenPicture(
    const sim::picture::Look& look)
{
    return new sim::picture::Picture(look);
}
