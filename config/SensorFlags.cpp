#include "SensorFlags.h"

#include "SharedWord.h"

bool g_bShowWDRFalg = true;

void setshowWDRFalg(bool p_bShow)
{
    diag::sharedStore(g_bShowWDRFalg, p_bShow);
}

bool getshowWDRFalg()
{
    return diag::sharedLoad(g_bShowWDRFalg);
}
