#include "services/sim/picture/Module.h"

#include <opencv2/core.hpp>

#include "services/sim/picture/Picture.h"
#include "services/sim/picture/SignalsHeld.h"

extern "C" __attribute__((visibility("default"))) services::PictureSource* sensorsimOpenPicture(
    const sim::picture::Look& look)
{
    const sim::picture::SignalsHeld held;
    cv::setNumThreads(SENSORSIM_PICTURE_THREADS);
    return new sim::picture::Picture(look);
}
