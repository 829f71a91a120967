#include "services/sim/picture/Module.h"

#include <opencv2/core.hpp>

#include "services/SignalsHeld.h"
#include "services/sim/picture/Picture.h"

extern "C" __attribute__((visibility("default"))) services::PictureSource* sensorsimOpenPicture(
    const sim::picture::Look& look)
{
    const services::SignalsHeld held;  // the image library starts threads that never end
    cv::setNumThreads(SENSORSIM_PICTURE_THREADS);
    return new sim::picture::Picture(look);
}
