#include <string>

#include <tinyxml.h>

#include "SensorFile.h"
#include "base/Decimal.h"
#include "config/ConfigUnit.h"
#include "config/XmlDocument.h"
#include "diag/SensorTrace.h"

using config::kKeyValCapacity;
using config::kSensorFile;

namespace {

// Appends the parameters of element and below, parents first; returns how many found no room.
u32 collect(const TiXmlElement& element, KeyVal* keyVal, u32& count)
{
    u32 leftOut = 0;
    const char* id = element.Attribute("id");
    const char* value = element.Attribute("value");
    if (id != nullptr && value != nullptr)
    {
        if (count < kKeyValCapacity)
        {
            keyVal[count].key = static_cast<u32>(base::decimal(id));
            keyVal[count].value = static_cast<u32>(base::decimal(value));
            ++count;
        }
        else
        {
            ++leftOut;
        }
    }
    for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        leftOut += collect(*child, keyVal, count);
    }
    return leftOut;
}

}  // namespace

int style2KeyVal(TiXmlElement* element, KeyVal* p_pKeyVal, u32* p_pnKeyValNum)
{
    const u32 leftOut = element == nullptr ? 0 : collect(*element, p_pKeyVal, *p_pnKeyValNum);
    diag::reportUnless(leftOut == 0, DIAG_PLACE(kSensorFile), "*p_pnKeyValNum < 100",
                       "%u parameters of the style left out\n", leftOut);
    return 0;
}

int getFctData(char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum)
{
    std::string strDnaStyle;
    diag::reportUnless(SNS_SUCCESS == getDnaStyle(p_szStyle, strDnaStyle), DIAG_PLACE_AT(kSensorFile, 474),
                       "SNS_SUCCESS == getDnaStyle(p_szStyle, strDnaStyle)");
    XmlDocument objDnaStyleDoc;
    diag::reportUnless(objDnaStyleDoc.LoadMem(strDnaStyle, TIXML_ENCODING_UTF8), DIAG_PLACE_AT(kSensorFile, 478),
                       "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)");
    *p_pnKeyValNum = 0;
    diag::reportUnless(SNS_SUCCESS == style2KeyVal(objDnaStyleDoc.RootElement(), p_pKeyVal, p_pnKeyValNum),
                       DIAG_PLACE_AT(kSensorFile, 482),
                       "SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum)", "p_pnKeyValNum(%u)\n",
                       *p_pnKeyValNum);
    return SNS_SUCCESS;  // contract: always success
}
