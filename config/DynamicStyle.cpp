#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "SensorFile.h"
#include "SensorFlags.h"
#include "base/Decimal.h"
#include "config/ConfigUnit.h"
#include "config/XmlDocument.h"
#include "diag/SensorTrace.h"

using config::kSensorFile;

namespace {

constexpr int kHighlightSwitch = 112;
constexpr int kBacklightSwitch = 128;
constexpr int kWdrHiddenId = 0;         // the style's control for cameras without wide dynamic range
constexpr int kNeverPreselected = 100;  // contract: a stored shutter of 100 gives way to the service's default

// The elements with an "id", listed in one walk for all searches: a walk for each would make getDnaStyle a fifth
// slower.
class Controls
{
public:
    explicit Controls(TiXmlElement* root) : m_pRoot(root) { collect(); }

    // Calls act on every element with the id that is not below another such element, in document order, until act
    // returns non-zero. 0, or -1 if it did. act may remove what is below its element.
    template <typename Act>
    int forEachWithId(int id, Act act)
    {
        for (std::size_t i = 0; i < m_controls.size();)
        {
            if (m_controls[i].id != id)
            {
                ++i;
                continue;
            }
            const bool hasControlsBelow = m_controls[i].end != i + 1;
            const int result = act(*m_controls[i].element);
            if (hasControlsBelow)
            {
                collect();  // some may be gone; the positions up to this one are the same
            }
            if (result != 0)
            {
                return -1;
            }
            i = m_controls[i].end;  // contract: what lies below it is not searched
        }
        return 0;
    }

private:
    struct Control
    {
        int id;
        TiXmlElement* element;
        std::size_t end;  // position after those below it
    };

    void collect()
    {
        m_controls.clear();
        m_controls.reserve(config::kKeyValCapacity);
        if (m_pRoot != nullptr)
        {
            collect(*m_pRoot);
        }
    }

    void collect(TiXmlElement& element)
    {
        const std::size_t position = m_controls.size();
        const char* text = element.Attribute("id");
        if (text != nullptr)
        {
            m_controls.push_back({base::decimal(text), &element, 0});
        }
        for (TiXmlElement* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
        {
            collect(*child);
        }
        if (text != nullptr)
        {
            m_controls[position].end = m_controls.size();
        }
    }

    TiXmlElement* const m_pRoot;
    std::vector<Control> m_controls;
};

bool isAllowed(const ia_dynamic_params_attr_st& attr, int index)
{
    const int* end = attr.item + std::clamp<int>(attr.items_cnt, 0, kDynamicItemsMax);
    return std::find(attr.item, end, index) != end;
}

// -1 at the first choice item without "index". The traces carry place.
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
            return -1;  // contract: the items after it stay
        }
        if (!isAllowed(attr, base::decimal(index)))
        {
            diag::trace(diag::Kind::debug, place, "_________________delete comboitem(%s)__________________\n", index);
            control.RemoveChild(item);
        }
    }
    return 0;
}

int doDnaStyle(Controls& controls, int cmd, const ia_dynamic_params_attr_st* attr)
{
    const diag::Place place = DIAG_PLACE(kSensorFile);
    return controls.forEachWithId(cmd,
                                  [&](TiXmlElement& control) { return rewriteControl(control, cmd, *attr, place); });
}

int getNodebyCmdId(Controls& controls, int id, TiXmlElement*& found)
{
    return controls.forEachWithId(id, [&found](TiXmlElement& element) {
        found = &element;
        return 0;  // contract: of several the last one is kept
    });
}

int getDnaValbyCmdId(Controls& controls, int id, int& val)
{
    return controls.forEachWithId(id, [&val](TiXmlElement& element) {
        const char* value = element.Attribute("value");
        val = value == nullptr ? val : base::decimal(value);
        return 0;  // contract: of several the last one is kept
    });
}

// Lets the document's own shutter survive as the default if the service allows it.
void keepStoredShutter(Controls& controls, int i, int cmd, ia_dynamic_params_attr_st& attr)
{
    int nVal = 0;  // contract: counts as stored when the document has no such control
    if (getDnaValbyCmdId(controls, cmd, nVal) != 0 || nVal == kNeverPreselected)
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
    Controls controls(elem);
    return doDnaStyle(controls, cmd, attr);
}

int getNodebyCmdId(TiXmlElement* elem, int id, TiXmlElement*& found)
{
    Controls controls(elem);
    return getNodebyCmdId(controls, id, found);
}

int getDnaValbyCmdId(TiXmlElement* elem, int id, int& val)
{
    Controls controls(elem);
    return getDnaValbyCmdId(controls, id, val);
}

int ModifyNodebyCmdId(TiXmlElement* elem, int id)
{
    return Controls(elem).forEachWithId(id, [id](TiXmlElement& element) {
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
    Controls controls(root);
    diag::trace(diag::Kind::debug, DIAG_PLACE(kSensorFile), "dnaCmdList.cmd_cnt(%d)\n", dnaCmdList.cmd_cnt);
    const int count = std::min<int>(dnaCmdList.cmd_cnt, kDynamicCmdsMax);
    for (int i = 0; i < count; ++i)
    {
        const ia_cmd_e cmd = dnaCmdList.cmd_list[i];
        diag::trace(diag::Kind::debug, DIAG_PLACE(kSensorFile), "dnaCmdList.cmd_list[%d] = cmd(%d)\n", i,
                    static_cast<int>(cmd));
        ia_dynamic_params_attr_st dnaParamList = {};
        if (!diag::reportUnless(SNS_SUCCESS == ia_ioctrl(cmd, IA_CMD_OPT_GET_PARAM_RNAGE, &dnaParamList),
                                DIAG_PLACE(kSensorFile),
                                "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)dnaCmdList.cmd_list[i], "
                                "IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))"))
        {
            continue;  // the record may hold anything: the parameter stays as the document has it
        }
        if (cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER)
        {
            keepStoredShutter(controls, i, static_cast<int>(cmd), dnaParamList);
        }
        diag::reportUnless(SNS_SUCCESS == doDnaStyle(controls, static_cast<int>(cmd), &dnaParamList),
                           DIAG_PLACE(kSensorFile),
                           "SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], "
                           "&dnaParamList)");
    }
    if (getshowWDRFalg())
    {
        TiXmlElement* node = nullptr;
        getNodebyCmdId(controls, kWdrHiddenId, node);
        DeleteNode(root, node);
    }
    objStyleXmlDoc.SaveFile("");  // contract: the document has no file name, so nothing is written
    strOut = objStyleXmlDoc.getXmlString();
    return SNS_SUCCESS;  // contract: always success
}
