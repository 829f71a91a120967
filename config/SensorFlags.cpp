#include "SensorFlags.h"

#include "base/SharedWord.h"

bool g_bShowWDRFalg = true;

void setshowWDRFalg(bool p_bShow)
{
    base::sharedStore(g_bShowWDRFalg, p_bShow);
}

bool getshowWDRFalg()
{
    return base::sharedLoad(g_bShowWDRFalg);
}
