#include "services/sim/picture/Module.h"

#include <opencv2/core.hpp>

#include "services/sim/picture/Picture.h"

extern "C" __attribute__((visibility("default"))) services::PictureSource* sensorsimOpenPicture(
    const sim::picture::Look& look)
{
    cv::setNumThreads(SENSORSIM_PICTURE_THREADS);
    return new sim::picture::Picture(look);
}
