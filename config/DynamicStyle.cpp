#include <algorithm>
#include <cstdio>
#include <string>

#include <tinyxml.h>

#include "ConfigUnit.h"
#include "Decimal.h"
#include "SensorFile.h"
#include "SensorFlags.h"
#include "SensorTrace.h"
#include "XmlDocument.h"

using config::kSensorFile;

namespace {

constexpr int kHighlightSwitch = 112;
constexpr int kBacklightSwitch = 128;
constexpr int kWdrHiddenId = 0;         // the style's control for cameras without wide dynamic range
constexpr int kNeverPreselected = 100;  // contract: a stored shutter of 100 gives way to the service's default

bool hasId(const TiXmlElement& element, int id)
{
    const char* text = element.Attribute("id");
    return text != nullptr && diag::decimal(text) == id;
}

// Calls act on every element with the id that is not below another such element, in document order, until act
// returns non-zero. 0, or -1 if it did.
template <typename Act>
int forEachWithId(TiXmlElement* elem, int id, Act act)
{
    if (elem == nullptr)
    {
        return 0;
    }
    if (hasId(*elem, id))
    {
        return act(*elem);  // contract: what lies below it is not searched
    }
    for (TiXmlElement* child = elem->FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        if (forEachWithId(child, id, act) != 0)
        {
            return -1;
        }
    }
    return 0;
}

bool isAllowed(const ia_dynamic_params_attr_st& attr, int index)
{
    const int* end = attr.item + std::clamp<int>(attr.items_cnt, 0, kDynamicItemsMax);
    return std::find(attr.item, end, index) != end;
}

// -1 at the first choice item without "index". The traces go under place.
int rewriteControl(TiXmlElement& control, int cmd, const ia_dynamic_params_attr_st& attr, const diag::Place& place)
{
    // contract: the underscores are part of both texts
    diag::trace(diag::Kind::debug, place, "_________________cmd(%d) default(%d)__________________\n", cmd,
                attr.default_value);
    control.SetAttribute("value", attr.default_value);
    TiXmlElement* next = nullptr;
    for (TiXmlElement* item = control.FirstChildElement(); item != nullptr; item = next)
    {
        next = item->NextSiblingElement();
        const char* index = item->Attribute("index");
        if (index == nullptr)
        {
            return -1;  // contract: the items behind it stay
        }
        if (!isAllowed(attr, diag::decimal(index)))
        {
            diag::trace(diag::Kind::debug, place, "_________________delete comboitem(%s)__________________\n", index);
            control.RemoveChild(item);
        }
    }
    return 0;
}

// Lets the document's own shutter survive as the default if the service allows it.
void keepStoredShutter(TiXmlElement* root, int i, int cmd, ia_dynamic_params_attr_st& attr)
{
    int nVal = 0;  // contract: counts as stored when the document has no such control
    if (getDnaValbyCmdId(root, cmd, nVal) != 0 || nVal == kNeverPreselected)
    {
        return;
    }
    // contract: printed at every debug level, without colours
    std::printf("dnaCmdList.cmd_list[%d] = dnaParamList.items_cnt(%d)\n", i, attr.items_cnt);
    const int count = std::min<int>(attr.items_cnt, kDynamicItemsMax);
    for (int j = 0; j < count; ++j)
    {
        std::printf(" dnaParamList.item[%d] = %d nVal = %d \n", j, attr.item[j], nVal);
        if (attr.item[j] == nVal)
        {
            attr.default_value = nVal;
            return;
        }
    }
}

}  // namespace

int doDnaStyle(TiXmlElement* elem, int cmd, const ia_dynamic_params_attr_st* attr)
{
    const diag::Place place = DIAG_PLACE(kSensorFile);
    return forEachWithId(elem, cmd, [&](TiXmlElement& control) { return rewriteControl(control, cmd, *attr, place); });
}

int getNodebyCmdId(TiXmlElement* elem, int id, TiXmlElement*& found)
{
    return forEachWithId(elem, id, [&found](TiXmlElement& element) {
        found = &element;
        return 0;  // contract: of several the last one is kept
    });
}

int getDnaValbyCmdId(TiXmlElement* elem, int id, int& val)
{
    return forEachWithId(elem, id, [&val](TiXmlElement& element) {
        const char* value = element.Attribute("value");
        val = value == nullptr ? val : diag::decimal(value);
        return 0;  // contract: of several the last one is kept
    });
}

int ModifyNodebyCmdId(TiXmlElement* elem, int id)
{
    return forEachWithId(elem, id, [id](TiXmlElement& element) {
        if (id == kHighlightSwitch)
        {
            element.SetAttribute("enable_list", kBacklightSwitch);
        }
        else if (id == kBacklightSwitch)
        {
            element.SetAttribute("enable_list", kHighlightSwitch);
        }
        return 0;
    });
}

int getDnaStyle(const char* szStyle, std::string& strOut)
{
    ia_dynamic_params_cmds_st dnaCmdList = {};
    diag::reportUnless(SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &dnaCmdList),
                       DIAG_PLACE(kSensorFile),
                       "SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                       "(void*)(&dnaCmdList))");
    XmlDocument objStyleXmlDoc;
    diag::reportUnless(objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8), DIAG_PLACE(kSensorFile),
                       "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)");
    TiXmlElement* root = objStyleXmlDoc.RootElement();
    diag::trace(diag::Kind::debug, DIAG_PLACE(kSensorFile), "dnaCmdList.cmd_cnt(%d)\n", dnaCmdList.cmd_cnt);
    const int count = std::min<int>(dnaCmdList.cmd_cnt, kDynamicCmdsMax);
    for (int i = 0; i < count; ++i)
    {
        const ia_cmd_e cmd = dnaCmdList.cmd_list[i];
        diag::trace(diag::Kind::debug, DIAG_PLACE(kSensorFile), "dnaCmdList.cmd_list[%d] = cmd(%d)\n", i,
                    static_cast<int>(cmd));
        ia_dynamic_params_attr_st dnaParamList = {};
        diag::reportUnless(SNS_SUCCESS == ia_ioctrl(cmd, IA_CMD_OPT_GET_PARAM_RNAGE, &dnaParamList),
                           DIAG_PLACE(kSensorFile),
                           "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)dnaCmdList.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, "
                           "(void*)(&dnaParamList))");
        if (cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER)
        {
            keepStoredShutter(root, i, static_cast<int>(cmd), dnaParamList);
        }
        diag::reportUnless(SNS_SUCCESS == doDnaStyle(root, static_cast<int>(cmd), &dnaParamList),
                           DIAG_PLACE(kSensorFile),
                           "SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], "
                           "&dnaParamList)");
    }
    if (getshowWDRFalg())
    {
        TiXmlElement* node = nullptr;
        getNodebyCmdId(root, kWdrHiddenId, node);
        DeleteNode(root, node);
    }
    objStyleXmlDoc.SaveFile("");  // contract: the document has no file name, so nothing is written
    strOut = objStyleXmlDoc.getXmlString();
    return SNS_SUCCESS;  // contract: always success
}
